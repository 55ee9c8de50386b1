# Run by cmake -P while the program is built: writes TARGET, a source with the bytes of the FILES,
# which are between "|".
cmake_minimum_required(VERSION 3.25)
string(REPLACE "|" ";" files "${FILES}")
set(type_css "text/css; charset=utf-8")
set(type_html "text/html; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")
set(arrays "")
set(rows "")
set(number 0)
foreach(file ${files})
    get_filename_component(name ${file} NAME)
    get_filename_component(extension ${file} LAST_EXT)
    string(SUBSTRING ${extension} 1 -1 extension)
    if(NOT DEFINED type_${extension})
        message(FATAL_ERROR "${file} is of a kind that the page has no type for.")
    endif()
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\\\x\\1" bytes "${bytes}")
    string(REGEX REPLACE "((\\\\x..)(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?(\\\\x..)?)"
           "    \"\\1\"\n" bytes "${bytes}")
    string(APPEND arrays "constexpr char file${number}[] =\n${bytes}    \"\";\n")
    string(APPEND rows "        {\"${name}\", \"${type_${extension}}\", {file${number}, sizeof file${number} - 1}},\n")
    math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${TARGET} "// Written by cmake/PageFiles.cmake.
#include \"tools/web/PageFiles.h\"

namespace tool {

namespace {

${arrays}
} // namespace

const std::vector<PageFile>& pageFiles() {
    static const std::vector<PageFile> files{
${rows}    };
    return files;
}

} // namespace tool
")
