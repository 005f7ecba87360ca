# Code signing of the program and the launcher stub with osslsigncode.
#
# A release names its certificate, either as a PKCS#12 file
#     -DFERRYMARK_SIGN_PKCS12=release.p12   (password in the environment
#                                             variable FERRYMARK_SIGN_PASSWORD)
# or as a PEM certificate and key
#     -DFERRYMARK_SIGN_CERT=cert.pem -DFERRYMARK_SIGN_KEY=key.pem
# Without either, the build makes a throwaway self-signed certificate with openssl
# in signing/ below the build tree, so that every build is signed the same way.
#
# The signing time is fixed (SOURCE_DATE_EPOCH, else the time of the checked-out
# commit) and no timestamp server is asked: the same certificate and the same
# unsigned file give the same signed file.
set(FERRYMARK_SIGN_PKCS12 "" CACHE FILEPATH "Release certificate as PKCS#12 (password: environment FERRYMARK_SIGN_PASSWORD)")
set(FERRYMARK_SIGN_CERT "" CACHE FILEPATH "Release certificate (PEM), with FERRYMARK_SIGN_KEY")
set(FERRYMARK_SIGN_KEY "" CACHE FILEPATH "Private key (PEM) of FERRYMARK_SIGN_CERT")

find_program(FERRYMARK_OSSLSIGNCODE osslsigncode REQUIRED)
find_program(FERRYMARK_OPENSSL openssl REQUIRED)

set(FERRYMARK_SIGNING_DIR ${CMAKE_BINARY_DIR}/signing)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    set(sign_time $ENV{SOURCE_DATE_EPOCH})
else()
    execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} log -1 --format=%ct
                    OUTPUT_VARIABLE sign_time OUTPUT_STRIP_TRAILING_WHITESPACE
                    RESULT_VARIABLE git_result ERROR_QUIET)
    if(NOT git_result EQUAL 0 OR sign_time STREQUAL "")
        set(sign_time 1700000000)
    endif()
endif()
set(FERRYMARK_SIGN_TIME ${sign_time} CACHE INTERNAL "")

if(FERRYMARK_SIGN_PKCS12)
    set(sign_credentials -DPKCS12=${FERRYMARK_SIGN_PKCS12})
    set(sign_inputs ${FERRYMARK_SIGN_PKCS12})
elseif(FERRYMARK_SIGN_CERT AND FERRYMARK_SIGN_KEY)
    set(sign_credentials -DCERT=${FERRYMARK_SIGN_CERT} -DKEY=${FERRYMARK_SIGN_KEY})
    set(sign_inputs ${FERRYMARK_SIGN_CERT} ${FERRYMARK_SIGN_KEY})
else()
    set(throwaway_cert ${FERRYMARK_SIGNING_DIR}/test-cert.pem)
    set(throwaway_key ${FERRYMARK_SIGNING_DIR}/test-key.pem)
    add_custom_command(
        OUTPUT ${throwaway_cert} ${throwaway_key}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${FERRYMARK_SIGNING_DIR}
        COMMAND ${FERRYMARK_OPENSSL} req -x509 -newkey rsa:2048 -nodes -days 3650
                -subj "/CN=Ferrymark test signing, not for release"
                -keyout ${throwaway_key} -out ${throwaway_cert}
        COMMENT "Making a throwaway code-signing certificate"
        VERBATIM)
    set(sign_credentials -DCERT=${throwaway_cert} -DKEY=${throwaway_key})
endif()
# What signs depends on this target; a release's files are listed as inputs too.
add_custom_target(signing_certificate DEPENDS ${throwaway_cert} ${throwaway_key})
# The certificate against which the tests verify a signature: the throwaway one,
# or what a release names.
set(FERRYMARK_SIGN_CAFILE "${throwaway_cert}" CACHE FILEPATH
    "Certificate to verify signatures against (default: the throwaway certificate)")
if(NOT FERRYMARK_SIGN_CAFILE)
    set(FERRYMARK_SIGN_CAFILE ${FERRYMARK_SIGN_CERT})
endif()

# Signs `input` into `output`, as a build step.
function(ferrymark_sign_command input output)
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DOSSLSIGNCODE=${FERRYMARK_OSSLSIGNCODE} ${sign_credentials}
                -DTIME=${FERRYMARK_SIGN_TIME} -DINPUT=${input} -DOUTPUT=${output}
                -P ${PROJECT_SOURCE_DIR}/cmake/Sign.cmake
        DEPENDS ${input} ${sign_inputs} ${PROJECT_SOURCE_DIR}/cmake/Sign.cmake
        COMMENT "Signing ${output}")
endfunction()


# Signs a target's file in place after each link; the unsigned file stays as
# unsigned/<name>.
function(ferrymark_sign_target target)
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/unsigned
        COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:${target}>
                ${CMAKE_BINARY_DIR}/unsigned/$<TARGET_FILE_NAME:${target}>
        COMMAND ${CMAKE_COMMAND} -DOSSLSIGNCODE=${FERRYMARK_OSSLSIGNCODE} ${sign_credentials}
                -DTIME=${FERRYMARK_SIGN_TIME}
                -DINPUT=${CMAKE_BINARY_DIR}/unsigned/$<TARGET_FILE_NAME:${target}>
                -DOUTPUT=$<TARGET_FILE:${target}>
                -P ${PROJECT_SOURCE_DIR}/cmake/Sign.cmake
        COMMENT "Signing $<TARGET_FILE_NAME:${target}>")
    if(sign_inputs)
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${sign_inputs})
    endif()
    add_dependencies(${target} signing_certificate)
endfunction()
