#include "histories/Generator.h"

#include "platform/corestore/ValueText.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/l2rib/HostInput.h"
#include "records/slab/BridgingStatus.h"

namespace Histories {

namespace {

using Kel::Value;
using Scenarios::Step;

Step patch( Value document ) {
   return Scenarios::PatchStep{ std::move( document ) };
}

Value number( std::uint64_t value ) {
   return Value( value );
}

constexpr char const * policy = "qor/version1/policy";

}  // namespace

Value at( std::initializer_list< std::string > path, Value value ) {
   for ( auto member = std::rbegin( path ); member != std::rend( path ); ++member ) {
      value = Value( Value::Object{ { *member, std::move( value ) } } );
   }
   return value;
}

std::string Generator::oneOf( std::initializer_list< char const * > choices ) {
   return *( choices.begin() + below( choices.size() ) );
}

std::string Generator::mac() {
   return oneOf( { "02:00:00:00:00:01", "02:00:00:00:00:02", "02:00:00:00:00:03" } );
}

Value Generator::vni() {
   return oneIn( 12 ) ? number( 16777216 ) : number( 1 + below( 4 ) );
}

Value Generator::orNull( Value value, std::uint64_t chances ) {
   return oneIn( chances ) ? Value() : std::move( value );
}

Step Generator::first() {
   Value::Object vlans, intfs, mapping;
   for ( char const * id : { "100", "101", "200", "201" } ) {
      Value::Object members;
      for ( char const * name : { "Ethernet1", "Ethernet2", "Ethernet3", "Port-Channel10" } ) {
         members.emplace_back( name, Value( true ) );
      }
      vlans.emplace_back( id, at( { "intf" }, Value( std::move( members ) ) ) );
   }
   for ( char const * name : { "Ethernet1", "Ethernet2", "Ethernet3", "Port-Channel10" } ) {
      intfs.emplace_back( name, at( { "trunkNativeVlan" }, number( oneIn( 2 ) ? 1 : 100 ) ) );
   }
   mapping.emplace_back( "100", at( { "vni" }, number( 1 ) ) );
   mapping.emplace_back( "200", at( { "vni" }, number( 2 ) ) );
   Value::Object document{
      { "openflow/hwstatus", at( { "arpRuleRequired" }, Value( oneIn( 2 ) ) ) },
      { "qorclient/status", at( { "resyncInProgress" }, Value( oneIn( 4 ) ) ) },
      { "mgmt/controller/status",
        Value( Value::Object{
           { "enabled", Value( true ) },
           { "leaderServiceStatusDir", at( { "service", "Qor", "enabled" }, Value( true ) ) } } ) },
      { "pinflow/pfHwStatusDir/dyninputstatus/qor", at( { "supported" }, Value( capable_ ) ) },
      { "bridging/config", at( { "vlanConfig" }, Value( std::move( vlans ) ) ) },
      { "bridging/switchIntfConfig", at( { "switchIntfConfig" }, Value( std::move( intfs ) ) ) },
      { "interface/status/eth/vxlan",
        at( { "vtiStatus", "Vxlan1" },
            Value( Value::Object{ { "addr", Value( "192.0.2.1" ) },
                                  { "vlanToVniMap", Value( std::move( mapping ) ) } } ) ) },
      { policy, at( { "policy", "policyFragment", "f" },
                    Value( Value::Object{ { "originalVni", number( 1 ) },
                                          { "serviceVni", number( 2 ) } } ) ) } };
   return patch( Value( std::move( document ) ) );
}

Step Generator::last() {
   Value::Object document = noRoutedPolicy();
   document.emplace_back( policy, at( { "policy" }, Value() ) );
   return patch( Value( std::move( document ) ) );
}

Step Generator::next( Scenarios::Switch const & device ) {
   // With the gate closed nothing happens, and a secondary forgets what it learns itself.
   if ( !gateOpen_ && oneIn( 3 ) ) {
      return patch( gateChange() );
   }
   if ( secondary_ && oneIn( 6 ) ) {
      return patch( roleChange() );
   }
   if ( changesArpNeed_ && oneIn( 16 ) ) {
      return patch( at( { "openflow/hwstatus", "arpRuleRequired" }, Value( oneIn( 2 ) ) ) );
   }
   if ( below( 4 ) < routedQuarters_ ) {
      return patch( routedChange( device ) );
   }
   switch ( below( 32 ) ) {
      case 0:
         return Scenarios::RestartStep{};
      case 1:
         return Scenarios::AdvanceStep{ static_cast< double >( 50 + below( 1000 ) ) };
      case 2:
         return damage( device );
      case 3:
         return patch( gateChange() );
      case 4:
      case 5:
         return patch( mlagChange() );
      case 6:
      case 7:
         return patch( macChange() );
      case 8:
      case 9:
      case 10:
         return patch( vlanMapChange() );
      case 11:
      case 12:
      case 13:
         return patch( hardwareAnswer( device ) );
      case 14:
      case 15:
      case 16:
      case 17:
         return patch( bridgingChange() );
      case 18:
      case 19:
      case 20:
      case 21:
      case 22:
      case 23:
         return patch( hostChange() );
      default:
         return patch( policyChange() );
   }
}

std::uint64_t Generator::firstVni( std::string const & fragment ) const {
   return !orderly_ || fragment == "f" ? 1 : fragment == "g" ? 3 : 5;
}

Value Generator::flow( std::string const & fragment, std::string const & name ) {
   char const kind = name[0];
   auto side = [&]( bool service ) {
      return oneIn( orderly_ ? 48 : 8 ) ? vni() : number( firstVni( fragment ) + service );
   };
   Value::Object match{ { "vni", side( kind == 'e' ) } };
   Value::Object fields{
      { "interceptPoint", number( kind == 'e' || ( kind == 's' && oneIn( 2 ) ) ? 1 : 0 ) },
      { "action", at( { "vni" }, side( kind != 'e' ) ) } };
   if ( kind == 'i' || oneIn( 3 ) ) {
      match.emplace_back( "srcMac",
                          Value( orderly_ ? "02:00:00:00:00:0" + name.substr( 1 ) : mac() ) );
   }
   if ( kind == 's' ) {
      fields.emplace_back( "serviceIntfKey", Value( oneOf( { "near", "far" } ) ) );
   }
   fields.emplace_back( "match", Value( std::move( match ) ) );
   return Value( std::move( fields ) );
}

Value Generator::policyChange() {
   std::string const name = fragment();
   auto inFragment = [&]( std::initializer_list< std::string > path, Value value ) {
      Value change = at( path, std::move( value ) );
      if ( orderly_ && !change.member( "originalVni" ) && !change.member( "serviceVni" ) ) {
         auto & members = *change.as< Value::Object >();
         members.insert( members.begin(), { { "originalVni", number( firstVni( name ) ) },
                                            { "serviceVni", number( firstVni( name ) + 1 ) } } );
      }
      return at( { policy, "policy", "policyFragment", name }, std::move( change ) );
   };
   std::uint64_t const kind = below( 12 );
   bool const upsets = kind == 1 || kind == 2;
   switch ( orderly_ && upsets && !oneIn( 12 ) ? 12 : kind ) {
      case 0:
         return at( { policy, "policy", "policyFragment", name },
                    orNull( Value( Value::Object{} ), orderly_ ? 3 : 1 ) );
      case 1:
         return inFragment( { "originalVni" }, vni() );
      case 2:
         return inFragment( { "serviceVni" }, vni() );
      case 3:
      case 4:
         return inFragment(
            { "serviceIntfSet", oneOf( { "near", "far" } ), "intf",
              orderly_ && !oneIn( 12 ) ? oneOf( { "Ethernet3", "Ethernet4" } ) : intf() },
            orNull( Value( true ), orderly_ ? 6 : 2 ) );
      case 5:
         return inFragment( { "serviceIntfSet", oneOf( { "near", "far", "other" } ) },
                            orNull( Value( Value::Object{} ), 2 ) );
      case 6:
         return inFragment( { "grCookie" },
                            orNull( at( { "interceptInfo", oneOf( { "10.0.0.1", "10.0.0.2" } ) },
                                        orNull( Value( Value::Object{} ), 3 ) ),
                                    4 ) );
      default: {
         std::string const flowName = oneOf( { "i1", "i2", "i3", "e1", "e2", "s1" } );
         return inFragment( { "flow", flowName }, orNull( flow( name, flowName ), 4 ) );
      }
   }
}

Value Generator::hostChange() {
   Value::Object rows;
   for ( std::uint64_t n = 1 + below( 3 ); n != 0; --n ) {
      std::string const key =
         oneOf( { "100", "100", "101", "200", "201", "10", "20" } ) + "|" + mac();
      Value row( Value::Object{ { "intf", Value( hostIntf() ) },
                                { "entryType", number( oneIn( 8 ) ? 1 : 4 + below( 3 ) ) },
                                { "moveCount", number( below( 100 ) ) } } );
      bool const twice =
         std::ranges::any_of( rows, [&]( auto const & member ) { return member.first == key; } );
      if ( !twice ) {
         rows.emplace_back( key, orNull( std::move( row ), 5 ) );
      }
   }
   return at( { "bridging/status", "fdbStatus" }, Value( std::move( rows ) ) );
}

Value Generator::bridgingChange() {
   switch ( below( 5 ) ) {
      case 0:
         return at( { "bridging/config", "vidToFidMap", vlan() },
                    orNull( number( oneIn( 2 ) ? 10 : 20 ), 2 ) );
      case 1:
         return at( { "bridging/config", "vlanConfig", vlan(), "intf", intf() },
                    orNull( Value( true ), 3 ) );
      case 2:
         return at( { "bridging/switchIntfConfig", "switchIntfConfig", intf() },
                    orNull( Value( Value::Object{} ), 3 ) );
      default:
         return at( { "bridging/switchIntfConfig", "switchIntfConfig", intf(), "trunkNativeVlan" },
                    oneIn( 3 ) ? number( 1 ) : number( vlanNumber() ) );
   }
}

Value Generator::mlagChange() {
   switch ( below( 4 ) ) {
      case 0:
         return at( { "mlag/config", "peerLinkIntfId" },
                    orNull( Value( oneOf( { "Port-Channel10", "Ethernet4" } ) ), 3 ) );
      case 1:
         return roleChange();
      case 2:
         return at( { "qorclient/mlagpluginstatus", "warmHost", mac() + "|" + vlan() },
                    orNull( Value( intf() ), 3 ) );
      default:
         return at(
            { "mlag/hostTable", "hostEntry", vlan() + "|" + mac() },
            orNull( Value( Value::Object{ { "intf", Value( oneIn( 6 ) ? "Vxlan1" : intf() ) },
                                          { "unusable", Value( oneIn( 6 ) ) } } ),
                    3 ) );
   }
}

Value Generator::roleChange() {
   secondary_ = !secondary_;
   return at( { "mlag/status", "mlagState" }, number( secondary_ ? 4 : 2 ) );
}

Value Generator::macChange() {
   if ( oneIn( 4 ) ) {
      return at( { "routing/fhrp/vrMacStatus", "virtualRouterMac" },
                 orNull( Value( oneOf( { "02:00:00:00:ff:01", "02:00:00:00:ff:02" } ) ), 4 ) );
   }
   std::string const table = std::to_string( 1 + below( 4 ) );
   if ( oneIn( 6 ) ) {
      return at( { "vxlancontroller/version2/vni", table }, Value() );
   }
   Value row( Value::Object{ { "vtepAddr", Value( oneIn( 5 ) ? "192.0.2.9" : "192.0.2.1" ) },
                             { "moveCount", number( below( 20 ) ) } } );
   return at( { "vxlancontroller/version2/vni", table, "macVtepTable", mac() },
              orNull( std::move( row ), 4 ) );
}

Value Generator::vlanMapChange() {
   // Mostly each VLAN has a VNI of its own: of two on one VNI neither counts.
   std::string const id = vlan();
   std::uint64_t const own = id == "100" ? 1 : id == "200" ? 2 : id == "101" ? 3 : 4;
   return at(
      { "interface/status/eth/vxlan", "vtiStatus", "Vxlan1", "vlanToVniMap", id },
      orNull( at( { "vni" }, number( oneIn( orderly_ ? 16 : 4 ) ? 1 + below( 4 ) : own ) ), 4 ) );
}

Value Generator::hardwareAnswer( Scenarios::Switch const & device ) {
   auto const rules = device.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" );
   auto const answers =
      device.entity< OpenFlowTable::HwStatus >( "pinflow/pfHwStatusDir/dyninputstatus/qor" );
   Value::Object rows;
   for ( Kel::Name const & name : rules->flowEntryKeys() ) {
      if ( !oneIn( 3 ) ) {
         rows.emplace_back( name.stringValue(),
                            at( { "status" }, number( oneIn( 5 ) ? 5 + below( 4 ) : 1 ) ) );
      }
   }
   for ( Kel::Name const & name : answers->flowStatsKeys() ) {
      if ( !rules->flowEntryHas( name ) && !oneIn( 4 ) ) {
         rows.emplace_back( name.stringValue(), Value() );
      }
   }
   return at( { "pinflow/pfHwStatusDir/dyninputstatus/qor", "flowStats" },
              Value( std::move( rows ) ) );
}

Value Generator::gateChange() {
   gateOpen_ = !gateOpen_;
   return at( { "mgmt/controller/status", "enabled" }, Value( gateOpen_ ) );
}

Step Generator::damage( Scenarios::Switch const & device ) {
   auto pick = [&]( auto const & table, char const * path, char const * attribute,
                    auto const & walk ) -> Step {
      std::uint64_t left = below( table.size() );
      for ( auto const & [key, row] : walk ) {
         if ( left-- == 0 ) {
            return Scenarios::CorruptStep{ { { path, attribute, Kel::textOf( key ) } } };
         }
      }
      return Scenarios::AdvanceStep{ 1 };
   };
   struct Size {
      std::size_t rows;
      std::size_t size() const { return rows ? rows : 1; }
   };
   if ( oneIn( 2 ) ) {
      auto const fdb = device.entity< Slab::Bridging::Status >( "bridging/status" );
      return pick( Size{ fdb->fdbStatusCount() }, "bridging/status", "fdbStatus",
                   fdb->fdbStatus() );
   }
   char const * const path = "bridging/l2Rib/qor/hostInput";
   auto const hosts = device.entity< L2Rib::HostInput >( path );
   return pick( Size{ hosts->hostCount() }, path, "host", hosts->host() );
}

std::string scenarioText( std::string const & name, std::vector< Step > const & steps ) {
   std::string text = "{ \"name\": \"" + name + "\",\n  \"steps\": [";
   char const * separator = "\n    ";
   auto step = [&]( char const * member, Value value ) {
      text += separator + Corestore::jsonLine( at( { member }, std::move( value ) ) );
      separator = ",\n    ";
   };
   for ( Step const & one : steps ) {
      if ( auto const * patched = std::get_if< Scenarios::PatchStep >( &one ) ) {
         step( "patch", patched->document );
      } else if ( auto const * advanced = std::get_if< Scenarios::AdvanceStep >( &one ) ) {
         step( "advance", Value( advanced->seconds ) );
      } else if ( std::holds_alternative< Scenarios::RestartStep >( one ) ) {
         step( "restart", Value( true ) );
      } else if ( auto const * damaged = std::get_if< Scenarios::CorruptStep >( &one ) ) {
         for ( auto const & row : damaged->rows ) {
            step( "corrupt", at( { row.path, row.table }, Value( row.key ) ) );
         }
      }
   }
   return text + " ] }\n";
}

}  // namespace Histories
