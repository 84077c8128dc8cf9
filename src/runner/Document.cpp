#include "runner/Document.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/corestore/ValueText.h"

namespace Runner {

Kel::Value::Object const & objectOf( Kel::Value const & value ) {
   auto const * object = value.as< Kel::Value::Object >();
   if ( !object ) {
      throw Kel::ValueError( std::string( "wants an object, not " ) + value.kindName() );
   }
   return *object;
}

Kel::Value readDocument( std::string const & file ) {
   std::ifstream in( file, std::ios::binary );
   if ( !in ) {
      throw InputError( file, "", std::string( "cannot be read: " ) + std::strerror( errno ) );
   }
   std::ostringstream text;
   text << in.rdbuf();
   try {
      return Corestore::parseJson( text.view() );
   } catch ( Corestore::TextError const & e ) {
      throw InputError( file, "", e.what() );
   }
}

}  // namespace Runner
