#include "switch/openvswitch/LearntNexthops.h"

#include <utility>

#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using OpenFlow::FlowUpdate;

void LearntNexthops::changed( FlowUpdate const & update ) {
   auto const address = update.flow.match.number( OpenFlow::Fields::reg( Register::nexthop ) );
   if ( update.flow.table != Table::nexthop || !address ) {
      return;
   }
   auto const key = static_cast< Address >( address->value );
   if ( Bridge::isAnothers( update ) ) {
      // Whoever has the address has it still.
      if ( auto const known = flows_.find( key );
           known != flows_.end() && known->second.priority == update.flow.priority ) {
         bridge_->learn( known->second );
      }
   } else if ( update.event == FlowUpdate::Event::removed ) {
      flows_.erase( key );
      told_.erase( key );
   } else {
      flows_[key] = update.flow;
      told_.insert( key );
   }
}

void LearntNexthops::endReading( bool hasBegunAnew ) {
   for ( auto const & [address, flow] : flows_ ) {
      if ( hasBegunAnew && !told_.contains( address ) ) {
         bridge_->learn( flow );
         told_.insert( address );
      }
   }
   std::erase_if( flows_, [this]( auto const & known ) { return !told_.contains( known.first ); } );
}

}  // namespace OpenVSwitch
