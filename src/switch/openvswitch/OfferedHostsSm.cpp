#include "switch/openvswitch/OfferedHostsSm.h"

#include "switch/openvswitch/HostFlows.h"

KEL_MACHINE_TYPE( OpenVSwitch::OfferedHostsSm )

namespace OpenVSwitch {

void OfferedHostsSm::handleInitialized() {
   bridge()->follow( [this]( Topology const & before ) {
      if ( before.ports != bridge()->topology().ports ) {
         // Those at a port that was not there have no flow so far.
         handleHost();
      }
   } );
   handleHost();
}

void OfferedHostsSm::handleHost() {
   for ( auto const & [host, row] : hostInput()->host() ) {
      handleHost( host );
   }
}

void OfferedHostsSm::handleHost( Bridging::MacVlanPair const & host ) {
   bridge()->book().changed( *this, hostKey( host ) );
}

WantedFlows OfferedHostsSm::flows( Kel::String const & key ) {
   Bridging::MacVlanPair const host = hostOf( key );
   L2Rib::Host const row = hostInput()->host( host );
   if ( row.key != host || row.destType != L2Rib::intfDest ) {
      return {};
   }
   WantedFlows wanted;
   if ( auto const port = bridge()->topology().numberOf( row.ciDest.intfId ) ) {
      wanted.flows = { offeredHostFlow( host, *port ) };
   } else {
      // Meanwhile frames go where the host was learnt.
      wanted.refused = { OpenFlowTable::FlowStatus::refused6, "its port is not there" };
   }
   return wanted;
}

void OfferedHostsSm::answered( Kel::String const & key, Answer const & answer ) {
   bridge()->logRefused( "offered host", key, answer );
}

}  // namespace OpenVSwitch
