#include "scenario/Scenario.h"

#include <regex.h>

#include "documents/Document.h"
#include "documents/NumberNames.h"
#include "documents/StateCheck.h"
#include "platform/kel/Assert.h"
#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"

namespace Scenarios {

namespace {

using Kel::Value;
using Kel::ValueError;

RestartStep readRestart( Value const & value ) {
   if ( value != Value( true ) ) {
      throw ValueError( "wants true" );
   }
   return {};
}

CorruptStep readCorrupt( Value const & value ) {
   CorruptStep step;
   for ( auto const & path : Documents::objectOf( value ) ) {
      Documents::below( path.first, [&] { Documents::objectOf( path.second ); } );
      for ( auto const & table : Documents::objectOf( path.second ) ) {
         Documents::checkRow( path.first, table.first, table.second );
         step.rows.push_back( { path.first, table.first, *table.second.as< std::string >() } );
      }
   }
   return step;
}

template < class DocumentStep >
DocumentStep readDocumentStep( Value const & value ) {
   Value document = Documents::withNumbers( value );
   Documents::checkState( document );
   return { std::move( document ) };
}

/** The members that make a step, and how each is read, in the order of the kinds of steps. */
constexpr std::pair< char const *, Step ( * )( Value const & ) > readers[] = {
   { "patch", []( Value const & v ) -> Step { return readDocumentStep< PatchStep >( v ); } },
   { "advance",
     []( Value const & v ) -> Step { return AdvanceStep{ Documents::secondsOf( v ) }; } },
   { "restart", []( Value const & v ) -> Step { return readRestart( v ); } },
   { "corrupt", []( Value const & v ) -> Step { return readCorrupt( v ); } },
   { "expect", []( Value const & v ) -> Step { return readDocumentStep< ExpectStep >( v ); } },
};

Step readStep( Value const & value ) {
   std::optional< Step > step;
   for ( auto const & member : Documents::objectOf( value ) ) {
      Documents::below( member.first, [&] {
         if ( member.first == "note" ) {
            Documents::wanted< std::string >( member.second, "a text" );
            return;
         }
         for ( auto const & [name, read] : readers ) {
            if ( member.first == name ) {
               if ( step ) {
                  throw ValueError( "is a second action in one step" );
               }
               step = read( member.second );
               return;
            }
         }
         throw ValueError( "unknown member of a step" );
      } );
   }
   if ( !step ) {
      throw ValueError( "wants one of patch, advance, restart, corrupt, expect" );
   }
   return std::move( *step );
}

template < class F >
void forEachElement( Value const & value, F && f ) {
   auto const & array = Documents::wanted< Value::Array >( value, "an array" );
   for ( std::size_t i = 0; i != array.size(); ++i ) {
      Documents::below( std::to_string( i ), [&] { f( array[i] ); } );
   }
}

void readMember( Scenario & scenario, std::string const & name, Value const & value ) {
   if ( name == "name" || name == "note" ) {
      Documents::wanted< std::string >( value, "a text" );
   } else if ( name == "steps" ) {
      forEachElement( value,
                      [&]( Value const & step ) { scenario.steps.push_back( readStep( step ) ); } );
   } else if ( name == "switch" ) {
      scenario.simulated = Simulated::readSettings( value );
   } else if ( name == "noRestartAfter" ) {
      forEachElement( value, [&]( Value const & step ) {
         scenario.noRestartAfter.insert(
            Documents::wanted< std::uint64_t >( step, "a whole number from 0" ) );
      } );
   } else if ( name == "noRestartWhy" ) {
      scenario.noRestartWhy = Documents::wanted< std::string >( value, "a text" );
   } else if ( name == "expectDeath" ) {
      scenario.expectDeath = Documents::wanted< std::string >( value, "a text" );
   } else {
      throw ValueError( "unknown member of a scenario" );
   }
}

void read( Scenario & scenario, Value const & document ) {
   if ( !document.member( "steps" ) ) {
      for ( auto const & member : Documents::objectOf( document ) ) {
         if ( Catalog::placeAt( member.first ) ) {
            throw ValueError( "is a state, and no scenario: it has no \"steps\"" );
         }
      }
   }
   for ( auto const & member : Documents::objectOf( document ) ) {
      Documents::below( member.first,
                        [&] { readMember( scenario, member.first, member.second ); } );
   }
   if ( !document.member( "steps" ) ) {
      throw ValueError( "wants a member \"steps\"" );
   }
   if ( !scenario.noRestartAfter.empty() && scenario.noRestartWhy.empty() ) {
      throw ValueError( "wants a member \"noRestartWhy\" with \"noRestartAfter\"" );
   }
}

/** Plays a step, whose pointer is that of its action. */
struct Player {
   Switch & device;
   Scenario const & scenario;
   std::string const & pointer;

