#pragma once

#include <cstdint>

#include "platform/kel/StateMachine.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/Status.h"
#include "records/l2rib/HostInput.h"
#include "records/qor/PolicyFragment.h"

namespace QorClient::DatapathV1 {

/**
 * What both machines that feed MAC addresses to the L2 RIB have in common: they feed them for one
 * VLAN and one interface, those of a set's VNI and of its only member. Without either, or with
 * more members than one, nothing is fed.
 */
class ServiceIntfMacSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::DatapathV1::ServiceIntfMacSm )

   // Inputs.
   KEL_GIVEN( Vxlan::VniExtOrNone, vni )
   KEL_GIVEN( Kel::Ptr< Qor::V1::ServiceIntfSet const >, serviceIntfSet )
   KEL_GIVEN( Kel::Ptr< L2Rib::HostInput >, l2RibQorHostInput )
   KEL_GIVEN( Kel::Ptr< QorClient::Status const >, agentStatus )
   KEL_SINGLETON( QorClient::LocalData const, localData )

   // Own state: the interface and the VLAN in use.
   KEL_OWN( Wirekit::IntfId, intfId )
   KEL_OWN( Bridging::VlanIdOrNone, vlan )

   /** How the L2 RIB is to prefer the hosts of the controller and the router's address. */
   static constexpr std::uint32_t hostPreference = 16;
   static constexpr std::uint32_t routerPreference = 64;

   // Operations.
   /** Takes up the present interface and VLAN; the rows of an earlier life stay as they are. */
   void populateGrState();
   /** Takes all rows of the VLAN out of the table, whoever wrote them. */
   void deleteMacInputForVlan( Bridging::VlanIdOrNone vid );
   void addMacInput( Wirekit::EthAddr const & macAddr, std::uint32_t preference,
                     std::uint32_t moveCount );
   /** Feeds everything anew: runs after each change of the VLAN or the interface, and only then. */
   virtual void doMacInput() = 0;
   void cleanup();

   // Called by the owner: the mapping of the VNI or the set has changed.
   void handleVlan();
   void handleIntf();

 private:
   Bridging::VlanIdOrNone presentVlan() const;
   Wirekit::IntfId presentIntf() const;
};
KEL_FACTORY( serviceIntfMacSmFactory, ServiceIntfMacSm )

}  // namespace QorClient::DatapathV1
