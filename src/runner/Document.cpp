#include "runner/Document.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/corestore/ValueText.h"

namespace Runner {

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
   std::ifstream in( file, std::ios::binary );
   std::ostringstream text;
   text << in.rdbuf();
   // Reading on tells an error from the end: a folder can be opened, and not read.
   in.peek();
   if ( !in.is_open() || in.bad() ) {
      throw InputError( file, "", std::string( "cannot be read: " ) + std::strerror( errno ) );
   }
   return parseDocument( file, text.view() );
}

Kel::Value parseDocument( std::string const & file, std::string_view text ) {
   try {
      return Corestore::parseJson( text );
   } catch ( Corestore::TextError const & e ) {
      throw InputError( file, "", e.what() );
   }
}

}  // namespace Runner
