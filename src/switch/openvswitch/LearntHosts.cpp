#include "switch/openvswitch/LearntHosts.h"

#include <utility>
#include <vector>

#include "switch/openvswitch/HostFlows.h"

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
   if ( update.event == FlowUpdate::Event::removed ) {
      status_->fdbStatusDel( key );
      return;
   }
   Wirekit::IntfId const intf = bridge_->topology().intfOf( learnt->port );
   if ( !intf ) {
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
   std::set< Wirekit::IntfId > left;
   for ( auto const & [intf, port] : before.ports ) {
      auto const now = bridge_->topology().ports.find( intf );
      if ( now == bridge_->topology().ports.end() || now->second.number != port.number ) {
         left.insert( intf );
      }
   }
   if ( left.empty() ) {
      return;
   }
   std::vector< HostKey > hosts;
   for ( auto const & [key, row] : status_->fdbStatus() ) {
      if ( left.contains( row.intf ) ) {
         hosts.push_back( key );
      }
   }
   for ( HostKey const & key : hosts ) {
      bridge_->forgetLearnt( { key.addr, Bridging::VlanId( key.fid ) } );
      status_->fdbStatusDel( key );
   }
}

}  // namespace OpenVSwitch
