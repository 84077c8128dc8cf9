#include "platform/kel/Assert.h"

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <typeinfo>

#include "platform/kel/StandardError.h"

namespace Kel {

namespace {

using Hooks = std::list< std::function< void() > >;

// Never destroyed: an assertion may fail in a static destructor.
Hooks & hooks() {
   static auto & theHooks = *new Hooks;
   return theHooks;
}

[[noreturn]] void flushAndAbort() {
   static bool flushing = false;
   if ( !flushing ) {
      flushing = true;
      for ( auto const & hook : hooks() ) {
         try {
            hook();
         } catch ( ... ) {
            writeStandardError( "A flush hook failed; its data may be lost.\n" );
         }
      }
   }
   std::abort();
}

std::string typeName( std::type_info const & type ) {
   int status = 0;
   char * const demangled = abi::__cxa_demangle( type.name(), nullptr, nullptr, &status );
   std::string name = demangled ? demangled : type.name();
   std::free( demangled );
   return name;
}

[[noreturn]] void handleTerminate() {
   std::string text = "Terminated without an exception.";
   if ( auto const current = std::current_exception() ) {
      try {
         std::rethrow_exception( current );
      } catch ( std::bad_alloc const & ) {
         writeStandardError( "out of memory\n" );
         std::_Exit( 2 );
      } catch ( std::exception const & e ) {
         text = "Uncaught exception " + typeName( typeid( e ) ) + ": " + e.what();
      } catch ( ... ) {
         text = "Uncaught exception of type " + typeName( *abi::__cxa_current_exception_type() );
      }
   }
   endWithText( text );
}

}  // namespace

void endWithText( std::string const & text ) {
   writeStandardError( text + '\n' );
   flushAndAbort();
}

void assertFail( char const * expression, char const * sourceUnit, unsigned line,
                 char const * prettyFunction ) {
   endWithText( std::string( sourceUnit ) + ':' + std::to_string( line ) + ": " + prettyFunction +
                ": Assertion `" + expression + "' failed." );
}

void installTerminateHandler() {
   std::set_terminate( handleTerminate );
}

FlushHook::FlushHook( std::function< void() > action )
   : position_( hooks().insert( hooks().end(), std::move( action ) ) ) {}

FlushHook::~FlushHook() {
   hooks().erase( position_ );
}

}  // namespace Kel
