#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/kel/ValueTraits.h"

namespace Documents {

/** "FILE: POINTER", as messages begin: on one line, with long names cut. */
std::string placeOf( std::string const & file, std::string const & pointer );

/** Bad input from outside. `what()` is one line: file, JSON pointer, reason. */
class InputError : public std::runtime_error {
 public:
   InputError( std::string const & file, std::string const & pointer, std::string const & reason );
   InputError( std::string const & file, Kel::ValueError const & error )
      : InputError( file, error.pointer(), error.what() ) {}
};

/** Runs `f`; an error inside it is seen from one level above that member. */
template < class F >
void below( std::string_view member, F && f ) {
   try {
      f();
   } catch ( Kel::ValueError const & e ) {
      throw e.below( member );
   }
}

/** The value's content of that type, which `what` names; throws Kel::ValueError for any other. */
template < class T >
T const & wanted( Kel::Value const & value, char const * what ) {
   T const * typed = value.as< T >();
   if ( !typed && std::is_arithmetic_v< T > ) {
      Kel::Detail::failNumber( what, value );
   } else if ( !typed ) {
      Kel::Detail::failKind( what, value );
   }
   return *typed;
}

/** A number of seconds, 0 to 1,000,000,000; throws Kel::ValueError for anything else. */
double secondsOf( Kel::Value const & value );

/** The members of an object; throws Kel::ValueError for any other value. */
Kel::Value::Object const & objectOf( Kel::Value const & value );

/** Reads a file of JSON, or a pipe that is open already. Throws InputError, for a device and a FIFO
 *  too, which may have no end. */
Kel::Value readDocument( std::string const & file );
/** The same for the text that the file holds. */
Kel::Value parseDocument( std::string const & file, std::string_view text );

}  // namespace Documents
