# Tests of the links, on both builds.
target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE ${CMAKE_CURRENT_LIST_DIR}/common/links_test.cpp)
