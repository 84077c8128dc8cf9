#include "runner/WhyCommand.h"

#include <iostream>

#include "runner/tables/TextTable.h"
#include "runner/tables/Words.h"
#include "runner/why/Flows.h"

namespace Runner {

namespace {

/** So many flows are named to someone who has asked for one that isn't there. */
constexpr std::size_t flowsNamed = 8;

std::string someOf( std::vector< FlowPlace > const & flows ) {
   std::vector< std::string > names;
   for ( FlowPlace const & flow : flows ) {
      if ( names.size() == flowsNamed ) {
         names.push_back( "... (" + std::to_string( flows.size() ) + " in all)" );
         break;
      }
      names.push_back( flowPath( flow.place, flow.flow ) );
   }
   return names.empty() ? "none" : joined( names );
}

}  // namespace

int explainFlow( WhyOptions const & options ) {
   OpenedState const state = openState( options.source );
   std::vector< FlowPlace > const flows = flowsOf( state.device );
   std::vector< Chain > chains;
   for ( FlowPlace const & flow : flows ) {
      if ( flow.flow.view() == options.flow || flowPath( flow.place, flow.flow ) == options.flow ) {
         chains.push_back( chainOf( state.device, flow ) );
      }
   }
   if ( chains.empty() ) {
      std::cerr << printable( "no flow \"" + options.flow + "\"; there are: " + someOf( flows ) )
                << std::endl;
      return 2;
   }
   Kel::Value::Array values;
   for ( Chain const & chain : chains ) {
      if ( options.json ) {
         values.push_back( chain.value() );
      } else {
         std::cout << ( &chain == &chains.front() ? "" : "\n" );
         chain.print( std::cout );
      }
   }
   if ( options.json ) {
      printJsonLines( std::cout, values );
   }
   return state.met ? 0 : 1;
}

}  // namespace Runner
