#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Ovsdb {

/** Cuts what a server sends into its messages: objects in JSON, one behind the other, with nothing
 *  else that would tell them apart. */
class Splitter {
 public:
   /** Takes what has come. */
   void add( std::string_view bytes ) { bytes_ += bytes; }
   /** The next message that is whole. Throws Kel::ValueError for what begins none, or never ends.
    */
   std::optional< std::string > next();

 private:
   std::string bytes_;
   /** Of these so many have been looked at. */
   std::size_t seen_ = 0;
   std::size_t depth_ = 0;
   bool inText_ = false;
   bool escaped_ = false;
};

}  // namespace Ovsdb
