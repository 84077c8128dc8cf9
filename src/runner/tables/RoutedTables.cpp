#include <map>
#include <set>
#include <sstream>

#include "platform/kel/Dir.h"
#include "platform/records/qorl3/FragmentConfig.h"
#include "platform/records/qorl3/FragmentStatus.h"
#include "platform/records/qorl3/GroupSetStatus.h"
#include "platform/records/qorl3/GroupType.h"
#include "runner/tables/Tables.h"

namespace Runner {

namespace {

using QorL3::V1::FlowGroupOrder;

std::string stateWord( QorL3::V1::State state ) {
   std::ostringstream text;
   text << state;
   return text.str();
}

/** Calls `f( name, entity )` for each entry of a directory whose entries are of type `T`. */
template < class T, class F >
void forEachEntry( Switch const & device, char const * path, F && f ) {
   for ( auto const & entry : device.entity< Kel::Dir >( path )->entity() ) {
      f( entry.key, *Kel::ptrCast< T >( entry.value ) );
   }
}

/** A group's place among the VRFs, and what a row of it says after its name and type. */
using MemberCells = std::vector< std::string >;

MemberCells memberCells( Kel::Name const & vrf, Vxlan::VniOrNone vni,
                         QorL3::V1::MemberStatus const & status ) {
   return { vrf.stringValue(),           std::to_string( vni.value() ),
            status.key.ip.stringValue(), status.key.mac.stringValue(),
            stateWord( status.state ),   status.detail.stringValue() };
}

std::map< std::string, std::vector< MemberCells > > membersByGroup( Switch const & device ) {
   std::map< std::string, std::vector< MemberCells > > groups;
   forEachEntry< QorL3::V1::GroupSetStatus >(
      device, "qorclientl3/version1/global/groupSetStatus",
      [&]( Kel::Name const & vrf, QorL3::V1::GroupSetStatus const & set ) {
         for ( auto const & group : set.group() ) {
            auto & rows = groups[group.key.stringValue()];
            for ( auto const & members : group.value->memberSet() ) {
               for ( auto const & status : members.value->status() ) {
                  rows.push_back( memberCells( vrf, members.key, status.value ) );
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

TextTable groupsTable( Switch const & device ) {
   auto const types =
      device.entity< QorL3::V1::GroupTypeStatus >( "qorclientl3/version1/global/groupTypeStatus" );
   auto groups = membersByGroup( device );
   for ( auto const & type : types->group() ) {
      groups[type.key.stringValue()];
   }
   TextTable table(
      { "GROUP", "TYPE STATE", "VRF", "VNI", "IP", "MAC", "MEMBER STATE", "DETAIL" } );
   for ( auto & [group, members] : groups ) {
      auto const type = types->group( group );
      std::string const typeState =
         types->groupHas( group ) ? stateWord( type.state ) : "not reported";
      if ( members.empty() ) {
         members.push_back( { "", "", "", "", "", type.detail.stringValue() } );
      }
      for ( MemberCells & cells : members ) {
         cells.insert( cells.begin(), { group, typeState } );
         table.row( cells );
      }
   }
   return table;
}

TextTable routedFlowsTable( Switch const & device ) {
   std::map< std::tuple< std::string, FlowGroupOrder, std::string >, RoutedFlow > flows;
   forEachEntry< QorL3::V1::FragmentConfig >(
      device, "qorl3/version1/global/fragmentConfig",
      [&]( Kel::Name const & vrf, QorL3::V1::FragmentConfig const & fragment ) {
         for ( auto const & group : fragment.flowGroup() ) {
            for ( auto const & flow : group.value->flow() ) {
               flows[{ vrf.stringValue(), group.key, flow.key.stringValue() }].config = flow.value;
            }
         }
      } );
   forEachEntry< QorL3::V1::FragmentStatus >(
      device, "qorclientl3/version1/global/fragmentStatus",
      [&]( Kel::Name const & vrf, QorL3::V1::FragmentStatus const & fragment ) {
         for ( auto const & group : fragment.flowGroup() ) {
            for ( auto const & flow : group.value->flow() ) {
               flows[{ vrf.stringValue(), group.key, flow.key.stringValue() }].status = flow.value;
            }
         }
      } );
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
      table.row( { vrf, std::to_string( order.preference ), std::to_string( order.priority ), name,
                   state, flow.config ? std::to_string( flow.config->priority ) : "",
                   flow.status ? flow.status->detail.stringValue() : "" } );
   }
   return table;
}

}  // namespace Runner
