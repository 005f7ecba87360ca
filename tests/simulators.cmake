# Tests of the simulator records, on both builds.
target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/common/simulator_location_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/support/simulator_sandbox.cpp)
