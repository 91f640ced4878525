# Writes a C++ source that contains text files: a function page_<name>() for each file <name>.<suffix>.
#
#   cmake -DOUTPUT=<file.cpp> -DHEADER=<header> -DTEXTS=<file>,<file>... -P embed.cmake
string(REPLACE "," ";" files "${TEXTS}")
set(source "// Written by cmake/embed.cmake.\n#include \"${HEADER}\"\n\nnamespace convert {\n")
foreach(file IN LISTS files)
    cmake_path(GET file STEM name)
    file(READ "${file}" text)
    string(APPEND source
        "\nstd::string_view page_${name}() {\n    return R\"text(${text})text\";\n}\n")
endforeach()
file(WRITE "${OUTPUT}" "${source}\n}  // namespace convert\n")
