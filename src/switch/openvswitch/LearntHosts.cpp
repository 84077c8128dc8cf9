#include "switch/openvswitch/LearntHosts.h"

#include <utility>
#include <vector>

#include "switch/openvswitch/HostFlows.h"
#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using Bridging::HostKey;
using OpenFlow::FlowUpdate;
using Slab::Bridging::SlabFdbStatus;

LearntHosts::LearntHosts( Kel::Ptr< Slab::Bridging::Status > status, Kel::Ptr< Bridge > bridge )
   : status_( std::move( status ) ), bridge_( std::move( bridge ) ) {
   bridge_->follow( [this]( Topology const & before ) { handleTopology( before ); } );
   bridge_->forgottenIs( [this]( Bridging::MacVlanPair const & host ) {
      status_->fdbStatusDel( { host.vlanId.value(), host.mac } );
   } );
}

void LearntHosts::beginReading() {
   told_.clear();
   reading_ = true;
}

// The forwarding domains of this switch are its VLANs.

void LearntHosts::changed( FlowUpdate const & update ) {
   auto const learnt = learntHostOf( update.flow );
   if ( !learnt ) {
      return;
   }
   HostKey const key{ learnt->host.vlanId.value(), learnt->host.mac };
   if ( Bridge::isAnothers( update ) ) {
      // The host is where it was.
      if ( auto const port = bridge_->topology().numberOf( status_->fdbStatus( key ).intf ) ) {
         bridge_->learn( learnt->host, *port );
         return;
      }
   }
   if ( !Cookie::isLearnt( update.flow.table, update.flow.cookie ) ) {
      return;
   }
   if ( update.event == FlowUpdate::Event::removed ) {
      status_->fdbStatusDel( key );
      return;
   }
   Wirekit::IntfId const intf = bridge_->topology().intfOf( learnt->port );
   if ( !intf ) {
      if ( reading_ ) {
         bridge_->forgetLearnt( learnt->host );
      }
      return;
   }
   if ( reading_ ) {
      told_.insert( key );
   }
   SlabFdbStatus const before = status_->fdbStatus( key );
   bool const isNew = before == SlabFdbStatus();
   if ( isNew || before.intf != intf ) {
      status_->fdbStatusIs(
         key, { intf, Bridging::EntryType::local, isNew ? 0 : before.moveCount + 1 } );
   }
}

void LearntHosts::endReading( bool hasBegunAnew ) {
   reading_ = false;
   std::vector< std::pair< HostKey, Wirekit::IntfId > > untold;
   for ( auto const & [key, row] : status_->fdbStatus() ) {
      if ( row.entryType == Bridging::EntryType::local && !told_.contains( key ) ) {
         untold.emplace_back( key, row.intf );
      }
   }
   for ( auto const & [key, intf] : untold ) {
      auto const port = bridge_->topology().numberOf( intf );
      if ( hasBegunAnew && port ) {
         bridge_->learn( { key.addr, Bridging::VlanId( key.fid ) }, *port );
      } else {
         status_->fdbStatusDel( key );
      }
   }
   told_.clear();
}

void LearntHosts::handleTopology( Topology const & before ) {
   Topology const & now = bridge_->topology();
   auto const isCarried = []( Topology const & topology, Wirekit::IntfId intf,
                              HostKey const & key ) {
      auto const port = topology.ports.find( intf );
      return port != topology.ports.end() &&
             port->second.vlans.contains( static_cast< std::uint16_t >( key.fid ) );
   };
   std::set< Wirekit::IntfId > changed;
   std::set< Wirekit::IntfId > left;
   for ( auto const & [intf, port] : before.ports ) {
      auto const standing = now.ports.find( intf );
      if ( standing == now.ports.end() || standing->second.number != port.number ) {
         left.insert( intf );
      } else if ( standing->second.vlans != port.vlans ) {
         changed.insert( intf );
      }
   }
   if ( left.empty() && changed.empty() ) {
      return;
   }
   std::vector< HostKey > hosts;
   for ( auto const & [key, row] : status_->fdbStatus() ) {
      if ( left.contains( row.intf ) ||
           ( changed.contains( row.intf ) && isCarried( before, row.intf, key ) &&
             !isCarried( now, row.intf, key ) ) ) {
         hosts.push_back( key );
      }
   }
   for ( HostKey const & key : hosts ) {
      bridge_->forgetLearnt( { key.addr, Bridging::VlanId( key.fid ) } );
      status_->fdbStatusDel( key );
   }
}

}  // namespace OpenVSwitch
