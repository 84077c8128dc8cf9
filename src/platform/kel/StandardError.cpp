#include "platform/kel/StandardError.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace Kel {

namespace {

/** Bytes of the character at the front of a text; one of a byte that begins none. */
std::size_t characterSize( std::string_view text ) {
   std::size_t size = 1;
   while ( size < text.size() && size < 4 && ( text[0] & 0xc0 ) == 0xc0 &&
           ( text[size] & 0xc0 ) == 0x80 ) {
      ++size;
   }
   return size;
}

/** ASCII's control characters, those from U+0080 on, and the two line ends of Unicode. */
bool isControl( std::string_view character ) {
   auto const first = static_cast< unsigned char >( character[0] );
   return first < ' ' || first == 0x7f ||
          ( character.size() == 2 && first == 0xc2 && ( character[1] & 0xe0 ) == 0x80 ) ||
          character == "\u2028" || character == "\u2029";
}

}  // namespace

void keepStandardDescriptors() {
   // A descriptor that is opened gets the lowest number that is free.
   for ( int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd ) {
      int const way = fd == STDIN_FILENO ? O_WRONLY : O_RDONLY;
      if ( ::fcntl( fd, F_GETFD ) == -1 && errno == EBADF && ::open( "/dev/null", way ) != fd ) {
         std::_Exit( 2 );
      }
   }
}

void writeStandardError( std::string_view text ) {
   while ( !text.empty() ) {
      auto const written = ::write( STDERR_FILENO, text.data(), text.size() );
      if ( written < 0 && errno != EINTR ) {
         return;
      }
      text.remove_prefix( written < 0 ? 0 : static_cast< std::size_t >( written ) );
   }
}

std::string oneLine( std::string_view text ) {
   std::string line;
   while ( !text.empty() ) {
      std::string_view const character = text.substr( 0, characterSize( text ) );
      line += isControl( character ) ? "?" : character;
      text.remove_prefix( character.size() );
   }
   return line;
}

std::string shownName( std::string_view name ) {
   constexpr int most = 200;
   std::size_t end = 0;
   for ( int count = 0; count != most && end != name.size(); ++count ) {
      end += characterSize( name.substr( end ) );
   }
   return oneLine( name.substr( 0, end ) ) + ( end == name.size() ? "" : "..." );
}

std::string shownNames( std::vector< std::string > const & names, std::size_t most ) {
   std::string all;
   for ( std::size_t i = 0; i != std::min( names.size(), most ); ++i ) {
      all += ( i ? ", " : "" ) + shownName( names[i] );
   }
   if ( names.size() > most ) {
      all += ", ... (" + std::to_string( names.size() ) + " in all)";
   }
   return all.empty() ? "none" : all;
}

}  // namespace Kel
