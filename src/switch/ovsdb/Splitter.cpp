#include "switch/ovsdb/Splitter.h"

#include <utility>

#include "platform/kel/Value.h"

namespace Ovsdb {

namespace {

/** A database of a thousand bridges is told in less. */
constexpr std::size_t longest = std::size_t{ 64 } << 20;
constexpr std::size_t deepest = 64;

}  // namespace

std::optional< std::string > Splitter::next() {
   if ( depth_ == 0 ) {
      bytes_.erase( 0, bytes_.find_first_not_of( " \t\r\n" ) );
   }
   if ( bytes_.empty() ) {
      return std::nullopt;
   }
   if ( bytes_[0] != '{' ) {
      throw Kel::ValueError( "what comes is no object" );
   }
   while ( seen_ != bytes_.size() ) {
      char const byte = bytes_[seen_++];
      if ( inText_ ) {
         bool const ends = byte == '"' && !escaped_;
         escaped_ = byte == '\\' && !escaped_;
         inText_ = !ends;
      } else if ( byte == '"' ) {
         inText_ = true;
      } else if ( byte == '{' || byte == '[' ) {
         ++depth_;
      } else if ( ( byte == '}' || byte == ']' ) && --depth_ == 0 ) {
         std::string message = bytes_.substr( 0, seen_ );
         bytes_.erase( 0, std::exchange( seen_, 0 ) );
         return message;
      }
      if ( depth_ > deepest || seen_ > longest ) {
         throw Kel::ValueError( "a message is too long or too deep" );
      }
   }
   return std::nullopt;
}

}  // namespace Ovsdb
