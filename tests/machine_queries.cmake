# Tests of the machine queries, with their fixtures: small PE images with and
# without a version resource, made by the mingw-w64 tools on every build (the
# native build reads them through LIEF), and a helper program that only waits,
# started twice by the process tests.

find_program(FERRYMARK_MINGW_CC NAMES x86_64-w64-mingw32-gcc-posix x86_64-w64-mingw32-gcc
             REQUIRED)
find_program(FERRYMARK_MINGW_WINDRES NAMES x86_64-w64-mingw32-windres REQUIRED)

set(mq_fixture_source ${CMAKE_CURRENT_SOURCE_DIR}/fixtures/versioned)
if(WIN32)
    # Beside the test program, so that it finds them from its own path.
    set(mq_fixture_dir ${CMAKE_BINARY_DIR}/bin/versioned-fixtures)
else()
    set(mq_fixture_dir ${CMAKE_CURRENT_BINARY_DIR}/versioned-fixtures)
endif()

set(mq_link_flags -nostdlib -s -Wl,--entry,ImageEntry)
set(mq_fixtures)

# Compiles one resource script into an object; `out` receives its path.
function(mq_resource out name)
    set(object ${CMAKE_CURRENT_BINARY_DIR}/versioned-fixtures-obj/${name}.res.o)
    add_custom_command(
        OUTPUT ${object}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/versioned-fixtures-obj
        COMMAND ${FERRYMARK_MINGW_WINDRES} ${mq_fixture_source}/${name}.rc -O coff -o ${object}
        DEPENDS ${mq_fixture_source}/${name}.rc
        COMMENT "Compiling the version resource ${name}.rc")
    set(${out} ${object} PARENT_SCOPE)
endfunction()

# Links one image from image.c and the given objects.
function(mq_image file kind)
    set(image ${mq_fixture_dir}/${file})
    set(kind_flags)
    if(kind STREQUAL "library")
        set(kind_flags -shared)
    endif()
    add_custom_command(
        OUTPUT ${image}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${mq_fixture_dir}
        COMMAND ${FERRYMARK_MINGW_CC} ${kind_flags} ${mq_link_flags} -o ${image}
                ${mq_fixture_source}/image.c ${ARGN}
        DEPENDS ${mq_fixture_source}/image.c ${ARGN}
        COMMENT "Linking the test image ${file}")
    set(mq_fixtures ${mq_fixtures} ${image} PARENT_SCOPE)
endfunction()

mq_resource(library_res library)
mq_resource(program_res program)
mq_image(versioned.dll library ${library_res})
mq_image(versioned.exe program ${program_res})
mq_image(unversioned.dll library)
add_custom_target(machine_queries_fixtures ALL DEPENDS ${mq_fixtures})
add_dependencies(${FERRYMARK_UNIT_TESTS} machine_queries_fixtures)

target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
    ${CMAKE_CURRENT_SOURCE_DIR}/common/machine_queries_test.cpp)

if(WIN32)
    add_executable(machine_queries_sleeper ${CMAKE_CURRENT_SOURCE_DIR}/wine/machine_queries_sleeper.cpp)
    target_link_libraries(machine_queries_sleeper PRIVATE ferrymark_warnings)
    add_dependencies(${FERRYMARK_UNIT_TESTS} machine_queries_sleeper)
    target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
        ${CMAKE_CURRENT_SOURCE_DIR}/wine/machine_queries_wine_test.cpp)
    target_link_libraries(${FERRYMARK_UNIT_TESTS} PRIVATE ole32 user32)
else()
    add_executable(machine_queries_sleeper ${CMAKE_CURRENT_SOURCE_DIR}/native/machine_queries_sleeper.cpp)
    target_link_libraries(machine_queries_sleeper PRIVATE ferrymark_warnings)
    add_dependencies(${FERRYMARK_UNIT_TESTS} machine_queries_sleeper)
    target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
        ${CMAKE_CURRENT_SOURCE_DIR}/native/machine_queries_native_test.cpp)
    target_compile_definitions(${FERRYMARK_UNIT_TESTS} PRIVATE
        FERRYMARK_VERSION_FIXTURES="${mq_fixture_dir}"
        FERRYMARK_SLEEPER="$<TARGET_FILE:machine_queries_sleeper>")
endif()
