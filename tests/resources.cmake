# Tests of the embedded resources. The unit tests carry the program's resources:
# on win64 the test program links the program's resource script, natively the core
# holds the compiled script. Small programs made here with the mingw-w64 tools are
# the targets of the version patch.
find_program(FERRYMARK_MINGW_CC NAMES x86_64-w64-mingw32-gcc-posix x86_64-w64-mingw32-gcc
             REQUIRED)
find_program(FERRYMARK_MINGW_WINDRES NAMES x86_64-w64-mingw32-windres REQUIRED)

set(rs_source ${CMAKE_CURRENT_SOURCE_DIR}/fixtures/resources)
set(rs_objects ${CMAKE_CURRENT_BINARY_DIR}/resource-fixtures-obj)
if(WIN32)
    set(rs_images ${CMAKE_BINARY_DIR}/bin/resource-fixtures)
else()
    set(rs_images ${CMAKE_CURRENT_BINARY_DIR}/resource-fixtures)
endif()
set(rs_fixtures)

# Links `name`.exe from image.c, with target.rc compiled with the given defines
# unless the first of them is NONE.
function(rs_image name)
    set(objects)
    if(NOT ARGV1 STREQUAL "NONE")
        set(object ${rs_objects}/${name}.res.o)
        set(defines)
        foreach(define ${ARGN})
            list(APPEND defines -D${define})
        endforeach()
        add_custom_command(
            OUTPUT ${object}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${rs_objects}
            COMMAND ${FERRYMARK_MINGW_WINDRES} ${defines} -I ${PROJECT_SOURCE_DIR}/resources/icons
                    ${rs_source}/target.rc -O coff -o ${object}
            DEPENDS ${rs_source}/target.rc ${PROJECT_SOURCE_DIR}/resources/icons/ferrymark.ico
            COMMENT "Compiling the resources of the patch target ${name}")
        set(objects ${object})
    endif()
    set(image ${rs_images}/${name}.exe)
    add_custom_command(
        OUTPUT ${image}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${rs_images}
        COMMAND ${FERRYMARK_MINGW_CC} -nostdlib -s -Wl,--entry,ImageEntry -o ${image}
                ${rs_source}/image.c ${objects}
        DEPENDS ${rs_source}/image.c ${objects}
        COMMENT "Linking the patch target ${name}")
    set(rs_fixtures ${rs_fixtures} ${image} PARENT_SCOPE)
endfunction()

rs_image(versioned VERSIONED)
rs_image(unversioned WITHOUT_VERSION)
rs_image(bare NONE)
add_custom_target(resources_fixtures ALL DEPENDS ${rs_fixtures})
add_dependencies(${FERRYMARK_UNIT_TESTS} resources_fixtures)

target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/common/resources_test.cpp)
if(WIN32)
    ferrymark_link_resources(${FERRYMARK_UNIT_TESTS})
    target_sources(${FERRYMARK_UNIT_TESTS} PRIVATE
        ${CMAKE_CURRENT_SOURCE_DIR}/wine/resources_wine_test.cpp)
    # Paths as the test program names them.
    set(rs_prefix "Z:")
else()
    # The test reads the patched files' resources with LIEF.
    target_include_directories(${FERRYMARK_UNIT_TESTS} SYSTEM PRIVATE ${LIEF_INCLUDE_DIR})
    set(rs_prefix "")
endif()
target_compile_definitions(${FERRYMARK_UNIT_TESTS} PRIVATE
    FERRYMARK_RESOURCE_EXPECTED="${rs_prefix}${rs_source}"
    FERRYMARK_RESOURCE_IMAGES="${rs_prefix}${rs_images}"
    FERRYMARK_STUB_FILE="${rs_prefix}${FERRYMARK_STUB_IMAGE}")
