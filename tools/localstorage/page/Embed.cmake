# cmake -P Embed.cmake OUT FILE...: writes the files of the page as a C++ source file.

math(EXPR last "${CMAKE_ARGC} - 1")
set(entries "")
foreach(n RANGE 4 ${last})
    set(file ${CMAKE_ARGV${n}})
    cmake_path(GET file FILENAME name)
    cmake_path(GET file EXTENSION LAST_ONLY extension)
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
    if(name STREQUAL "index.html")
        set(path "/")
    else()
        set(path "/page/${name}")
    endif()
    if(extension STREQUAL ".html")
        set(type "text/html; charset=utf-8")
    elseif(extension STREQUAL ".css")
        set(type "text/css")
    elseif(extension STREQUAL ".js")
        set(type "text/javascript")
    elseif(extension STREQUAL ".svg")
        set(type "image/svg+xml")
    else()
        message(FATAL_ERROR "${file}: what type it is stands not in Embed.cmake")
    endif()
    string(APPEND entries "    {\"${path}\", {\"${bytes}\"sv, \"${type}\"}},\n")
endforeach()
file(WRITE ${CMAKE_ARGV3} "#include \"serve/Assets.h\"

using namespace std::string_view_literals;

namespace {

constexpr namedAsset ASSETS[] = {
${entries}};

}  // namespace

const std::span<const namedAsset> PAGE = ASSETS;
")
