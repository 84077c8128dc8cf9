#include "program/WhyCommand.h"

#include <iostream>

#include "platform/kel/StandardError.h"
#include "views/tables/TextTable.h"
#include "views/tables/Words.h"
#include "views/why/Flows.h"

namespace Program {

namespace {

/** So many flows are named to someone who has asked for one that isn't there. */
constexpr std::size_t mostNamed = 8;

std::vector< std::string > pathsOf( std::vector< Views::FlowPlace > const & flows ) {
   std::vector< std::string > paths;
   paths.reserve( flows.size() );
   for ( Views::FlowPlace const & flow : flows ) {
      paths.push_back( Views::flowPath( flow.place, flow.flow ) );
   }
   return paths;
}

}  // namespace

int explainFlow( WhyOptions const & options ) {
   OpenedState const state = openState( options.source );
   std::vector< Views::FlowPlace > const flows =
      Views::flowsNamed( state.entityManager, options.flow );
   std::vector< std::pair< Views::FlowPlace const *, Views::Chain > > chains;
   chains.reserve( flows.size() );
   for ( Views::FlowPlace const & flow : flows ) {
      chains.emplace_back( &flow, Views::chainOf( state.entityManager, flow ) );
   }
   if ( chains.empty() ) {
      std::cerr << "no flow \"" << Kel::shownName( options.flow ) << "\"; there are: "
                << Kel::shownNames( pathsOf( Views::flowsOf( state.entityManager ) ), mostNamed )
                << std::endl;
      return 2;
   }
   Kel::Value::Array values;
   for ( auto const & [flow, chain] : chains ) {
      if ( options.json ) {
         values.push_back( Views::chainValue( *flow, chain ) );
      } else {
         std::cout << ( flow == chains.front().first ? "" : "\n" );
         chain.print( std::cout );
      }
   }
   if ( options.json ) {
      Views::printJsonLines( std::cout, values );
   }
   return state.met ? 0 : 1;
}

}  // namespace Program
