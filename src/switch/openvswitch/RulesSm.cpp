#include "switch/openvswitch/RulesSm.h"

#include "switch/openvswitch/GroupFlows.h"
#include "switch/openvswitch/RuleFlows.h"

KEL_MACHINE_TYPE( OpenVSwitch::RulesSm )

namespace OpenVSwitch {

using OpenFlowTable::FlowStatus;

void RulesSm::handleInitialized() {
   bridge()->follow( [this]( Topology const & before ) { handleTopology( before ); } );
   handleFlowEntry();
}

void RulesSm::handleFlowEntry() {
   for ( Kel::Name const & name : pfHwStatus()->flowStatsKeys() ) {
      if ( !pfHwConfig()->flowEntryHas( name ) ) {
         pfHwStatus()->flowStatsDel( name );
      }
   }
   for ( Kel::Name const & name : pfHwConfig()->flowEntryKeys() ) {
      handleFlowEntry( name );
   }
}

void RulesSm::handleFlowEntry( Kel::Name const & name ) {
   bridge()->book().changed( *this, name );
}

// Those that wait for a group are tried again by whoever tells groups.
void RulesSm::handleTrafficGroup( Kel::Name const & name ) {
   if ( !pfHwConfig()->trafficGroupHas( name ) ) {
      bridge()->book().changed( *this );
   }
}

void RulesSm::handleTrafficGroup() {
   bridge()->book().changed( *this );
}

void RulesSm::handleVirtualRouterMac() {
   bridge()->book().changed( *this );
}

void RulesSm::handleTopology( Topology const & before ) {
   auto const numbers = []( Topology const & topology ) {
      std::map< Wirekit::IntfId, PortNumber > found;
      for ( auto const & [intf, port] : topology.ports ) {
         found[intf] = port.number;
      }
      if ( topology.tunnel ) {
         found[topology.tunnel->intf] = topology.tunnel->number;
      }
      return found;
   };
   // Of all that it tells, rules have the ports' numbers alone.
   if ( numbers( before ) != numbers( bridge()->topology() ) ) {
      bridge()->book().changed( *this );
   }
}

WantedFlows RulesSm::flows( Kel::String const & name ) {
   if ( !pfHwConfig()->flowEntryHas( name ) ) {
      return {};
   }
   return ruleFlows( name, pfHwConfig()->flowEntry( name ),
                     { bridge()->topology(), virtualRouter()->virtualRouterMac(),
                       [this]( Kel::String const & group ) {
                          return pfHwConfig()->trafficGroupHas( group )
                                    ? std::optional( groupNumber( group ) )
                                    : std::nullopt;
                       } } );
}

void RulesSm::answered( Kel::String const & name, Answer const & answer ) {
   auto const standing = pfHwStatus()->flowStats( name );
   if ( standing ? standing->status() == answer.status : !pfHwConfig()->flowEntryHas( name ) ) {
      return;
   }
   if ( answer.status != FlowStatus::active ) {
      bridge()->log( { .isTrouble = true,
                       .text = "rule " + name.stringValue() + " is refused (" +
                               std::to_string( static_cast< unsigned >( answer.status ) ) +
                               "): " + answer.reason,
                       .fields = { { "event", "rule" },
                                   { "rule", name.stringValue() },
                                   { "state", "rejected" },
                                   { "reason", answer.reason } } } );
   } else if ( standing ) {
      bridge()->log(
         { .text = "rule " + name.stringValue() + " is programmed now",
           .fields = {
              { "event", "rule" }, { "rule", name.stringValue() }, { "state", "programmed" } } } );
   }
   if ( standing ) {
      standing->statusIs( answer.status );
      return;
   }
   pfHwStatus()->flowStatsIs( name, answer.status );
}

void RulesSm::removed( Kel::String const & name ) {
   pfHwStatus()->flowStatsDel( name );
}

}  // namespace OpenVSwitch
