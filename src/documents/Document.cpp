#include "documents/Document.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"

namespace Documents {

namespace {

/** What keeps a file from being read as a document; empty if nothing does. */
std::string whyNotReadable( std::string const & file ) {
   struct stat status {};
   if ( ::stat( file.c_str(), &status ) != 0 ) {
      return std::strerror( errno );
   }
   if ( S_ISDIR( status.st_mode ) ) {
      return std::strerror( EISDIR );
   }
   struct statfs system {};
   // What the shell connects stands in no folder, and ends with its writer.
   bool const isPipe = S_ISFIFO( status.st_mode ) && ::statfs( file.c_str(), &system ) == 0 &&
                       system.f_type == PIPEFS_MAGIC;
   return S_ISREG( status.st_mode ) || isPipe ? ""
          : S_ISFIFO( status.st_mode )        ? "it is a FIFO"
                                              : "it is a device";
}

}  // namespace

std::string placeOf( std::string const & file, std::string const & pointer ) {
   std::string place;
   for ( std::size_t at = 0; at < pointer.size(); ) {
      std::size_t const end = std::min( pointer.find( '/', at + 1 ), pointer.size() );
      place += "/" + Kel::shownName( std::string_view( pointer ).substr( at + 1, end - at - 1 ) );
      at = end;
   }
   return Kel::shownName( file ) + ": " + ( place.empty() ? "/" : place );
}

InputError::InputError( std::string const & file, std::string const & pointer,
                        std::string const & reason )
   : std::runtime_error( placeOf( file, pointer ) + ": " + Kel::oneLine( reason ) ) {}

Kel::Value::Object const & objectOf( Kel::Value const & value ) {
   return wanted< Kel::Value::Object >( value, "an object" );
}

double secondsOf( Kel::Value const & value ) {
   // Timers fire one by one on the way, so that longer waits would not end.
   constexpr double longest = 1e9;
   double seconds = -1;
   if ( auto const * whole = value.as< std::uint64_t >() ) {
      seconds = static_cast< double >( *whole );
   } else if ( auto const * real = value.as< double >() ) {
      seconds = *real;
   }
   if ( !( seconds >= 0 && seconds <= longest ) ) {
      throw Kel::ValueError( "wants a number of seconds, 0 to 1000000000" );
   }
   return seconds;
}

Kel::Value readDocument( std::string const & file ) {
   std::string const trouble = whyNotReadable( file );
   if ( !trouble.empty() ) {
      throw InputError( file, "", "cannot be read: " + trouble );
   }
   std::ifstream in( file, std::ios::binary );
   std::string text;
   char chunk[1 << 16];
   while ( in.read( chunk, sizeof chunk ) || in.gcount() > 0 ) {
      text.append( chunk, static_cast< std::size_t >( in.gcount() ) );
   }
   if ( !in.is_open() || in.bad() ) {
      throw InputError( file, "", std::string( "cannot be read: " ) + std::strerror( errno ) );
   }
   return parseDocument( file, text );
}

Kel::Value parseDocument( std::string const & file, std::string_view text ) {
   try {
      return Corestore::parseJson( text );
   } catch ( Corestore::TextError const & e ) {
      throw InputError( file, "", e.what() );
   }
}

}  // namespace Documents
