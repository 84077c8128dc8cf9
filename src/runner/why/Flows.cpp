#include "runner/why/Flows.h"

#include <set>

#include "platform/kel/Dir.h"
#include "platform/records/qor/PolicyFragmentStatus.h"
#include "platform/records/qorclient/Status.h"
#include "platform/records/qorl3/FragmentConfig.h"
#include "platform/records/qorl3/FragmentStatus.h"
#include "runner/tables/Places.h"

namespace Runner {

namespace {

template < class Fragment >
void addRouted( std::set< FlowPlace > & flows, Switch const & device, char const * path ) {
   for ( auto const & vrf : device.entity< Kel::Dir >( path )->entity() ) {
      auto const fragment = Kel::ptrCast< Fragment >( vrf.value );
      for ( auto const & group : fragment->flowGroup() ) {
         for ( auto const & flow : group.value->flow() ) {
            flows.insert( { FlowPlace::Kind::routed, vrf.key, flow.key, group.key } );
         }
      }
   }
}

}  // namespace

std::vector< FlowPlace > flowsOf( Switch const & device ) {
   std::set< FlowPlace > flows;
   if ( auto const policy = policyOf( device ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         for ( auto const & flow : fragment.value->flow() ) {
            flows.insert( { FlowPlace::Kind::policy, fragment.key, flow.key, {} } );
         }
      }
   }
   auto const statuses =
      device.entity< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" );
   for ( auto const & fragment : statuses->policyFragment() ) {
      for ( auto const & flow : fragment.value->flowStatus() ) {
         flows.insert( { FlowPlace::Kind::policy, fragment.key, flow.key, {} } );
      }
   }
   auto const agent = device.entity< QorClient::Status >( "qorclient/status" );
   for ( auto const & fragment : agent->policyFragmentInfo() ) {
      for ( auto const & flow : fragment.value->flowInfo() ) {
         flows.insert( { FlowPlace::Kind::policy, fragment.key, flow.key, {} } );
      }
   }
   addRouted< QorL3::V1::FragmentConfig >( flows, device, "qorl3/version1/global/fragmentConfig" );
   addRouted< QorL3::V1::FragmentStatus >( flows, device,
                                           "qorclientl3/version1/global/fragmentStatus" );
   return { flows.begin(), flows.end() };
}

Chain chainOf( Switch const & device, FlowPlace const & flow ) {
   return flow.kind == FlowPlace::Kind::policy ? policyChain( device, flow )
                                               : routedChain( device, flow );
}

}  // namespace Runner
