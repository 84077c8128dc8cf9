#include "histories/Generator.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"

namespace Histories {

namespace {

using Kel::Value;

constexpr char const * flows = "qorl3/version1/global/fragmentConfig";
constexpr char const * groupSets = "qorl3/version1/global/groupSetConfig";
constexpr char const * groupTypes = "qorl3/version1/global/groupTypeConfig";

Value number( std::uint64_t value ) {
   return Value( value );
}

Value object( std::initializer_list< Value::Object::value_type > members ) {
   return Value( Value::Object( members ) );
}

}  // namespace

Value::Object Generator::noRoutedPolicy() {
   Value const none = object( { { "red", Value() }, { "blue", Value() } } );
   return { { flows, none },
            { groupSets, none },
            { groupTypes, object( { { "config", Value() }, { "other", Value() } } ) } };
}

Value Generator::routedChange( Scenarios::Switch const & device ) {
   switch ( below( 20 ) ) {
      case 0:
         capable_ = !capable_ || !oneIn( 4 );
         return at( { "pinflow/pfHwStatusDir/dyninputstatus/qor", "supported" },
                    Value( capable_ ) );
      case 1:
      case 2:
         return groupTypeChange();
      case 3:
      case 4:
      case 5:
      case 6:
         return groupSetChange();
      case 7:
         return flowGroupChange();
      case 8:
         return vlanMapChange();
      case 9:
      case 10:
      case 11:
         return routedAnswer( device );
      default: {
         std::string const name = oneOf( { "a", "b", "c", "d", "e", "f" } );
         // Mostly each name has a place of its own: flows of equal names share an entry.
         bool const own = !oneIn( 6 );
         return at( { flows, own ? ( name < "d" ? "red" : "blue" ) : vrf(), "flowGroup",
                      own ? ( name == "a" ? "2|0" : "1|9" ) : order(), "flow", name },
                    orNull( routedFlow(), 5 ) );
      }
   }
}

Value Generator::routedFlow() {
   // The families of the prefixes are those of the field set's bits.
   std::uint64_t const fields = random_() & 0x332f;
   return object(
      { { "priority", number( oneIn( 8 ) ? ( oneIn( 2 ) ? 65536 : 0xffffffff ) : below( 3 ) ) },
        { "matchFieldSet", number( fields ) },
        { "match", object( { { "srcGroup", Value( group() ) },
                             { "dstGroup", Value( group() ) },
                             { "vni", vni() },
                             { "ethSrc", Value( mac() ) },
                             { "ipSrc", Value( "10.1.0.0/16" ) },
                             { "ipDst", Value( "2001:db8::/33" ) },
                             { "ipProtocol", number( below( 3 ) ) },
                             { "inIntf", Value( intf() ) },
                             { "ethType", number( 2048 ) } } ) },
        { "actionFieldSet", number( below( 16 ) ) },
        { "action", object( { { "nexthop", Value( oneOf( { "10.0.0.1", "2001:db8::1" } ) ) },
                              { "outputIntf", Value( intf() ) } } ) },
        { "enabled", Value( !oneIn( 4 ) ) },
        { "firstLabel", Value( oneOf( { "", "one" } ) ) } } );
}

Value Generator::flowGroupChange() {
   std::string const in = vrf();
   std::string const first = order();
   std::string const second = order();
   switch ( below( 4 ) ) {
      case 0:
         return at( { flows, in }, Value() );
      case 1:
         return at( { flows, in, "flowGroup", first }, orNull( Value( Value::Object{} ), 2 ) );
      default: {
         Value const moved = at( { "flow", oneOf( { "a", "e" } ) }, routedFlow() );
         return at( { flows, in, "flowGroup" },
                    first == second ? object( { { first, moved } } )
                                    : object( { { first, Value() }, { second, moved } } ) );
      }
   }
}

Value Generator::groupSetChange() {
   std::string const in = vrf();
   std::string const name = group();
   std::string const set = std::to_string( 1 + below( 4 ) );
   switch ( below( 12 ) ) {
      case 0:
         return at( { groupSets, in }, Value() );
      case 1:
         return at( { groupSets, in, "group", name }, orNull( Value( Value::Object{} ), 2 ) );
      case 2:
         return at( { groupSets, in, "group", name, "memberSet", set },
                    orNull( Value( Value::Object{} ), 2 ) );
      default: {
         // Mostly each group has addresses of its own: the groups of a VRF share its end points.
         std::string const ip = oneIn( 6 )      ? "10.0.0.1"
                                : name == "web" ? "10.0.0.2"
                                : name == "db"  ? "::2"
                                                : "::3";
         return at(
            { groupSets, in, "group", name, "memberSet", set, "member", "0|" + ip + "|" + mac() },
            orNull( at( { "flag" }, Value( oneIn( 2 ) ) ), 3 ) );
      }
   }
}

Value Generator::groupTypeChange() {
   std::string const name = oneOf( { "config", "config", "config", "config", "other" } );
   if ( oneIn( 8 ) ) {
      return at( { groupTypes, name }, Value() );
   }
   return at( { groupTypes, name, "group", group() },
              orNull( at( { "bytes" }, Value( Value::Array{ number( below( 2 ) ), number( 0 ),
                                                            number( below( 2 ) ) } ) ),
                      3 ) );
}

Value Generator::routedAnswer( Scenarios::Switch const & device ) {
   auto const rules = device.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qorl3" );
   auto const answers =
      device.entity< OpenFlowTable::HwStatus >( "pinflow/pfHwStatusDir/dyninputstatus/qorl3" );
   Value::Object flowStats, groupStatus, endPoints;
   for ( Kel::Name const & name : rules->flowEntryKeys() ) {
      if ( !oneIn( 3 ) ) {
         flowStats.emplace_back( name.stringValue(),
                                 at( { "status" }, number( oneIn( 2 ) ? below( 16 ) : 1 ) ) );
      }
   }
   for ( Kel::Name const & name : answers->flowStatsKeys() ) {
      if ( !rules->flowEntryHas( name ) && !oneIn( 4 ) ) {
         flowStats.emplace_back( name.stringValue(), Value() );
      }
   }
   for ( Kel::Name const & name : rules->trafficGroupKeys() ) {
      groupStatus.emplace_back( name.stringValue(),
                                at( { "status" }, number( oneIn( 3 ) ? below( 6 ) : 0 ) ) );
   }
   for ( Kel::Name const & name : answers->trafficGroupStatusKeys() ) {
      if ( !rules->trafficGroupHas( name ) && !oneIn( 4 ) ) {
         groupStatus.emplace_back( name.stringValue(), Value() );
      }
   }
   for ( auto const & [id, name] : rules->trafficEndPoint() ) {
      if ( !oneIn( 3 ) ) {
         endPoints.emplace_back(
            id.stringValue(),
            object( { { "groupName", Value( oneIn( 8 ) ? group() : name.stringValue() ) },
                      { "status", number( oneIn( 3 ) ? below( 6 ) : 0 ) } } ) );
      }
   }
   for ( auto const & id : answers->trafficEndPointStatusKeys() ) {
      if ( !rules->trafficEndPointHas( id ) && !oneIn( 4 ) ) {
         endPoints.emplace_back( id.stringValue(), Value() );
      }
   }
   return at( { "pinflow/pfHwStatusDir/dyninputstatus/qorl3" },
              object( { { "flowStats", Value( std::move( flowStats ) ) },
                        { "trafficGroupStatus", Value( std::move( groupStatus ) ) },
                        { "trafficEndPointStatus", Value( std::move( endPoints ) ) } } ) );
}

}  // namespace Histories
