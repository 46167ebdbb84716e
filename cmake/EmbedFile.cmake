# cmake -DIN=page.html -DOUT=page.cpp -DNAME=g_aPage -DSIZE=g_nPageSize -P EmbedFile.cmake
# Writes the bytes of IN as the array NAME, with a zero past its SIZE bytes, so that a
# program carries the file within itself.
file(READ "${IN}" hex HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
get_filename_component(source "${IN}" NAME)
file(WRITE "${OUT}" "// Generated from ${source}.\n#include <cstddef>\n"
     "extern const unsigned char ${NAME}[] = {${bytes}0x00};\n"
     "extern const size_t ${SIZE} = sizeof(${NAME}) - 1;\n")
