# The launcher stub: a separate executable that stands in for a disabled
# simulator's program. It is written alone into somebody else's folder, so it
# needs no runtime library file: it is built without the C runtime, with its own
# entry point, and imports from KERNEL32, USER32, VERSION and COMCTL32 only.
#
# The program carries the finished image as a raw resource; FERRYMARK_STUB_IMAGE
# names it for the program's resource script.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(FERRYMARK_STUB_GENERATED ${CMAKE_BINARY_DIR}/stub)
set(stub_icon ${FERRYMARK_STUB_GENERATED}/stub-icon.ico)
add_custom_command(
    OUTPUT ${stub_icon}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${FERRYMARK_STUB_GENERATED}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_SOURCE_DIR}/tools/make-stub-icon.py ${stub_icon}
    DEPENDS ${CMAKE_SOURCE_DIR}/tools/make-stub-icon.py ${CMAKE_SOURCE_DIR}/tools/icon_file.py
    COMMENT "Drawing the launcher stub's icon")

add_executable(launcher_stub WIN32
    stub/main.cpp
    stub/freestanding.cpp
    stub/stub.rc)
set_target_properties(launcher_stub PROPERTIES OUTPUT_NAME FerrymarkStub)
target_include_directories(launcher_stub PRIVATE
    ${CMAKE_SOURCE_DIR}/stub ${CMAKE_SOURCE_DIR}/resources ${FERRYMARK_STUB_GENERATED})
set_source_files_properties(stub/stub.rc PROPERTIES OBJECT_DEPENDS
    "${stub_icon};${CMAKE_SOURCE_DIR}/resources/stub.manifest;${CMAKE_SOURCE_DIR}/resources/fsx_version.rc;${CMAKE_SOURCE_DIR}/stub/resource.h")

# Freestanding code: no built-in library calls, no exceptions or run-time type
# information, no stack protector, and no loop turned into a call of memset or
# memcpy (stub/freestanding.cpp provides those two in case the compiler emits
# them for a structure). The stack frames stay far below a page, so no stack
# probe (___chkstk_ms) is emitted; with no libgcc linked, one would fail the link.
target_compile_options(launcher_stub PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-Os -ffreestanding -fno-exceptions -fno-rtti -fno-stack-protector
                              -fno-asynchronous-unwind-tables -fno-tree-loop-distribute-patterns>)
target_link_options(launcher_stub PRIVATE
    -nostdlib -nostartfiles -Wl,--entry=StubEntry -Wl,--no-insert-timestamp -s)
target_link_libraries(launcher_stub PRIVATE ferrymark_warnings kernel32 user32 version comctl32)

set(FERRYMARK_STUB_IMAGE ${CMAKE_BINARY_DIR}/bin/FerrymarkStub.exe)
