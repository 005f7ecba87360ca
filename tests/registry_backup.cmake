# Tests of the Uninstall entry moves, on the SQLite store and on Wine's registry.
target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE ${CMAKE_CURRENT_LIST_DIR}/common/registry_backup_test.cpp)