   std::vector< Documents::Unmet > operator()( PatchStep const & step ) const {
      here( [&] { device.patch( step.document ); } );
      return {};
   }
   std::vector< Documents::Unmet > operator()( AdvanceStep const & step ) const {
      here( [&] { device.advance( step.seconds ); } );
      return {};
   }
   std::vector< Documents::Unmet > operator()( RestartStep const & ) const {
      here( [&] { device.restart(); } );
      return {};
   }
   std::vector< Documents::Unmet > operator()( CorruptStep const & step ) const {
      for ( auto const & [path, table, key] : step.rows ) {
         if ( !device.corrupt( path, table, key ) ) {
            throw Documents::InputError(
               scenario.file, pointer + Kel::pointerStep( path ) + Kel::pointerStep( table ),
               "there is no row " + Kel::shownName( key ) );
         }
      }
      return {};
   }
   std::vector< Documents::Unmet > operator()( ExpectStep const & step ) const {
      std::vector< Documents::Unmet > unmet = device.expect( step.document );
      for ( Documents::Unmet & one : unmet ) {
         one.pointer.insert( 0, pointer );
      }
      return unmet;
   }

   /** What does not fit what stands is told with its place in the scenario. */
   template < class F >
   void here( F && f ) const {
      try {
         f();
      } catch ( ValueError const & e ) {
         throw Documents::InputError( scenario.file, pointer + e.pointer(), e.what() );
      }
   }
};

}  // namespace

Scenario readScenario( std::string const & file ) {
   return scenarioOf( file, Documents::readDocument( file ) );
}

Scenario scenarioOf( std::string const & file, Value const & document ) {
   Scenario scenario;
   scenario.file = file;
   try {
      read( scenario, document );
   } catch ( ValueError const & e ) {
      throw Documents::InputError( file, e );
   }
   return scenario;
}

std::string actionPointer( Scenario const & scenario, std::size_t step ) {
   return "/steps/" + std::to_string( step ) + "/" + readers[scenario.steps[step].index()].first;
}

std::vector< Documents::Unmet > playStep( Switch & device, Scenario const & scenario,
                                          std::size_t step ) {
   std::string const pointer = actionPointer( scenario, step );
   // Whoever meets the end of the process asks what has led to it.
   Kel::FlushHook const lastWords( [&] {
      Kel::writeStandardError( Documents::placeOf( scenario.file, pointer + device.place() ) +
                               ": the process ends in step " + std::to_string( step ) + "\n" );
   } );
   return std::visit( Player{ device, scenario, pointer }, scenario.steps[step] );
}

std::string describe( Scenario const & scenario, Documents::Unmet const & unmet ) {
   return Documents::placeOf( scenario.file, unmet.pointer ) + ": wanted " +
          Kel::shownName( unmet.wanted ) + ", found " + Kel::shownName( unmet.found );
}

void checkDeath( Scenario const & scenario ) {
   if ( !scenario.expectDeath ) {
      return;
   }
   if ( scenario.expectDeath->empty() ) {
      throw Documents::InputError( scenario.file, "/expectDeath",
                                   "wants a text: every end would fit this" );
   }
   regex_t pattern;
   int const error = ::regcomp( &pattern, scenario.expectDeath->c_str(), REG_EXTENDED | REG_NOSUB );
   if ( error != 0 ) {
      char text[100];
      ::regerror( error, &pattern, text, sizeof text );
      throw Documents::InputError( scenario.file, "/expectDeath",
                                   std::string( "wants a regular expression: " ) + text );
   }
   ::regfree( &pattern );
}

}  // namespace Scenarios
