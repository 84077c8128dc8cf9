#include "program/WatchCommand.h"

#include <iostream>

#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"
#include "program/StopSignal.h"
#include "program/TimeText.h"
#include "views/ShownChange.h"
#include "views/tables/TextTable.h"

namespace Program {

namespace {

class Watcher {
 public:
   explicit Watcher( WatchOptions const & options ) : options_( options ) {}

   void tell( Corestore::Change const & change ) const {
      std::string const path = Views::pathOfChange( change );
      if ( !isWatched( path ) ) {
         return;
      }
      auto const [same, writer, value] = Views::shown( change );
      if ( options_.json ) {
         std::cout << Corestore::jsonLine(
            Kel::Value::Object{ { "time", localClock() },
                                { "path", path },
                                { "writer", writer },
                                { "op", value ? "set" : "del" },
                                { "value", value.value_or( Kel::Value() ) } } );
      } else {
         std::cout << localClock() << "  " << Views::printable( path ) << "  "
                   << ( value ? Views::printable( Corestore::jsonLine( *value ) ) : "is gone" )
                   << "  (" << writer << ")";
      }
      std::cout << std::endl;
   }

 private:
   bool isWatched( std::string const & path ) const {
      std::string const & wanted = options_.path;
      return wanted.empty() || path == wanted ||
             ( path.starts_with( wanted ) && path[wanted.size()] == '/' );
   }

   WatchOptions const & options_;
};

}  // namespace

void watchState( WatchOptions const & options ) {
   LiveState state( options.live );
   state.open();
   Watcher const watcher( options );
   Corestore::ChangeObserver const observer(
      state.entityManager(), [&]( Corestore::Change const & change ) { watcher.tell( change ); } );
   state.followerIs( []( std::string const & text ) {
      std::cerr << localClock() << "  " << Kel::oneLine( text ) << std::endl;
   } );
   StopSignal const stop( &state.scheduler() );
   state.scheduler().run( [&stop] { return stop.came() || !std::cout; } );
}

}  // namespace Program
