#include "qorclient/datapath/NearIntfGlideMacSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

KEL_MACHINE_TYPE( QorClient::DatapathV1::NearIntfGlideMacSm )

namespace QorClient::DatapathV1 {

void NearIntfGlideMacSm::handleInitialized() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   initializedIs( true );
   populateGrState();
   handleGlideMac();
}

void NearIntfGlideMacSm::handleGlideMac() {
   Wirekit::EthAddr const vmac = fhrpGlideMacStatus()->virtualRouterMac();
   KEL_TRACE_SCOPE( " vmac: ", vmac, " vlan: ", vlan(), " near interface: ", intfId() );
   if ( vlan().isNone() || !intfId() ) {
      glideMacIs( vmac );
      KEL_TRACE_INFO( " return: not ready " );
      return;
   }
   if ( vmac != glideMac() ) {
      Bridging::MacVlanPair const old{ glideMac(), Bridging::VlanId( vlan() ) };
      L2Rib::Host const row = l2RibQorHostInput()->host( old );
      if ( row.key == old && row.ciDest.intfId == intfId() ) {
         KEL_TRACE_INFO( "Deleting glide mac: ", old.mac, " vlan: ", old.vlanId,
                         " intf: ", intfId() );
         l2RibQorHostInput()->hostDel( old );
      }
      glideMacIs( vmac );
   }
   if ( vmac != Wirekit::EthAddr() ) {
      addMacInput( vmac, routerPreference, 1 );
   }
}

}  // namespace QorClient::DatapathV1
