#include <map>

#include "datapath/HostFdbStatus.h"
#include "platform/records/bridging/EntryType.h"
#include "platform/records/mlag/HostTable.h"
#include "platform/records/qorclient/Status.h"
#include "runner/tables/Tables.h"

namespace Runner {

namespace {

using Bridging::MacVlanPair;

/** What stands in the way of a host that is wanted and has no interface. */
std::string whyWaiting( Switch const & device, QorClient::Status const & agent,
                        Slab::Bridging::SlabFdbStatus const & learnt, MacVlanPair const & host ) {
   std::string reason = "waiting: not learnt";
   auto const peer = device.entity< Mlag::HostTable >( "mlag/hostTable" );
   Mlag::HostEntryKey const peerKey{ host.vlanId, host.mac };
   if ( !learnt.intf.stringValue().empty() ) {
      reason = "waiting: learnt on " + learnt.intf.stringValue() +
               ( Bridging::isEntryTypeLocal( learnt.entryType ) ? "" : ", not a local entry" );
   } else if ( peer->hostEntryHas( peerKey ) ) {
      Mlag::HostEntry const entry = peer->hostEntry( peerKey );
      reason = entry.unusable ? "waiting: the peer's entry is unusable"
                              : "waiting: the peer knows it on " + entry.intf.stringValue();
   }
   return agent.resyncInProgress() ? reason + " (resync in progress)" : reason;
}

/** The flows that intercept each host. */
std::map< MacVlanPair, std::vector< std::string > > interceptors(
   QorClient::Status const & agent ) {
   std::map< MacVlanPair, std::vector< std::string > > flows;
   for ( auto const & fragment : agent.policyFragmentInfo() ) {
      for ( auto const & flow : fragment.value->flowInfo() ) {
         for ( auto const & host : flow.value->boundHost() ) {
            flows[host.key].push_back( fragment.key.stringValue() + " " + flow.key.stringValue() );
         }
      }
   }
   return flows;
}

}  // namespace

TextTable hostsTable( Switch const & device ) {
   auto const agent = device.entity< QorClient::Status >( "qorclient/status" );
   auto const config = device.entity< Bridging::Config >( "bridging/config" );
   auto const fdb = device.entity< Slab::Bridging::Status >( "bridging/status" );
   auto hosts = interceptors( *agent );
   for ( auto const & host : agent->boundHost() ) {
      hosts[host.key];
   }
   for ( auto const & host : agent->warmHost() ) {
      hosts[host.key];
   }
   TextTable table( { "HOST", "VLAN", "FLOWS", "INTERFACE", "MOVES", "STATE" } );
   for ( auto const & [host, flows] : hosts ) {
      auto const learnt = QorClient::DatapathV1::getHostFdbStatus( host, config, fdb );
      bool const warm = agent->warmHostHas( host );
      std::string const state = !warm ? whyWaiting( device, *agent, learnt, host )
                                : agent->boundHostHas( host ) ? "known"
                                                              : "known, no longer wanted";
      table.row( { host.mac.stringValue(), std::to_string( host.vlanId.value() ), joined( flows ),
                   agent->warmHost( host ).stringValue(), std::to_string( learnt.moveCount ),
                   state } );
   }
   return table;
}

}  // namespace Runner
