#include "scenario/simulated/FlowTableSm.h"

#include <functional>

KEL_MACHINE_TYPE( Scenarios::Simulated::FlowTableSm )

namespace Scenarios::Simulated {

using OpenFlowTable::FlowStatus;
using OpenFlowTable::TrafficStreamEndPointId;
using OpenFlowTable::TrafficStreamStatus;

namespace {

/** A new row, which is complete when the agent hears of it. */
template < class Row >
void announce( OpenFlowTable::HwStatus & status, char const * collection, std::string const & key,
               std::function< void( Row & ) > const & prepare ) {
   status.fwkType()
      .attribute( collection )
      ->childIs( status, key, nullptr,
                 [&]( Kel::Entity & row ) { prepare( static_cast< Row & >( row ) ); } );
}

void answer( OpenFlowTable::HwStatus & status, Kel::Name const & entry, FlowStatus found ) {
   announce< OpenFlowTable::FlowStats >( status, "flowStats", entry.stringValue(),
                                         [found]( auto & row ) { row.statusIs( found ); } );
}

}  // namespace

void FlowTableSm::handleInitialized() {
   for ( auto const & [name, row] : pfHwStatus()->flowStats() ) {
      if ( row->status() == FlowStatus::active ) {
         programmed_.insert( name );
      } else if ( row->status() == FlowStatus::tableFull ) {
         refused_.set( name, Kel::Nothing{} );
      }
   }
   handleFlowEntry();
   handleTrafficGroup();
   handleTrafficEndPoint();
}

// --- Flow entries ---

void FlowTableSm::handleFlowEntry( Kel::Name const & name ) {
   if ( !pfHwConfig()->flowEntryHas( name ) ) {
      entriesAsking_.forget( name );
      // One that has come back by then is another entry.
      answers()->soon( [this, name] {
         dropFlowEntry( name );
         if ( pfHwConfig()->flowEntryHas( name ) ) {
            handleFlowEntry( name );
         }
      } );
   } else if ( !pfHwStatus()->flowStatsHas( name ) ) {
      entriesAsking_.ask( *answers(), name, [this, name] { answerFlowEntry( name ); } );
   }
}

void FlowTableSm::handleFlowEntry() {
   for ( Kel::Name const & name : pfHwStatus()->flowStatsKeys() ) {
      if ( !pfHwConfig()->flowEntryHas( name ) ) {
         dropFlowEntry( name );
      }
   }
   programRefused();
   for ( Kel::Name const & name : pfHwConfig()->flowEntryKeys() ) {
      handleFlowEntry( name );
   }
}

void FlowTableSm::answerFlowEntry( Kel::Name const & name ) {
   if ( !pfHwConfig()->flowEntryHas( name ) || pfHwStatus()->flowStatsHas( name ) ) {
      return;
   }
   if ( programmed_.size() < settings().flowCapacity ) {
      programmed_.insert( name );
      answer( *pfHwStatus(), name, FlowStatus::active );
   } else {
      refused_.set( name, Kel::Nothing{} );
      answer( *pfHwStatus(), name, FlowStatus::tableFull );
   }
}

void FlowTableSm::dropFlowEntry( Kel::Name const & name ) {
   programmed_.erase( name );
   refused_.erase( name );
   pfHwStatus()->flowStatsDel( name );
   programRefused();
}

void FlowTableSm::programRefused() {
   using Walk = Kel::KeyWalk< Kel::HashMap2018< Kel::Name, Kel::Nothing > >;
   for ( Kel::Name const & waiting : Walk( this, refused_ ) ) {
      if ( programmed_.size() >= settings().flowCapacity ) {
         break;
      }
      refused_.erase( waiting );
      programmed_.insert( waiting );
      if ( auto const row = pfHwStatus()->flowStats( waiting ) ) {
         row->statusIs( FlowStatus::active );
      }
   }
}

// --- Groups and end points ---

void FlowTableSm::handleTrafficGroup( Kel::Name const & name ) {
   if ( !pfHwConfig()->trafficGroupHas( name ) ) {
      groupsAsking_.forget( name );
      answers()->soon( [this, name] {
         pfHwStatus()->trafficGroupStatusDel( name );
         if ( pfHwConfig()->trafficGroupHas( name ) ) {
            handleTrafficGroup( name );
         }
      } );
   } else if ( !pfHwStatus()->trafficGroupStatusHas( name ) ) {
      groupsAsking_.ask( *answers(), name, [this, name] { answerTrafficGroup( name ); } );
   }
}

void FlowTableSm::handleTrafficGroup() {
   for ( Kel::Name const & name : pfHwStatus()->trafficGroupStatusKeys() ) {
      if ( !pfHwConfig()->trafficGroupHas( name ) ) {
         pfHwStatus()->trafficGroupStatusDel( name );
      }
   }
   for ( Kel::Name const & name : pfHwConfig()->trafficGroupKeys() ) {
      handleTrafficGroup( name );
   }
}

void FlowTableSm::answerTrafficGroup( Kel::Name const & name ) {
   if ( pfHwConfig()->trafficGroupHas( name ) && !pfHwStatus()->trafficGroupStatusHas( name ) ) {
      pfHwStatus()->trafficGroupStatusIs( name )->statusIs( TrafficStreamStatus::active );
   }
}

void FlowTableSm::handleTrafficEndPoint( TrafficStreamEndPointId const & id ) {
   if ( !pfHwConfig()->trafficEndPointHas( id ) ) {
      endPointsAsking_.forget( id );
      answers()->soon( [this, id] {
         pfHwStatus()->trafficEndPointStatusDel( id );
         if ( pfHwConfig()->trafficEndPointHas( id ) ) {
            handleTrafficEndPoint( id );
         }
      } );
   } else {
      // One that only changes its group is answered anew as well.
      endPointsAsking_.forget( id );
      endPointsAsking_.ask( *answers(), id, [this, id] { answerTrafficEndPoint( id ); } );
   }
}

void FlowTableSm::handleTrafficEndPoint() {
   for ( TrafficStreamEndPointId const & id : pfHwStatus()->trafficEndPointStatusKeys() ) {
      if ( !pfHwConfig()->trafficEndPointHas( id ) ) {
         pfHwStatus()->trafficEndPointStatusDel( id );
      }
   }
   for ( TrafficStreamEndPointId const & id : pfHwConfig()->trafficEndPointKeys() ) {
      if ( !pfHwStatus()->trafficEndPointStatusHas( id ) ) {
         handleTrafficEndPoint( id );
      }
   }
}

void FlowTableSm::answerTrafficEndPoint( TrafficStreamEndPointId const & id ) {
   if ( !pfHwConfig()->trafficEndPointHas( id ) ) {
      return;
   }
   Kel::String const group = pfHwConfig()->trafficEndPoint( id );
   if ( auto const row = pfHwStatus()->trafficEndPointStatus( id ) ) {
      row->groupNameIs( group );
      return;
   }
   announce< OpenFlowTable::TrafficStreamEndPointStatus >(
      *pfHwStatus(), "trafficEndPointStatus", id.stringValue(), [&group]( auto & row ) {
         row.groupNameIs( group );
         row.statusIs( TrafficStreamStatus::active );
      } );
}

}  // namespace Scenarios::Simulated
