# Platform backends of the machine queries: process list, pattern search and
# file version data. Included after the ferrymark_core target exists.
if(WIN32)
    target_sources(ferrymark_core PRIVATE
        ${CMAKE_CURRENT_LIST_DIR}/../platform/win32/process_win32.cpp
        ${CMAKE_CURRENT_LIST_DIR}/../platform/win32/find_win32.cpp
        ${CMAKE_CURRENT_LIST_DIR}/../platform/win32/version_win32.cpp
        # The folder picker exists in the Windows build alone; the program links it
        # from the core like everything else.
        ${CMAKE_CURRENT_LIST_DIR}/../app/pick_folder.cpp)
    target_link_libraries(ferrymark_core PUBLIC version ole32 uuid)
else()
    target_sources(ferrymark_core PRIVATE
        ${CMAKE_CURRENT_LIST_DIR}/../platform/posix/process_posix.cpp
        ${CMAKE_CURRENT_LIST_DIR}/../platform/posix/find_posix.cpp
        ${CMAKE_CURRENT_LIST_DIR}/../platform/posix/version_posix.cpp)
    # Debian's LIEF ships neither a CMake package nor a pkg-config file.
    find_path(LIEF_INCLUDE_DIR LIEF/PE.hpp REQUIRED)
    find_library(LIEF_LIBRARY NAMES LIEF REQUIRED)
    target_include_directories(ferrymark_core SYSTEM PRIVATE ${LIEF_INCLUDE_DIR})
    target_link_libraries(ferrymark_core PUBLIC ${LIEF_LIBRARY})
endif()
