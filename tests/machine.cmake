# Tests of the six-simulator machine and the machine snapshot, on both builds.
target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/common/six_simulator_machine_test.cpp)
target_link_libraries(${FERRYMARK_UNIT_TESTS} PRIVATE ferrymark_machine)
