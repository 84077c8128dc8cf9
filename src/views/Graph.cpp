#include "views/Graph.h"

#include <set>
#include <string>

#include "platform/kel/Machine.h"
#include "platform/kel/TypeRecord.h"

namespace Runner {

void printGraph( std::ostream & out ) {
   std::set< std::string > edges;
   for ( Kel::TypeRecord const * machine : Kel::machineTypes() ) {
      // Those that play the rest of a switch are no part of the agent.
      if ( std::string_view( machine->name ).starts_with( "Runner::" ) ) {
         continue;
      }
      machine->forEachTable( [&]( Kel::TriggerTable const & table ) {
         for ( Kel::Trigger const & trigger : table.rows ) {
            edges.insert( std::string( "   \"" ) + table.notifierType().name + "." +
                          trigger.attributeName + "\" -> \"" + machine->name +
                          "::" + trigger.handlerName + "\";\n" );
         }
      } );
   }
   out << "digraph wiring {\n   rankdir=LR;\n   node [shape=plaintext];\n";
   for ( std::string const & edge : edges ) {
      out << edge;
   }
   out << "}\n";
}

}  // namespace Runner
