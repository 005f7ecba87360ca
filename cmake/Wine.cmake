# Runs the cross-built tests under Wine in a prefix of this build tree, made once
# by the build.
set(FERRYMARK_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
configure_file(${CMAKE_SOURCE_DIR}/tools/wine-run.sh.in ${CMAKE_BINARY_DIR}/wine-run.sh
               FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                WORLD_READ WORLD_EXECUTE
               @ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_BINARY_DIR}/wine-run.sh)

add_custom_command(
    OUTPUT ${FERRYMARK_WINEPREFIX}/.ferrymark-ready
    COMMAND ${CMAKE_SOURCE_DIR}/tools/wine-prefix.sh ${FERRYMARK_WINEPREFIX} --virtual-desktop
    DEPENDS ${CMAKE_SOURCE_DIR}/tools/wine-prefix.sh
    COMMENT "Preparing the Wine prefix for tests"
    USES_TERMINAL)
add_custom_target(wineprefix ALL DEPENDS ${FERRYMARK_WINEPREFIX}/.ferrymark-ready)
