#include "switch/ovsdb/Tables.h"

#include <algorithm>

#include "platform/kel/Value.h"

namespace Ovsdb {

namespace {

constexpr std::uint64_t lastVlan = 4095;
constexpr std::uint64_t lastTable = 254;
/** The database numbers ports in 16 bits, and the last of them is the bridge's own port, which has
 *  another number in flows. */
constexpr std::uint64_t ownPort = 0xfffe;
constexpr std::uint32_t ownPortInFlows = 0xfffffffe;

std::string optionalText( Json const & json ) {
   auto const text = optionalOf( json );
   return text ? textOf( *text ) : std::string();
}

BridgeInterface interfaceOf( Json const & row ) {
   BridgeInterface interface {
      .name = textOf( memberOf( row, "name" ) ), .type = textOf( memberOf( row, "type" ) ),
      .options = textsOf( memberOf( row, "options" ) ), .ofport = {},
      .error = optionalText( memberOf( row, "error" ) )
   };
   // -1 for a device that could not be had.
   if ( auto const number = optionalOf( memberOf( row, "ofport" ) ); number && *number != -1 ) {
      auto const read = static_cast< std::uint32_t >( numberOf( *number, ownPort ) );
      interface.ofport = read == ownPort ? ownPortInFlows : read;
   }
   return interface;
}

FlowTable flowTableOf( Json const & row ) {
   FlowTable table{ .name = optionalText( memberOf( row, "name" ) ),
                    .flowLimit = {},
                    .overflowPolicy = optionalText( memberOf( row, "overflow_policy" ) ) };
   if ( auto const limit = optionalOf( memberOf( row, "flow_limit" ) ) ) {
      table.flowLimit = numberOf( *limit, ~std::uint64_t{} );
   }
   return table;
}

}  // namespace

Json Tables::monitored() {
   auto const columns = []( Json names ) { return Json{ { "columns", std::move( names ) } }; };
   return { { "Bridge", columns( { "name", "datapath_type", "fail_mode", "protocols", "flow_tables",
                                   "ports" } ) },
            { "Port", columns( { "name", "interfaces", "vlan_mode", "tag", "trunks" } ) },
            { "Interface", columns( { "name", "type", "options", "ofport", "error" } ) },
            { "Flow_Table", columns( { "name", "flow_limit", "overflow_policy" } ) },
            { "Open_vSwitch", columns( { "cur_cfg" } ) } };
}

void Tables::update( Json const & updates ) {
   if ( !updates.is_object() ) {
      throw Kel::ValueError( "the update is no object" );
   }
   for ( auto const & [table, rows] : updates.items() ) {
      if ( !rows.is_object() ) {
         throw Kel::ValueError( "the update of " + table + " is no object" );
      }
      for ( auto const & [uuid, change] : rows.items() ) {
         // A row that stays is told with all that is monitored of it.
         if ( change.is_object() && change.contains( "new" ) ) {
            tables_[table][uuid] = change["new"];
         } else {
            tables_[table].erase( uuid );
         }
      }
   }
}

Tables::Rows const & Tables::rows( char const * table ) const {
   static Rows const none;
   auto const found = tables_.find( table );
   return found == tables_.end() ? none : found->second;
}

BridgePort Tables::port( Json const & row ) const {
   BridgePort port{ .name = textOf( memberOf( row, "name" ) ),
                    .interfaces = {},
                    .vlanMode = optionalText( memberOf( row, "vlan_mode" ) ),
                    .tag = {},
                    .trunks = {} };
   if ( auto const tag = optionalOf( memberOf( row, "tag" ) ) ) {
      port.tag = static_cast< std::uint16_t >( numberOf( *tag, lastVlan ) );
   }
   for ( Json const & vlan : elementsOf( memberOf( row, "trunks" ) ) ) {
      port.trunks.insert( static_cast< std::uint16_t >( numberOf( vlan, lastVlan ) ) );
   }
   Rows const & interfaces = rows( "Interface" );
   for ( Json const & uuid : elementsOf( memberOf( row, "interfaces" ) ) ) {
      if ( auto const found = interfaces.find( uuidOf( uuid ) ); found != interfaces.end() ) {
         port.interfaces.push_back( interfaceOf( found->second ) );
      }
   }
   std::ranges::sort( port.interfaces, {}, &BridgeInterface::name );
   return port;
}

Bridge Tables::bridge( std::string const & name ) const {
   Bridge bridge;
   for ( auto const & [uuid, row] : rows( "Open_vSwitch" ) ) {
      bridge.applied = numberOf( memberOf( row, "cur_cfg" ), ~std::uint64_t{} );
   }
   for ( auto const & [uuid, row] : rows( "Bridge" ) ) {
      if ( memberOf( row, "name" ) != name ) {
         continue;
      }
      bridge.exists = true;
      bridge.datapathType = textOf( memberOf( row, "datapath_type" ) );
      bridge.failMode = optionalText( memberOf( row, "fail_mode" ) );
      for ( Json const & protocol : elementsOf( memberOf( row, "protocols" ) ) ) {
         bridge.protocols.insert( textOf( protocol ) );
      }
      Rows const & tables = rows( "Flow_Table" );
      for ( auto const & [number, table] : entriesOf( memberOf( row, "flow_tables" ) ) ) {
         if ( auto const found = tables.find( uuidOf( table ) ); found != tables.end() ) {
            bridge.flowTables.emplace(
               static_cast< std::uint32_t >( numberOf( number, lastTable ) ),
               flowTableOf( found->second ) );
         }
      }
      Rows const & ports = rows( "Port" );
      for ( Json const & reference : elementsOf( memberOf( row, "ports" ) ) ) {
         if ( auto const found = ports.find( uuidOf( reference ) ); found != ports.end() ) {
            BridgePort read = port( found->second );
            std::string const key = read.name;
            bridge.ports.emplace( key, std::move( read ) );
         }
      }
   }
   return bridge;
}

}  // namespace Ovsdb
