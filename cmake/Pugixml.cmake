# pugixml in its wide-character configuration, on both builds.
#
# Debian's libpugixml-dev is built for narrow text, and the wide configuration
# changes the library's interface, so both builds compile Debian's source package
# instead: `apt-get source` fetches it into the build tree (the setup adds the
# deb-src entry). No third-party source is kept in the project.
set(PUGIXML_SOURCE_ROOT ${CMAKE_BINARY_DIR}/_deps/pugixml-src)
file(GLOB PUGIXML_UNPACKED ${PUGIXML_SOURCE_ROOT}/pugixml-*/src/pugixml.cpp)
if(NOT PUGIXML_UNPACKED)
    file(MAKE_DIRECTORY ${PUGIXML_SOURCE_ROOT})
    message(STATUS "Fetching Debian's pugixml source package")
    execute_process(COMMAND apt-get source --quiet pugixml
                    WORKING_DIRECTORY ${PUGIXML_SOURCE_ROOT}
                    RESULT_VARIABLE PUGIXML_FETCH_RESULT
                    OUTPUT_QUIET ERROR_QUIET)
    file(GLOB PUGIXML_UNPACKED ${PUGIXML_SOURCE_ROOT}/pugixml-*/src/pugixml.cpp)
    if(NOT PUGIXML_UNPACKED)
        message(FATAL_ERROR "apt-get source pugixml failed (${PUGIXML_FETCH_RESULT}); "
                            "run tools/setup.sh, which adds the deb-src entry")
    endif()
endif()
list(GET PUGIXML_UNPACKED 0 PUGIXML_CPP)
get_filename_component(PUGIXML_SRC_DIR ${PUGIXML_CPP} DIRECTORY)
add_library(pugixml_wide STATIC ${PUGIXML_CPP})
target_include_directories(pugixml_wide SYSTEM PUBLIC ${PUGIXML_SRC_DIR})
target_compile_definitions(pugixml_wide PUBLIC PUGIXML_WCHAR_MODE)
