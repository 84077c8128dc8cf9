#pragma once

#include <cstdint>
#include <string>

#include "platform/corestore/EntityManager.h"
#include "platform/kel/Dir.h"
#include "records/controllerclient/Status.h"
#include "records/qor/PolicyFragment.h"
#include "records/vxlan/VtiStatus.h"

/* What some benchmarks start from: the controller's word that the agent is wanted, and the policy
 * that they converge, which is fragments of 100 service flows through a near set of 10 interfaces,
 * so 1,000 rules each, and the VLANs of their VNIs. */

namespace Bench {

inline constexpr int flowsPerFragment = 100;
inline constexpr int interfacesPerSet = 10;

/** Enables the client and its service. */
inline void enable( Corestore::EntityManager & em ) {
   auto const controller = Kel::ptrCast< ControllerClient::Status >(
      em.entityIs( "mgmt/controller/status", ControllerClient::Status::kelType().name ) );
   controller->enabledIs( true );
   controller->leaderServiceStatusDirIs( "leader" )->serviceIs( "Qor" )->enabledIs( true );
}

inline void mapVlan( Vxlan::VtiStatus & vti, std::uint32_t vlan, Vxlan::VniOrNone vni ) {
   Vxlan::VniSourcePair pair;
   pair.vni = Vxlan::VniExtOrNone( vni.value() );
   vti.vlanToVniMapIs( Bridging::VlanId( static_cast< std::uint16_t >( vlan ) ), pair );
}

inline void writeNearPolicy( Corestore::EntityManager & em, std::uint32_t fragments ) {
   auto const vti =
      Kel::ptrCast< Vxlan::VtiStatusDir >(
         em.entityIs( "interface/status/eth/vxlan", Vxlan::VtiStatusDir::kelType().name ) )
         ->vtiStatusIs( Wirekit::IntfId( "Vxlan1" ) );
   auto const dir =
      Kel::ptrCast< Kel::Dir >( em.entityIs( "qor/version1/policy", Kel::Dir::kelType().name ) );
   auto const policy = Kel::ptrCast< Qor::V1::QorPolicyFragment >(
      dir->createEntity( Qor::V1::QorPolicyFragment::kelType().name, "policy" ) );
   for ( std::uint32_t f = 0; f != fragments; ++f ) {
      Vxlan::VniOrNone const original( 10000 + f );
      Vxlan::VniOrNone const service( 20000 + f );
      mapVlan( *vti, 100 + f, original );
      mapVlan( *vti, 2000 + f, service );
      auto const fragment = policy->policyFragmentIs( "fragment" + std::to_string( f ) );
      fragment->originalVniIs( original );
      fragment->serviceVniIs( service );
      auto const near = fragment->serviceIntfSetIs( "near" );
      for ( int i = 1; i <= interfacesPerSet; ++i ) {
         near->intfIs( "Ethernet" + std::to_string( i ), true );
      }
      for ( int i = 0; i != flowsPerFragment; ++i ) {
         Qor::V1::PolicyFlowInfo flow;
         flow.flowName = "flow" + std::to_string( i );
         flow.serviceIntfKey = "near";
         flow.match.vni = service;
         flow.match.srcMac = Wirekit::EthAddr(
            Wirekit::EthAddr::Bytes{ 2, 0, 0, 0, 0, static_cast< std::uint8_t >( i + 1 ) } );
         flow.action.vni = original;
         fragment->flowIs( flow );
      }
   }
}

}  // namespace Bench
