# Makes OUTPUT, a source with the files of the folder PAGE in it: cmake -D PAGE=... -D OUTPUT=... -P
set(types .html "text/html; charset=utf-8" .css "text/css; charset=utf-8"
  .js "text/javascript; charset=utf-8" .svg "image/svg+xml")
file(GLOB files RELATIVE ${PAGE} ${PAGE}/*)
set(arrays)
set(rows)
set(number 0)
foreach(file IN LISTS files)
  get_filename_component(extension ${file} LAST_EXT)
  list(FIND types ${extension} at)
  math(EXPR at "${at} + 1")
  list(GET types ${at} type)
  file(READ ${PAGE}/${file} bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND arrays "constexpr char file${number}[] = {${bytes}};\n")
  set(path "/${file}")
  if(file STREQUAL "index.html")
    set(path "/")
  endif()
  string(APPEND rows "   { \"${path}\", \"${type}\", { file${number}, sizeof file${number} } },\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUTPUT} "#include \"web/Page.h\"

#include <algorithm>

namespace Web {

namespace {

${arrays}
constexpr PageFile files[] = {
${rows}};

}  // namespace

PageFile const * pageFileAt( std::string_view path ) {
   auto const * const file = std::ranges::find( files, path, &PageFile::path );
   return file == std::end( files ) ? nullptr : file;
}

}  // namespace Web
")
