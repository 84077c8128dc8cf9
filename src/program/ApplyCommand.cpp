#include "program/ApplyCommand.h"

#include <iostream>

#include "documents/Document.h"
#include "documents/NumberNames.h"
#include "documents/RowsOfDocument.h"
#include "documents/StateCheck.h"
#include "documents/StateDump.h"
#include "documents/StatePatch.h"
#include "platform/corestore/ValueText.h"
#include "platform/kel/StandardError.h"
#include "program/TrialSwitch.h"
#include "records/catalog/Catalog.h"
#include "views/Remarks.h"

namespace Program {

namespace {

/** What a document has at a path, inside the members that lead there; nothing where it has nothing.
 *  The path's own slashes are those of the first member, too. */
std::optional< Kel::Value > partOf( Kel::Value const & document, std::string_view path ) {
   for ( auto const & [name, value] : Documents::objectOf( document ) ) {
      std::string const step = Kel::pointerStep( name );
      // Of a place of the state the slashes are no steps.
      for ( std::string_view const start :
            { std::string_view( name ), std::string_view( step ).substr( 1 ) } ) {
         if ( path == start ) {
            return Kel::Value::Object{ { name, value } };
         }
         if ( path.starts_with( start ) && path[start.size()] == '/' &&
              value.as< Kel::Value::Object >() ) {
            if ( auto part = partOf( value, path.substr( start.size() + 1 ) ) ) {
               return Kel::Value::Object{ { name, std::move( *part ) } };
            }
         }
      }
   }
   return std::nullopt;
}

/** So often is a document tried when others change what it touches. */
constexpr int mostTries = 20;

}  // namespace

void applyDocument( ApplyOptions const & options ) {
   Kel::Value document = Documents::readDocument( options.document );
   if ( document.member( "steps" ) ) {
      throw Documents::InputError( options.document, "", "is a scenario, and no state" );
   }
   auto const checked = [&]( auto && check ) {
      try {
         check();
      } catch ( Kel::ValueError const & e ) {
         throw Documents::InputError( options.document, e );
      }
   };
   checked( [&] {
      document = Documents::withNumbers( document );
      Documents::checkState( document );
   } );
   for ( Views::Remark const & remark : Views::remarksOn( document ) ) {
      std::cerr << Documents::placeOf( options.document, remark.pointer )
                << ": remark: " << remark.words << std::endl;
   }
   LiveState state( options.live );
   state.open();
   Corestore::EntityManager & em = state.entityManager();
   Documents::TouchedRows const rows = Documents::rowsOf( document );
   bool isWritten = false;
   for ( int tries = 0; !isWritten; ++tries ) {
      if ( tries == mostTries ) {
         throw Corestore::StoreError( "others change what " + Kel::shownName( options.document ) +
                                      " touches again and again; nothing is written" );
      }
      auto const look = [&] {
         checked( [&] { Documents::checkRoom( em, document ); } );
         if ( auto const fatal = tryPatch( em, document ) ) {
            throw Documents::InputError( options.document, fatal->pointer,
                                         "would end the agent: " + fatal->reason );
         }
      };
      // What others change meanwhile is not written back: what was tried is what is written over.
      isWritten = state.writeGuarded( rows, look, [&] {
         Documents::applyState( em, document, []( auto const & mutator ) { mutator(); } );
      } );
   }
}

void getState( GetOptions const & options ) {
   LiveState state( options.live );
   state.open();
   Kel::Value document = Documents::stateDocument( state.entityManager() );
   if ( !options.path.empty() ) {
      auto part = partOf( document, options.path );
      if ( !part ) {
         throw Documents::InputError( options.live.redis, "/" + options.path,
                                      "nothing stands there" );
      }
      document = std::move( *part );
   }
   std::cout << Corestore::jsonSorted( document ) << "\n";
}

}  // namespace Program
