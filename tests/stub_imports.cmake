# The import check of the launcher stub, run as a script:
#   cmake -DOBJDUMP=<objdump> -DIMAGE=<stub.exe> -P stub_imports.cmake
# It lists the DLLs that the image imports from and fails unless they are exactly
# KERNEL32, USER32, VERSION and COMCTL32, in a PE32+ image for the Windows GUI
# subsystem.
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
