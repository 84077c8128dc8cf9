#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform/kel/Dir.h"
#include "platform/kel/StateMachine.h"

/* Entities and machines for the tests of the frame: a shelf of boxes, and machines that watch. */

namespace Sample {

/** A price with the currency that it repeats as its key. */
struct Price {
   Kel::String currency;
   int amount = 0;
   KEL_RECORD( Price, currency, amount )
};

class Box : public Kel::NamedEntity {
   KEL_ENTITY( Sample::Box )
   KEL_SCALAR( int, size )
   KEL_SCALAR( Kel::String, label )
   KEL_MAP( int, int, item )
   KEL_VALUES( Kel::String, Price, price, currency )
   // Counts the boxes that are there, for leaks and early ends.
   static inline int alive = 0;
   struct Counted {
      Counted() { ++alive; }
      ~Counted() { --alive; }
   } counted;
};

class Shelf : public Kel::NamedEntity {
   KEL_ENTITY( Sample::Shelf )
   KEL_CHILDREN( Kel::String, Box, box )
   KEL_ORDERED_CHILDREN( Kel::String, Box, sorted )
   KEL_REFERENCE( Box, best )
};

/** What happened, in order, and what else is to happen then. */
struct Script {
   std::vector< std::string > log;
   std::map< std::string, std::function< void() >, std::less<> > on;

   void event( std::string const & what ) {
      log.push_back( what );
      if ( auto found = on.find( what ); found != on.end() ) {
         auto action = found->second;
         action();
      }
   }
   std::vector< std::string > take() { return std::exchange( log, {} ); }
};
using Log = std::vector< std::string >;

/** Watches a box and logs under its own name. */
class WatchSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( Sample::WatchSm )
   KEL_REACTOR( KelBox, Box, box,
                KEL_ROWS( KEL_ON( size, handleSize )
                          KEL_ON( item, handleItem )
                          KEL_ON( price, handleSomePrice ) ) )
   KEL_GIVEN( Kel::String, name )
   KEL_GIVEN( Script *, script )

   static Kel::String keyOf( Kel::Ptr< Box > const &, Kel::String const & key, Script * ) {
      return key;
   }

   void event( std::string const & what ) { script()->event( name().stringValue() + what ); }
   void handleInitialized() override {
      event( hasNotificationActive() ? " initialized while active" : " initialized" );
   }
   void handleSize() { event( " size" ); }
   void handleItem() { event( " items" ); }
   void handleItem( int key ) { event( " item " + std::to_string( key ) ); }
   void handleSomePrice() { event( " prices" ); }

 protected:
   void handleEnd() override { event( " end" ); }
};

inline Kel::Ptr< Box > newBox( char const * name = "box" ) {
   return Kel::Ptr< Box >( new Box( name ) );
}

}  // namespace Sample
