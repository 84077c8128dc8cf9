#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "platform/kel/Machine.h"
#include "platform/kel/TraceHandle.h"
#include "scenario/Scenario.h"
#include "scenarios/Documents.h"

/* The entry and return lines of all handlers, over all documents that don't end the process. */

namespace {

/** Follows the lines; a return belongs to the last entry that has none yet. */
class Calls {
 public:
   void line( std::string_view text ) {
      std::size_t const arguments = text.find( '(' );
      std::size_t const start = text.rfind( ' ', arguments ) + 1;
      std::size_t const end = text.find( ": ", arguments );
      if ( arguments == text.npos || end == text.npos ) {
         ADD_FAILURE() << text;
         return;
      }
      std::string const function( text.substr( start, text.find( ')', arguments ) + 1 - start ) );
      if ( text.find( "return", end ) == text.npos ) {
         open_.push_back( function );
         entered_.insert( function );
      } else if ( open_.empty() || open_.back() != function ) {
         ADD_FAILURE() << text << " in " << testing::PrintToString( open_ );
      } else {
         open_.pop_back();
      }
   }

   std::vector< std::string > const & open() const { return open_; }
   /** Was a function entered whose signature starts so? */
   bool hasEntered( std::string const & start ) const {
      auto const found = entered_.lower_bound( start );
      return found != entered_.end() && found->starts_with( start );
   }

 private:
   std::vector< std::string > open_;
   std::set< std::string > entered_;
};

class TracesTest : public testing::Test {
 protected:
   TracesTest() {
      setenv( "FLASHLOG_DISABLE", "1", 1 );
      Kel::setTextTrace( -1 );
      for ( std::string const & name : Kel::traceHandleNames() ) {
         Kel::traceHandle( name ).enabledIs( Kel::traceEntry, true );
         Kel::traceHandle( name ).enabledIs( Kel::traceReturn, true );
      }
      Kel::textTraceSinkIs( [this]( std::string_view text ) { calls.line( text ); } );
   }
   ~TracesTest() override {
      Kel::setTextTrace( -1 );
      Kel::textTraceSinkIs( {} );
   }

   Calls calls;
};

TEST_F( TracesTest, EveryHandlerTellsItsEntryAndItsReturn ) {
   for ( std::filesystem::path const & file : Scenarios::documents() ) {
      Scenarios::Scenario const scenario = Scenarios::readScenario( file );
      if ( scenario.expectDeath ) {
         continue;
      }
      Scenarios::Switch device( { .simulated = scenario.simulated } );
      for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
         Scenarios::playStep( device, scenario, step );
         ASSERT_THAT( calls.open(), testing::IsEmpty() ) << file << " step " << step;
         ASSERT_FALSE( HasFailure() ) << file << " step " << step;
      }
   }
   EXPECT_THAT( calls.open(), testing::IsEmpty() );
   std::set< std::string > silent;
   for ( Kel::TypeRecord const * machine : Kel::machineTypes() ) {
      std::string const name = machine->name;
      if ( !name.starts_with( "Qor" ) ) {
         continue;
      }
      auto expectEntry = [&]( std::string const & start ) {
         if ( !calls.hasEntered( name + "::" + start ) ) {
            silent.insert( name + "::" + start );
         }
      };
      expectEntry( "handleInitialized()" );
      for ( auto const & attribute : machine->attributes() ) {
         if ( Kel::TriggerTable const * const table = attribute->triggers() ) {
            for ( Kel::Trigger const & trigger : table->rows ) {
               expectEntry( std::string( trigger.handlerName ) + ( trigger.sweep ? "()" : "(" ) );
            }
         }
      }
   }
   // The first is a base, of which each derived class has its own; the second has nothing to do
   // when it is made.
   EXPECT_THAT(
      silent, testing::ElementsAre( "QorClient::DatapathV1::ServiceIntfMacSm::handleInitialized()",
                                    "QorClient::ServiceStatusSm::handleInitialized()" ) );
}

}  // namespace
