#include "switch/openvswitch/OfferedHostsSm.h"

#include "switch/openvswitch/HostFlows.h"

KEL_MACHINE_TYPE( OpenVSwitch::OfferedHostsSm )

namespace OpenVSwitch {

void OfferedHostsSm::handleInitialized() {
   bridge()->follow( [this]( Topology const & before ) {
      Topology const & now = bridge()->topology();
      if ( before.ports != now.ports || before.tunnel != now.tunnel ) {
         bridge()->book().changed( *this );
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
   // At a port that isn't there a host is nowhere else either.
   return { .flows = { offeredHostFlow(
               host, bridge()->topology().numberOf( row.ciDest.intfId ).value_or( noPort ) ) } };
}

void OfferedHostsSm::answered( Kel::String const & key, Answer const & answer ) {
   if ( answer.status != OpenFlowTable::FlowStatus::active ) {
      bridge()->warn( "the bridge refuses the offered host " + key.stringValue() + ": " +
                      answer.reason );
   }
}

}  // namespace OpenVSwitch
