# Builds the installer with wixl from staged copies of the program, the manual and
# the icon. The copies get the build's fixed time, which the cabinet records, and
# the package's summary gets a revision number made from its contents and the same
# fixed time: the same inputs give the same package.
file(REMOVE_RECURSE ${STAGE})
file(MAKE_DIRECTORY ${STAGE})
foreach(input ${PROGRAM} ${MANUAL} ${ICON})
    if(NOT EXISTS ${input})
        message(FATAL_ERROR "The installer needs ${input}")
    endif()
endforeach()
file(COPY_FILE ${PROGRAM} ${STAGE}/Ferrymark.exe)
file(COPY_FILE ${MANUAL} ${STAGE}/Manual.pdf)
file(COPY_FILE ${ICON} ${STAGE}/ferrymark.ico)
# wixl finds the files beside the descriptor.
file(COPY_FILE ${SOURCE} ${STAGE}/Ferrymark.wxs)
execute_process(COMMAND touch -d @${TIME} ${STAGE}/Ferrymark.exe ${STAGE}/Manual.pdf ${STAGE}/ferrymark.ico)

set(contents "${VERSION}")
foreach(name Ferrymark.exe Manual.pdf ferrymark.ico)
    file(SHA256 ${STAGE}/${name} hash)
    string(APPEND contents " ${hash}")
endforeach()
file(READ ${SOURCE} descriptor)
string(SHA256 hash "${descriptor}")
string(UUID package_code NAMESPACE ${PRODUCT_CODE} NAME "${contents} ${hash}" TYPE SHA1 UPPER)

get_filename_component(output_folder ${OUTPUT} DIRECTORY)
file(MAKE_DIRECTORY ${output_folder})
file(REMOVE ${OUTPUT})
execute_process(
    COMMAND ${WIXL} --arch x64 -D Version=${VERSION} -D ProductCode={${PRODUCT_CODE}}
            -o ${OUTPUT} Ferrymark.wxs
    WORKING_DIRECTORY ${STAGE}
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "wixl failed (${result})")
endif()
# The upgrade's removal of an older version names the feature instead of ALL, so
# that the older version's refusal to be removed while a target is active (a
# launch condition on REMOVE="ALL") lets an upgrade through also where the
# installer passes no UPGRADINGPRODUCTCODE (Wine). wixl has no attribute for it.
execute_process(
    COMMAND ${MSIBUILD} ${OUTPUT} -q
            "UPDATE `Upgrade` SET `Remove`='Complete' WHERE `ActionProperty`='WIX_UPGRADE_DETECTED'"
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "msibuild could not set the upgrade's Remove column (${result})")
endif()
execute_process(COMMAND ${PYTHON} ${FIX_SUMMARY} ${OUTPUT} {${package_code}} ${TIME}
                RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "The installer's summary could not be fixed (${result})")
endif()
