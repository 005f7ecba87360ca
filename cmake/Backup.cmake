# The backup primitives: on POSIX the in-use test reads /proc, in its own file.
if(NOT WIN32)
    target_sources(ferrymark_core PRIVATE ${PROJECT_SOURCE_DIR}/platform/posix/in_use_posix.cpp)
endif()
