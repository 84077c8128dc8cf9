#pragma once

#include <string_view>

namespace Web {

/** A file of the page, as it stands in src/web/page. */
struct PageFile {
   std::string_view path;
   std::string_view type;
   std::string_view text;
};

/** The file at a path; "/" is the page itself. Null for one that isn't there. */
PageFile const * pageFileAt( std::string_view path );

}  // namespace Web
