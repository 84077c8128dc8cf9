#include "qorclient/datapath/ServiceIntfMacSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

KEL_MACHINE_TYPE( QorClient::DatapathV1::ServiceIntfMacSm )

namespace QorClient::DatapathV1 {

Bridging::VlanIdOrNone ServiceIntfMacSm::presentVlan() const {
   return agentStatus()->vlanForVniHas( vni() )
             ? Bridging::VlanIdOrNone( agentStatus()->vlanForVni( vni() ) )
             : Bridging::VlanIdOrNone::none();
}

Wirekit::IntfId ServiceIntfMacSm::presentIntf() const {
   if ( serviceIntfSet()->intfCount() > 1 ) {
      KEL_TRACE_INFO( "More than one near interface." );
      return {};
   }
   Wirekit::IntfId found;
   for ( Kel::String const & name : serviceIntfSet()->intfKeys() ) {
      found = Wirekit::IntfId( name );
   }
   return found;
}

void ServiceIntfMacSm::populateGrState() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   vlanIs( presentVlan() );
   intfIdIs( presentIntf() );
}

void ServiceIntfMacSm::handleVlan() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   if ( Bridging::VlanIdOrNone const now = presentVlan(); now != vlan() ) {
      deleteMacInputForVlan( vlan() );
      vlanIs( now );
      doMacInput();
   }
}

void ServiceIntfMacSm::handleIntf() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   if ( Wirekit::IntfId const now = presentIntf(); now != intfId() ) {
      deleteMacInputForVlan( vlan() );
      intfIdIs( now );
      doMacInput();
   }
}

void ServiceIntfMacSm::cleanup() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   deleteMacInputForVlan( vlan() );
}

void ServiceIntfMacSm::deleteMacInputForVlan( Bridging::VlanIdOrNone vid ) {
   KEL_TRACE_SCOPE( " vlan: ", vid );
   if ( vid.isNone() ) {
      return;
   }
   for ( auto const & [host, row] : l2RibQorHostInput()->host() ) {
      if ( Bridging::VlanIdOrNone( host.vlanId ) == vid ) {
         KEL_TRACE_INFO( "Deleting host: ", host.mac );
         l2RibQorHostInput()->hostDel( host );
      }
   }
}

void ServiceIntfMacSm::addMacInput( Wirekit::EthAddr const & macAddr, std::uint32_t preference,
                                    std::uint32_t moveCount ) {
   KEL_TRACE_SCOPE( " mac: ", macAddr, " preference: ", preference );
   if ( !intfId() || vlan().isNone() ) {
      return;
   }
   // A policy may name anything; no real interface has a longer name than a host's row can hold.
   if ( intfId().name().size() > Slab::longestIntfName ) {
      KEL_TRACE_ALERT( "Interface name too long for a host's row: ", intfId() );
      return;
   }
   KEL_TRACE_INFO( "Adding mac: ", macAddr, " vlan: ", vlan(), " intf: ", intfId(),
                   " moveCount: ", moveCount );
   L2Rib::Host host;
   host.key = { macAddr, Bridging::VlanId( vlan() ) };
   host.hostType = L2Rib::offeredHost;
   host.destType = L2Rib::intfDest;
   host.preference = preference;
   host.moveCount = moveCount;
   host.updateTime = localData()->scheduler()->now();
   host.ciDest.intfId = intfId();
   l2RibQorHostInput()->hostIs( host );
}

}  // namespace QorClient::DatapathV1
