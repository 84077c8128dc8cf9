#include "program/WatchCommand.h"

#include <iostream>

#include "platform/corestore/EntityRows.h"
#include "platform/corestore/ValueText.h"
#include "program/StopSignal.h"
#include "program/TimeText.h"
#include "records/catalog/Catalog.h"
#include "views/tables/TextTable.h"

namespace Program {

namespace {

/** What stands now where something has changed; nothing for what is gone. */
std::optional< Kel::Value > standingAt( Corestore::Change const & change,
                                        std::string const & key ) {
   Kel::AttributeRecord const & attribute = change.attribute;
   if ( attribute.kind() == Kel::AttributeKind::Scalar ) {
      return attribute.preview( change.entity, key, Kel::Value::Object() );
   }
   if ( attribute.kind() == Kel::AttributeKind::Map ) {
      return attribute.read( change.entity, key );
   }
   auto const child = attribute.child( change.entity, key );
   return child ? std::optional( Corestore::entityRow( *child, "" ).value ) : std::nullopt;
}

class Watcher {
 public:
   explicit Watcher( WatchOptions const & options ) : options_( options ) {}

   void tell( Corestore::Change const & change ) const {
      std::string const key = change.key ? change.attribute.keyText( change.key ) : std::string();
      std::string const entity = Corestore::rowPath( change.entity );
      std::string const path = change.attribute.kind() == Kel::AttributeKind::Scalar
                                  ? entity + Kel::pointerStep( change.attribute.name() )
                                  : Corestore::entryPath( entity, change.attribute, key );
      if ( !isWatched( path ) ) {
         return;
      }
      Catalog::Place const * const place = Catalog::placeAt( change.rootPath );
      char const * const writer = place ? place->writer : "someone";
      auto const value = standingAt( change, key );
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
   StopSignal const stop( &state.scheduler() );
   state.scheduler().run( [&stop] { return stop.came() || !std::cout; } );
}

}  // namespace Program
