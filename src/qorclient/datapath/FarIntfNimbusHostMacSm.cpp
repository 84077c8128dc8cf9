#include "qorclient/datapath/FarIntfNimbusHostMacSm.h"

#include <string>

#include "platform/flashlog/DualLog.h"
#include "platform/orb/Seqno32.h"
#include "qorclient/datapath/HostFdbStatus.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

KEL_MACHINE_TYPE( QorClient::DatapathV1::FarIntfNimbusHostMacSm )

namespace QorClient::DatapathV1 {

using Bridging::MacVlanPair;
using VxlanController::MacVtepV2;
using VxlanController::VniFdbStatusV2;

void FarIntfNimbusHostMacSm::handleInitialized() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   initializedIs( true );
   populateGrState();
   handleNimbusVniBaseDir();
}

void FarIntfNimbusHostMacSm::handleNimbusVniBaseDir() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   for ( auto const & [name, entity] : nimbusVniBaseDir()->entity() ) {
      handleNimbusVniBaseDir( name );
   }
}

void FarIntfNimbusHostMacSm::handleNimbusVniBaseDir( Kel::Name const & name ) {
   KEL_TRACE_SCOPE( " name: ", name );
   if ( name != Kel::String( std::to_string( vni().value() ) ) ) {
      return;
   }
   if ( vlan().isNone() || !intfId() ) {
      KEL_TRACE_INFO( " return: not ready" );
      return;
   }
   if ( Kel::Ptr< Kel::Entity const > const entity = nimbusVniBaseDir()->entity( name ) ) {
      vniFdbStatusV2Is( Kel::ptrCast< VniFdbStatusV2 const >( entity ) );
      handleMacVtepTable();
   } else {
      deleteMacInputForVlan( vlan() );
      vniFdbStatusV2Del();
   }
}

void FarIntfNimbusHostMacSm::handleMacVtepTable() {
   KEL_TRACE_SCOPE( " vni: ", vni() );
   if ( Kel::Ptr< VniFdbStatusV2 const > const table = vniFdbStatusV2() ) {
      for ( Wirekit::EthAddr const & macAddr : table->macVtepTableKeys() ) {
         handleMacVtepTable( macAddr );
      }
   }
}

void FarIntfNimbusHostMacSm::handleMacVtepTable( Wirekit::EthAddr const & macAddr ) {
   KEL_TRACE_SCOPE( " mac: ", macAddr );
   if ( !initialized() || vlan().isNone() || !intfId() || !vniFdbStatusV2() ) {
      return;
   }
   MacVlanPair const mvp{ macAddr, Bridging::VlanId( vlan() ) };
   if ( !interceptedHostHas( mvp ) ) {
      KEL_TRACE_INFO( " return: not an intercept host" );
      return;
   }
   MacVtepV2 const macVtep = vniFdbStatusV2()->macVtepTable( macAddr );
   L2Rib::Host const l2Host = l2RibQorHostInput()->host( mvp );
   Slab::Bridging::SlabFdbStatus const fdb = getHostFdbStatus( mvp, brConfig(), slabBrStatus() );
   // Only what the controller reports for this switch's own end point is taken up.
   if ( macVtep == MacVtepV2() || macVtep.vtepAddr != agentStatus()->myVtepAddr() ||
        macVtep.kind != VxlanController::hostEntryKind ) {
      return;
   }
   if ( ( l2Host.key != mvp || supersedes( macVtep, l2Host, fdb.intf ) ) && mayBeFed( mvp, fdb ) ) {
      addMacInput( macAddr, hostPreference, macVtep.moveCount + 1 );
   }
}

bool FarIntfNimbusHostMacSm::supersedes( MacVtepV2 const & macVtep, L2Rib::Host const & l2Host,
                                         Wirekit::IntfId fdbIntf ) {
   if ( l2Host.ciDest.intfId != intfId() ) {
      KEL_TRACE_INFO( "Interface has been changed from ", l2Host.ciDest.intfId, " to ", intfId() );
      l2RibQorHostInput()->hostDel( l2Host.key );
      return true;
   }
   if ( Orb::Seqno32( macVtep.moveCount ) < Orb::Seqno32( l2Host.moveCount ) ) {
      KEL_TRACE_INFO( "Ignore older received macVtep, macVtep moveCount ", macVtep.moveCount,
                      " l2Rib moveCount: ", l2Host.moveCount );
      return false;
   }
   return fdbIntf != intfId();
}

bool FarIntfNimbusHostMacSm::mayBeFed( MacVlanPair const & mvp,
                                       Slab::Bridging::SlabFdbStatus const & fdb ) const {
   if ( fdb == Slab::Bridging::SlabFdbStatus() || !Bridging::isEntryTypeLocal( fdb.entryType ) ||
        !policyFragStatus() ) {
      return true;
   }
   Kel::String const flowName = interceptedHost( mvp );
   if ( policyFragStatus()->flowStatusHas( flowName ) &&
        policyFragStatus()->flowStatus( flowName ).flowState == Qor::FlowState::flowProgrammed ) {
      return true;
   }
   KEL_TRACE_INFO( "Flow ", flowName, " is not programmed for local host ", mvp.mac );
   return false;
}

void FarIntfNimbusHostMacSm::handleFlowStatus( Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " flow: ", flowName );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   Qor::V1::PolicyFlowStatus const row = policyFragStatus()->flowStatus( flowName );
   if ( row == Qor::V1::PolicyFlowStatus() ) {
      KEL_TRACE_INFO( " is removed" );
      return;
   }
   auto const * const hosts = hostsOfFlow_.find( flowName );
   if ( hosts && row.flowState == Qor::FlowState::flowProgrammed ) {
      MacVlanPair const first = hosts->front();
      handleMacVtepTable( first.mac );
   }
}

void FarIntfNimbusHostMacSm::addInterceptedHost( MacVlanPair const & mvp,
                                                 Kel::String const & flowName ) {
   KEL_TRACE_SCOPE( " vlanId: ", mvp.vlanId, " flow: ", flowName );
   if ( !interceptedHostHas( mvp ) || interceptedHost( mvp ) != flowName ) {
      forgetHostOfFlow( mvp );
      interceptedHostIs( mvp, flowName );
      auto const * const known = hostsOfFlow_.find( flowName );
      std::vector< MacVlanPair > hosts = known ? *known : std::vector< MacVlanPair >();
      hosts.push_back( mvp );
      hostsOfFlow_.set( flowName, std::move( hosts ) );
   }
   handleMacVtepTable( mvp.mac );
}

void FarIntfNimbusHostMacSm::deleteInterceptedHost( MacVlanPair const & mvp ) {
   KEL_TRACE_SCOPE( " vlanId: ", mvp.vlanId );
   KEL_TRACE_INFO( "Deleting host mac: ", mvp.mac );
   l2RibQorHostInput()->hostDel( mvp );
   forgetHostOfFlow( mvp );
   interceptedHostDel( mvp );
}

void FarIntfNimbusHostMacSm::forgetHostOfFlow( MacVlanPair const & mvp ) {
   Kel::String const flowName = interceptedHost( mvp );
   if ( auto * const hosts = hostsOfFlow_.find( flowName ) ) {
      std::erase( *hosts, mvp );
      if ( hosts->empty() ) {
         hostsOfFlow_.erase( flowName );
      }
   }
}

}  // namespace QorClient::DatapathV1
