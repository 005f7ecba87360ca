# Builds Manual.pdf with weasyprint from docs/manual/manual.html and its style
# sheet; the pictures are looked up in PICTURES. A missing picture stops the build
# (weasyprint itself would leave a gap and carry on).
file(READ ${SOURCE}/manual.html html)
string(REGEX MATCHALL "<img src=\"[^\"]+\"" images "${html}")
set(missing "")
foreach(image IN LISTS images)
    string(REGEX REPLACE "<img src=\"([^\"]+)\"" "\\1" name "${image}")
    if(NOT EXISTS ${PICTURES}/${name})
        list(APPEND missing ${name})
    endif()
endforeach()
if(missing)
    message(FATAL_ERROR "The manual's pictures are missing from ${PICTURES}: ${missing}\n"
                        "They are the end-to-end run's screenshots: run tools/release.sh "
                        "(or bash tools/test-all.sh) first.")
endif()
set(ENV{SOURCE_DATE_EPOCH} ${TIME})
execute_process(
    COMMAND ${WEASYPRINT} --quiet --stylesheet ${SOURCE}/manual.css --base-url ${PICTURES}/
            ${SOURCE}/manual.html ${OUTPUT}
    RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "weasyprint failed (${result})")
endif()
