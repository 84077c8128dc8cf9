#include "views/packet/Walk.h"

#include <algorithm>
#include <iomanip>
#include <iterator>

#include "views/tables/TextTable.h"

namespace Views {

namespace {

char const * word( Step::Kind kind ) {
   switch ( kind ) {
      case Step::Kind::in:
         return "in";
      case Step::Kind::rule:
         return "rule";
      case Step::Kind::inactive:
         return "inactive";
      case Step::Kind::note:
         return "note";
      case Step::Kind::learnt:
         return "learnt";
      case Step::Kind::host:
         return "host";
      case Step::Kind::flood:
         return "flood";
      case Step::Kind::out:
         return "out";
      case Step::Kind::drop:
         return "drop";
   }
   return "";
}

std::string words( PortExit const & exit ) {
   return exit.port.stringValue() +
          ( exit.vlan ? ", tagged " + std::to_string( exit.vlan->value() ) : ", untagged" );
}
std::string words( TunnelExit const & exit ) {
   return "VNI " + std::to_string( exit.vni ) + " to " + exit.vtep.stringValue();
}
std::string words( NextHopExit const & exit ) {
   return "next hop " + exit.address.stringValue();
}

Kel::Value::Object members( PortExit const & exit ) {
   return {
      { "port", exit.port.stringValue() },
      { "vlan", exit.vlan ? Kel::Value( std::int64_t{ exit.vlan->value() } ) : Kel::Value() } };
}
Kel::Value::Object members( TunnelExit const & exit ) {
   return { { "vtep", exit.vtep.stringValue() }, { "vni", std::int64_t{ exit.vni } } };
}
Kel::Value::Object members( NextHopExit const & exit ) {
   return { { "next_hop", exit.address.stringValue() } };
}

}  // namespace

std::string exitWords( Exit const & exit ) {
   return std::visit( []( auto const & one ) { return words( one ); }, exit );
}

std::string PacketWalk::dropReason() const {
   auto const last =
      std::ranges::find( steps.rbegin(), steps.rend(), Step::Kind::drop, &Step::kind );
   return exits.empty() && last != steps.rend() ? last->text : "";
}

void PacketWalk::print( std::ostream & out ) const {
   for ( Step const & step : steps ) {
      out << std::left << std::setw( 12 ) << word( step.kind ) << printable( step.text ) << '\n';
   }
}

Kel::Value::Object PacketWalk::members() const {
   Kel::Value::Array told;
   for ( Step const & step : steps ) {
      told.emplace_back( Kel::Value::Object{
         { "kind", word( step.kind ) },
         { "text", step.text },
         { "path", step.path.empty() ? Kel::Value() : Kel::Value( step.path ) } } );
   }
   Kel::Value::Array left;
   std::ranges::transform( exits, std::back_inserter( left ), []( Exit const & exit ) {
      return std::visit( []( auto const & one ) { return Views::members( one ); }, exit );
   } );
   std::string const reason = dropReason();
   return { { "steps", told },
            { "exits", left },
            { "drop", reason.empty() ? Kel::Value() : Kel::Value( reason ) } };
}

}  // namespace Views
