# Tests of the backup primitives. Each build brings its own way of starting
# another process that holds an item and of making a link.
target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE ${CMAKE_CURRENT_LIST_DIR}/common/backup_test.cpp)
if(WIN32)
    target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
        ${CMAKE_CURRENT_LIST_DIR}/wine/other_process.cpp
        ${CMAKE_CURRENT_LIST_DIR}/wine/backup_names_test.cpp)
    # The process that holds a file open or sits in a folder; it is found beside
    # the test program.
    add_executable(backup_holder ${CMAKE_CURRENT_LIST_DIR}/wine/holder.cpp)
    target_link_options(backup_holder PRIVATE -municode)
    target_link_libraries(backup_holder PRIVATE ferrymark_warnings)
    add_dependencies(${FERRYMARK_UNIT_TESTS} backup_holder)
else()
    target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
        ${CMAKE_CURRENT_LIST_DIR}/native/other_process.cpp
        ${CMAKE_CURRENT_LIST_DIR}/native/backup_names_test.cpp)
endif()
