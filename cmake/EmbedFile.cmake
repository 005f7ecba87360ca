# Writes the C++ source of an array that holds a file's bytes:
#   cmake -DINPUT=<file> -DOUTPUT=<file.cpp> -P EmbedFile.cmake
# The array is ferrymarkResourceFile, its size ferrymarkResourceFileSize.
file(READ ${INPUT} hex HEX)
string(LENGTH "${hex}" digits)
math(EXPR size "${digits} / 2")
# 32 bytes a line, each as 0xNN.
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," hex "${hex}")
string(REGEX REPLACE "((0x..,){32})" "\\1\n    " hex "${hex}")
file(WRITE ${OUTPUT}.tmp
    "// Generated from the compiled resource script; do not edit.\n"
    "#include <cstddef>\n\n"
    "extern const unsigned char ferrymarkResourceFile[];\n"
    "extern const std::size_t ferrymarkResourceFileSize;\n\n"
    "alignas(4) const unsigned char ferrymarkResourceFile[] = {\n    ${hex}0x00};\n"
    "const std::size_t ferrymarkResourceFileSize = ${size};\n")
file(RENAME ${OUTPUT}.tmp ${OUTPUT})
