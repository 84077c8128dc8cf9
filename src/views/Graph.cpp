#include "views/Graph.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/kel/Machine.h"
#include "platform/kel/TypeRecord.h"
#include "records/catalog/Catalog.h"

namespace Views {

namespace {

using Catalog::Place;
using Kel::AttributeKind;
using Kel::AttributeRecord;
using Kel::TypeRecord;

/** Whether an entity of the first type is of the second, or has such entities in it. */
bool leadsTo( TypeRecord const & from, TypeRecord const & type,
              std::set< TypeRecord const * > & met ) {
   if ( &from == &type ) {
      return true;
   }
   return met.insert( &from ).second &&
          std::ranges::any_of( from.attributes(), [&]( auto const & attribute ) {
             TypeRecord const * const element = attribute->elementType();
             return element && leadsTo( *element, type, met );
          } );
}

bool holds( Place const & place, TypeRecord const & type ) {
   std::set< TypeRecord const * > met;
   return leadsTo( place.typeRecord(), type, met ) ||
          ( place.entryType && leadsTo( place.entryTypeRecord(), type, met ) );
}

bool isOfRoutedSide( TypeRecord const & machine ) {
   return std::string_view( machine.name ).starts_with( "QorClientL3::" );
}

/**
 * Where what a machine takes stands: the one place that can hold it. What is written stands where
 * the agent writes, and what is read, if it may be either, where it doesn't. Of several places the
 * input's name decides: the catalog's names have "L3" behind them where both sides of the policy
 * have one. Null where that doesn't tell, and for what is in memory alone.
 */
Place const * placeOf( TypeRecord const & machine, AttributeRecord const & input ) {
   std::vector< Place const * > held;
   for ( Place const & place : Catalog::places() ) {
      if ( holds( place, *input.elementType() ) ) {
         held.push_back( &place );
      }
   }
   auto keep = [&held]( auto const & wanted ) {
      if ( held.size() > 1 && std::ranges::any_of( held, wanted ) ) {
         std::erase_if( held, [&wanted]( Place const * place ) { return !wanted( place ); } );
      }
   };
   keep( [&input]( Place const * place ) {
      return ( std::string_view( place->mode ).find( 'w' ) != std::string_view::npos ) ==
             input.isWritable();
   } );
   std::string const name = input.name();
   if ( isOfRoutedSide( machine ) ) {
      keep( [&name]( Place const * place ) { return place->input == name + "L3"; } );
   }
   keep( [&name]( Place const * place ) { return place->input == name; } );
   return held.size() == 1 ? held.front() : nullptr;
}

/** The path of what a machine takes, with the type where it stands below that of the path. */
std::string nodeOf( TypeRecord const & machine, AttributeRecord const & input ) {
   TypeRecord const & type = *input.elementType();
   Place const * const place = placeOf( machine, input );
   if ( !place ) {
      return type.name;
   }
   return &place->typeRecord() == &type ? place->path
                                        : std::string( place->path ) + ": " + type.name;
}

/** Whether the member is an entity that the machine is given to write. */
bool isOutput( AttributeRecord const & member ) {
   return ( member.kind() == AttributeKind::Given || member.kind() == AttributeKind::Watched ) &&
          member.isWritable() && Kel::typeNode( member.elementType()->name );
}

/** Whether a machine that this one makes writes entities of that type. */
bool isHandedOn( TypeRecord const & machine, TypeRecord const & type ) {
   return std::ranges::any_of( machine.attributes(), [&type]( auto const & member ) {
      TypeRecord const * const child = member->elementType();
      return child && child->isMachine &&
             std::ranges::any_of( child->attributes(), [&type]( auto const & given ) {
                return isOutput( *given ) && given->elementType() == &type;
             } );
   } );
}

/** Those that play the rest of a switch are no part of the agent. */
bool isAroundTheAgent( std::string_view machine ) {
   constexpr std::string_view around[] = { "Scenarios::", "OpenVSwitch::", "VxlanAgent::" };
   return std::ranges::any_of(
      around, [machine]( std::string_view names ) { return machine.starts_with( names ); } );
}

}  // namespace

void printGraph( std::ostream & out ) {
   std::set< std::string > edges;
   auto add = [&edges]( std::string const & from, std::string const & to, char const * how ) {
      edges.insert( "   \"" + from + "\" -> \"" + to + "\"" + how + ";\n" );
   };
   for ( TypeRecord const * machine : Kel::machineTypes() ) {
      if ( isAroundTheAgent( machine->name ) ) {
         continue;
      }
      for ( auto const & member : machine->attributes() ) {
         if ( Kel::TriggerTable const * const table = member->triggers() ) {
            for ( Kel::Trigger const & trigger : table->rows ) {
               add( nodeOf( *machine, *member ) + "." + trigger.attributeName,
                    std::string( machine->name ) + "::" + trigger.handlerName, "" );
            }
         }
         if ( isOutput( *member ) ) {
            add( machine->name, nodeOf( *machine, *member ),
                 isHandedOn( *machine, *member->elementType() ) ? " [style=dashed]" : "" );
         }
      }
   }
   out << "digraph wiring {\n   rankdir=LR;\n   node [shape=plaintext];\n";
   for ( std::string const & edge : edges ) {
      out << edge;
   }
   out << "}\n";
}

}  // namespace Views
