# Signs one file with osslsigncode: cmake -DOSSLSIGNCODE=... -DINPUT=... -DOUTPUT=...
# -DTIME=<unix time> and either -DPKCS12=... (password in the environment variable
# FERRYMARK_SIGN_PASSWORD) or -DCERT=... -DKEY=....
if(PKCS12)
    set(credentials -pkcs12 ${PKCS12})
    if(DEFINED ENV{FERRYMARK_SIGN_PASSWORD})
        list(APPEND credentials -pass "$ENV{FERRYMARK_SIGN_PASSWORD}")
    endif()
else()
    set(credentials -certs ${CERT} -key ${KEY})
endif()
file(REMOVE ${OUTPUT})
execute_process(
    COMMAND ${OSSLSIGNCODE} sign ${credentials} -n Ferrymark -h sha256 -time ${TIME}
            -in ${INPUT} -out ${OUTPUT}
    RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "osslsigncode could not sign ${INPUT}:\n${output}")
endif()
