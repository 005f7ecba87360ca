# Tests of the launcher stub: its image's imports checked on the host, and the
# stub itself run under Wine beside language.dll fixtures that the build makes.
#
# Run as a script (cmake -P) this file is the import check: it lists the DLLs that
# the image imports from and fails unless they are exactly KERNEL32, USER32,
# VERSION and COMCTL32, in a PE32+ image for the Windows GUI subsystem.
if(CMAKE_SCRIPT_MODE_FILE)
    execute_process(COMMAND ${OBJDUMP} -p ${IMAGE}
                    OUTPUT_VARIABLE dump ERROR_VARIABLE problem RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "FAIL: ${OBJDUMP} could not read ${IMAGE}: ${problem}")
    endif()
    string(REGEX MATCHALL "DLL Name: [^\r\n]+" lines "${dump}")
    set(imports)
    foreach(line ${lines})
        string(REPLACE "DLL Name: " "" name "${line}")
        string(STRIP "${name}" name)
        string(TOUPPER "${name}" name)
        list(APPEND imports ${name})
    endforeach()
    list(SORT imports)
    message(STATUS "Imports of ${IMAGE}: ${imports}")
    set(expected COMCTL32.DLL KERNEL32.DLL USER32.DLL VERSION.DLL)
    if(NOT imports STREQUAL expected)
        message(FATAL_ERROR "FAIL: the stub imports from ${imports}, expected exactly ${expected}")
    endif()
    # The platform calls that the stub makes, each imported by name.
    foreach(function SetProcessDPIAware InitCommonControls InitCommonControlsEx
                     GetFileVersionInfoSizeW GetFileVersionInfoW VerQueryValueW MessageBoxW
                     HeapAlloc HeapFree ExitProcess)
        if(NOT dump MATCHES "[ \t]${function}[\r\n]")
            message(FATAL_ERROR "FAIL: the stub does not import ${function}")
        endif()
    endforeach()
    if(NOT dump MATCHES "Magic[ \t]+020b")
        message(FATAL_ERROR "FAIL: the stub is not a PE32+ (x86-64) image")
    endif()
    if(NOT dump MATCHES "Subsystem[ \t]+00000002")
        message(FATAL_ERROR "FAIL: the stub is not a Windows GUI program")
    endif()
    message(STATUS "PASS")
    return()
endif()

if(NOT WIN32 OR NOT TARGET launcher_stub)
    return()
endif()

find_program(FERRYMARK_MINGW_OBJDUMP NAMES x86_64-w64-mingw32-objdump REQUIRED)
find_program(FERRYMARK_MINGW_CC NAMES x86_64-w64-mingw32-gcc-posix x86_64-w64-mingw32-gcc
             REQUIRED)
find_program(FERRYMARK_MINGW_WINDRES NAMES x86_64-w64-mingw32-windres REQUIRED)

add_test(NAME stub.imports
         COMMAND ${CMAKE_COMMAND} -DOBJDUMP=${FERRYMARK_MINGW_OBJDUMP}
                 -DIMAGE=$<TARGET_FILE:launcher_stub> -P ${CMAKE_CURRENT_LIST_FILE})
set_tests_properties(stub.imports PROPERTIES
    PASS_REGULAR_EXPRESSION "-- PASS" FAIL_REGULAR_EXPRESSION "FAIL:")

# language.dll fixtures, each under its own name in a folder beside the test
# program; a test copies one of them beside a copy of the stub.
set(stub_fixture_source ${CMAKE_CURRENT_SOURCE_DIR}/fixtures/stub)
set(stub_fixture_dir ${CMAKE_BINARY_DIR}/bin/stub-fixtures)
set(stub_fixture_objects ${CMAKE_CURRENT_BINARY_DIR}/stub-fixtures-obj)
set(stub_fixtures)

# Makes `name`.dll; with four file version numbers and a product major version it
# carries a version resource, without them none.
function(stub_language_fixture name)
    set(image ${stub_fixture_dir}/${name}.dll)
    set(objects)
    if(ARGC GREATER 1)
        set(object ${stub_fixture_objects}/${name}.res.o)
        add_custom_command(
            OUTPUT ${object}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${stub_fixture_objects}
            COMMAND ${FERRYMARK_MINGW_WINDRES} -DFILE_MAJOR=${ARGV1} -DFILE_MINOR=${ARGV2}
                    -DFILE_BUILD=${ARGV3} -DFILE_REVISION=${ARGV4} -DPRODUCT_MAJOR=${ARGV5}
                    ${stub_fixture_source}/language.rc -O coff -o ${object}
            DEPENDS ${stub_fixture_source}/language.rc
            COMMENT "Compiling the language.dll version resource ${name}")
        set(objects ${object})
    endif()
    add_custom_command(
        OUTPUT ${image}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${stub_fixture_dir}
        COMMAND ${FERRYMARK_MINGW_CC} -shared -nostdlib -s -Wl,--entry,ImageEntry -o ${image}
                ${stub_fixture_source}/image.c ${objects}
        DEPENDS ${stub_fixture_source}/image.c ${objects}
        COMMENT "Linking the language.dll fixture ${name}")
    set(stub_fixtures ${stub_fixtures} ${image} PARENT_SCOPE)
endfunction()

#                     name                  file version         product major
stub_language_fixture(language-10.3.7.9     10 3 7 9             4)
stub_language_fixture(language-10.max       10 65535 65535 65535 1)
stub_language_fixture(language-1            1 0 0 0              10)
stub_language_fixture(language-2            2 0 0 0              10)
stub_language_fixture(language-3            3 0 0 0              10)
stub_language_fixture(language-4.5.0.0      4 5 0 0              4)
stub_language_fixture(language-5            5 0 0 0              10)
stub_language_fixture(language-0            0 1 0 0              10)
stub_language_fixture(language-6            6 0 0 0              10)
stub_language_fixture(language-9            9 0 0 0              10)
stub_language_fixture(language-11           11 0 0 0             10)
stub_language_fixture(language-file3-product5 3 0 0 0            5)
stub_language_fixture(language-unversioned)
add_custom_target(stub_fixtures ALL DEPENDS ${stub_fixtures})

add_executable(stub_tests ${CMAKE_CURRENT_SOURCE_DIR}/wine/stub_test.cpp
               ${CMAKE_CURRENT_SOURCE_DIR}/e2e/driver.cpp
               ${CMAKE_CURRENT_SOURCE_DIR}/support/file_bytes_win32.cpp)
target_include_directories(stub_tests PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_compile_definitions(stub_tests PRIVATE
    FERRYMARK_STUB_FILE_NAME=L"$<TARGET_FILE_NAME:launcher_stub>")
target_link_libraries(stub_tests PRIVATE ferrymark_warnings gtest_main user32 gdi32 version)
add_dependencies(stub_tests launcher_stub stub_fixtures wineprefix)

# The test program writes its screenshots below the build folder, named in
# Windows form.
string(REPLACE "/" "\\" stub_build_folder "Z:${CMAKE_BINARY_DIR}")
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/screenshots)
gtest_discover_tests(stub_tests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
    TEST_PREFIX "e2e."
    PROPERTIES SKIP_REGULAR_EXPRESSION "${FERRYMARK_SKIP_PATTERN}"
               ENVIRONMENT "FERRYMARK_BUILD=${stub_build_folder}"
               TIMEOUT 120 FIXTURES_REQUIRED wineserver)
