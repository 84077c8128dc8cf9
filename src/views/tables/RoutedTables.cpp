#include <map>
#include <optional>

#include "platform/kel/Dir.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/l3/TrafficEndPoint.h"
#include "records/catalog/Catalog.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupSetStatus.h"
#include "records/qorl3/GroupType.h"
#include "views/tables/Places.h"
#include "views/tables/Tables.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

using QorL3::V1::FlowGroupOrder;

/** Calls `f( name, entity )` for each entry of a directory whose entries are of type `T`. */
template < class T, class F >
void forEachEntry( Corestore::EntityManager const & em, char const * path, F && f ) {
   for ( auto const & entry : em.entity< Kel::Dir >( path )->entity() ) {
      f( entry.key, *Kel::ptrCast< T >( entry.value ) );
   }
}

/** A member's VRF, VNI, IP and MAC address. */
using MemberPlace = std::tuple< std::string, std::uint32_t, std::string, std::string >;
struct Member {
   QorL3::V1::MemberKey key;
   std::optional< QorL3::V1::MemberStatus > status;
};
using Members = std::map< MemberPlace, Member >;

MemberPlace placeOf( Kel::Name const & vrf, Vxlan::VniOrNone vni,
                     QorL3::V1::MemberKey const & key ) {
   return { vrf.stringValue(), vni.value(), key.ip.stringValue(), key.mac.stringValue() };
}

/** Where the agent has the members of groups in the flow table. */
class EndPoints {
 public:
   explicit EndPoints( Corestore::EntityManager const & em )
      : vlans_( tunnelVlans( em ) ),
        table_( em.entity< OpenFlowTable::PinFlowHwConfig >( Catalog::pathOf( "pfHwConfigL3" ) ) ) {
   }

   /** The VLAN in which one is there. */
   std::optional< Bridging::VlanId > vlanOf( std::string const & vrf, std::uint32_t vni,
                                             QorL3::V1::MemberKey const & key ) const {
      auto const vlan = vlans_.find( vni );
      return vlan != vlans_.end() && table_->trafficEndPointHas( QorClientL3::V1::endPointIdOf(
                                        L3::VrfName( vrf ), key, vlan->second ) )
                ? std::optional( vlan->second )
                : std::nullopt;
   }

 private:
   std::map< std::uint32_t, Bridging::VlanId > vlans_;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > table_;
};

/** The groups that are configured or reported, each with its members. */
std::map< std::string, Members > groupsOf( Corestore::EntityManager const & em ) {
   std::map< std::string, Members > groups;
   forEachEntry< QorL3::V1::GroupTypeConfig >(
      em, Catalog::pathOf( "groupTypeConfigDir" ),
      [&]( Kel::Name const &, QorL3::V1::GroupTypeConfig const & types ) {
         for ( auto const & type : types.group() ) {
            groups[type.key.stringValue()];
         }
      } );
   auto const types =
      em.entity< QorL3::V1::GroupTypeStatus >( Catalog::pathOf( "groupTypeStatus" ) );
   for ( auto const & type : types->group() ) {
      groups[type.key.stringValue()];
   }
   forEachEntry< QorL3::V1::GroupSetConfig >(
      em, Catalog::pathOf( "groupSetConfigDir" ),
      [&]( Kel::Name const & vrf, QorL3::V1::GroupSetConfig const & set ) {
         for ( auto const & group : set.group() ) {
            Members & members = groups[group.key.stringValue()];
            for ( auto const & memberSet : group.value->memberSet() ) {
               for ( auto const & member : memberSet.value->member() ) {
                  members[placeOf( vrf, memberSet.key, member.key )].key = member.key;
               }
            }
         }
      } );
   forEachEntry< QorL3::V1::GroupSetStatus >(
      em, Catalog::pathOf( "groupSetStatusDir" ),
      [&]( Kel::Name const & vrf, QorL3::V1::GroupSetStatus const & set ) {
         for ( auto const & group : set.group() ) {
            Members & members = groups[group.key.stringValue()];
            for ( auto const & memberSet : group.value->memberSet() ) {
               for ( auto const & status : memberSet.value->status() ) {
                  members[placeOf( vrf, memberSet.key, status.key )] = { status.key, status.value };
               }
            }
         }
      } );
   return groups;
}

