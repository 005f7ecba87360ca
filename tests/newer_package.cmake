# Builds this tree's package once more as a newer version, for the upgrade tests:
# the same sources configured with FERRYMARK_VERSION_OVERRIDE in a build folder of
# their own, signed with the same certificate, with the same manual pictures.
#   cmake -DSOURCE=... -DBINARY=... -DVERSION=... -DTOOLCHAIN=... -DPICTURES=...
#         -DPUGIXML=<the first build's pugixml source> [-DCERT=... -DKEY=... | -DPKCS12=...]
#         -P newer_package.cmake
set(signing "")
if(PKCS12)
    set(signing -DFERRYMARK_SIGN_PKCS12=${PKCS12})
elseif(CERT AND KEY)
    set(signing -DFERRYMARK_SIGN_CERT=${CERT} -DFERRYMARK_SIGN_KEY=${KEY})
endif()
# The pugixml source package that the first build fetched, so that this build
# needs no second download.
if(NOT EXISTS ${BINARY}/_deps/pugixml-src)
    file(COPY ${PUGIXML} DESTINATION ${BINARY}/_deps)
endif()
execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${SOURCE} -B ${BINARY} -G Ninja -DCMAKE_BUILD_TYPE=Release
            -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DFERRYMARK_VERSION_OVERRIDE=${VERSION}
            -DFERRYMARK_SCREENSHOTS=${PICTURES} ${signing}
    OUTPUT_QUIET RESULT_VARIABLE result)
if(result EQUAL 0)
    execute_process(COMMAND nice -n 10 ${CMAKE_COMMAND} --build ${BINARY} --target msi
                    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE result)
endif()
if(NOT result EQUAL 0)
    message(FATAL_ERROR "The newer package (${VERSION}) was not built (${result}):\n${output}")
endif()
message(STATUS "Built ${BINARY}/Ferrymark-${VERSION}-x64.msi")
