#include "switch/openvswitch/Bridge.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "switch/openvswitch/HostFlows.h"
#include "switch/openvswitch/Tables.h"

namespace OpenVSwitch {

using OpenFlow::FlowChange;

void Bridge::topologyIs( Topology topology ) {
   if ( topology == topology_ ) {
      return;
   }
   std::swap( topology, topology_ );
   for ( auto const & changed : followers_ ) {
      changed( topology );
   }
}

void Bridge::forgetLearnt( Bridging::MacVlanPair const & host ) {
   changeLearnt( { FlowChange::Kind::deleteStrict, learntHostFlow( host, 0, ageing_ ) } );
   if ( forgotten_ ) {
      forgotten_( host );
   }
}

void Bridge::learn( Bridging::MacVlanPair const & host, PortNumber port ) {
   learn( learntHostFlow( host, port, ageing_ ) );
}

void Bridge::learn( OpenFlow::Flow flow ) {
   if ( connection_.isUp() ) {
      changeLearnt( FlowChange::add( std::move( flow ) ) );
   }
}

bool Bridge::isAnothers( OpenFlow::FlowUpdate const & update ) {
   using OpenFlow::FlowUpdate;
   return !Cookie::isLearnt( update.flow.table, update.flow.cookie ) ||
          ( update.event == FlowUpdate::Event::removed &&
            update.reason == FlowUpdate::Reason::deleted );
}

void Bridge::changeLearnt( FlowChange change ) {
   learnt_.push_back( std::move( change ) );
   if ( !std::exchange( sending_, true ) ) {
      scheduler_->post( [this] {
         sending_ = false;
         sendLearnt();
      } );
   }
}

void Bridge::sendLearnt() {
   if ( !connection_.isUp() ) {
      return;
   }
   constexpr std::size_t slice = 1024;
   auto at = learnt_.begin();
   while ( at != learnt_.end() ) {
      auto const end = at + std::min< std::ptrdiff_t >( slice, learnt_.end() - at );
      connection_.program( { std::make_move_iterator( at ), std::make_move_iterator( end ) },
                           []( auto const & ) {} );
      at = end;
   }
   learnt_.clear();
}

void Bridge::lost() {
   book_.lost();
   // Hosts are told anew where they are.
   std::erase_if(
      learnt_, []( FlowChange const & change ) { return change.kind == FlowChange::Kind::add; } );
}

void Bridge::logRefused( char const * what, Kel::String const & key, Answer const & answer ) const {
   using OpenFlowTable::FlowStatus;
   if ( answer.status == FlowStatus::tableFull || answer.status == FlowStatus::refused10 ) {
      warn( std::string( what ) + " " + key.stringValue() + " is refused: " + answer.reason );
   }
}

void Bridge::endPointIs( std::uint32_t vni, Wirekit::Ip4Addr endPoint, bool isKnown ) {
   auto & known = endPoints_[vni];
   bool const changed = isKnown ? known.insert( endPoint ).second : known.erase( endPoint ) != 0;
   if ( known.empty() ) {
      endPoints_.erase( vni );
   }
   if ( changed && endPointsChanged_ ) {
      endPointsChanged_();
   }
}

}  // namespace OpenVSwitch