/** A flow as its configuration and its status tell of it. */
struct RoutedFlow {
   std::optional< QorL3::V1::FlowConfig > config;
   std::optional< QorL3::V1::FlowStatus > status;
};

}  // namespace

TextTable groupsTable( Corestore::EntityManager const & em ) {
   auto const types =
      em.entity< QorL3::V1::GroupTypeStatus >( Catalog::pathOf( "groupTypeStatus" ) );
   TextTable table(
      { "GROUP", "TYPE STATE", "VRF", "VNI", "VLAN", "IP", "MAC", "MEMBER STATE", "DETAIL" } );
   EndPoints const endPoints( em );
   for ( auto const & [group, members] : groupsOf( em ) ) {
      auto const type = types->group( group );
      std::string const typeState =
         types->groupHas( group ) ? stateWord( type.state ) : "not reported";
      if ( members.empty() ) {
         table.row( { group, typeState, Cell(), Cell(), Cell(), Cell(), Cell(), Cell(),
                      type.detail.stringValue() } );
      }
      for ( auto const & [place, member] : members ) {
         auto const & [vrf, vni, ip, mac] = place;
         auto const & status = member.status;
         auto const vlan = endPoints.vlanOf( vrf, vni, member.key );
         table.row( { group, typeState, vrf, vni,
                      vlan ? Cell( vlan->value() ) : Cell::insteadOf( "waiting" ), ip, mac,
                      status ? stateWord( status->state ) : "not reported",
                      status ? status->detail.stringValue() : "" } );
      }
   }
   return table;
}

TextTable routedFlowsTable( Corestore::EntityManager const & em ) {
   std::map< std::tuple< std::string, FlowGroupOrder, std::string >, RoutedFlow > flows;
   forEachEntry< QorL3::V1::FragmentConfig >(
      em, Catalog::pathOf( "fragmentConfigDir" ),
      [&]( Kel::Name const & vrf, QorL3::V1::FragmentConfig const & fragment ) {
         for ( auto const & group : fragment.flowGroup() ) {
            for ( auto const & flow : group.value->flow() ) {
               flows[{ vrf.stringValue(), group.key, flow.key.stringValue() }].config = flow.value;
            }
         }
      } );
   forEachEntry< QorL3::V1::FragmentStatus >(
      em, Catalog::pathOf( "fragmentStatusDir" ),
      [&]( Kel::Name const & vrf, QorL3::V1::FragmentStatus const & fragment ) {
         for ( auto const & group : fragment.flowGroup() ) {
            for ( auto const & flow : group.value->flow() ) {
               flows[{ vrf.stringValue(), group.key, flow.key.stringValue() }].status = flow.value;
            }
         }
      } );
   auto const answers = em.entity< OpenFlowTable::HwStatus >( Catalog::pathOf( "pfHwStatusL3" ) );
   TextTable table(
      { "VRF", "PREFERENCE", "GROUP PRIORITY", "FLOW", "STATE", "PRIORITY", "DETAIL" } );
   for ( auto const & [place, flow] : flows ) {
      auto const & [vrf, order, name] = place;
      std::string state = flow.status ? stateWord( flow.status->state ) : "not reported";
      if ( !flow.config ) {
         state += ", not configured";
      } else if ( !flow.config->enabled ) {
         state += ", disabled";
      }
      std::string detail = flow.status ? flow.status->detail.stringValue() : "";
      if ( flow.status && flow.status->state == QorL3::V1::State::error && detail.empty() ) {
         detail = routedAnswer( *answers, name ).reason;
      }
      table.row( { vrf, order.preference, order.priority, name, state,
                   flow.config ? Cell( flow.config->priority ) : Cell(), detail } );
   }
   return table;
}

}  // namespace Views
