# Turns one file into a C++ source that defines a byte array and its size:
#   cmake -DINPUT=<file> -DOUTPUT=<source> -DNAME=<symbol> -P embed_file.cmake
file(READ "${INPUT}" hex HEX)
string(LENGTH "${hex}" hex_length)
math(EXPR size "${hex_length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
# Sixteen bytes per line keep the generated file readable in a diff.
string(REGEX REPLACE "((0x[0-9a-f][0-9a-f],){16})" "\\1\n  " bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp"
  "// Generated from ${INPUT}; do not edit.\n"
  "#include <cstddef>\n"
  "extern const unsigned char ${NAME}[];\n"
  "extern const size_t ${NAME}Size;\n"
  "const unsigned char ${NAME}[] = {\n  ${bytes}\n};\n"
  "const size_t ${NAME}Size = ${size};\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
