#include "qorclient/l3/QorClientL3GroupSm.h"

#include "platform/flashlog/DualLog.h"
#include "qorclient/l3/EndPointCache.h"

KEL_TRACE_UNIT( "QorClientL3GroupSm", "QorClientL3GroupSm" )

KEL_MACHINE_TYPE( QorClientL3::V1::GroupSm )

namespace QorClientL3::V1 {

void GroupSm::handleInitialized() {
   KEL_TRACE_SCOPE();
   initializedIs( true );
   deleteStaleGroups();
   handleGroupTypeConfigDir();
   // Where the table holds no end point yet, all that it will hold is wanted.
   bool const mayBeStale = pfHwConfig()->trafficEndPointCount() != 0;
   cachedPfHwConfigIs( new EndPointCache( "cachedPfHwConfig", mayBeStale ) );
   handleGroupSetConfigDir();
   deleteStaleEndPoints( mayBeStale );
   cachedPfHwConfig()->trafficEndPointDelAll();
}

Kel::Ptr< QorL3::V1::GroupTypeConfig const > GroupSm::groupTypeConfig(
   Kel::Name const & name ) const {
   return Kel::ptrCast< QorL3::V1::GroupTypeConfig const >( groupTypeConfigDir()->entity( name ) );
}

void GroupSm::deleteStaleGroups() {
   for ( Kel::Name const & name : pfHwConfig()->trafficGroupKeys() ) {
      auto const config = groupTypeConfig( "config" );
      if ( !config || !config->groupHas( name ) ) {
         KEL_TRACE_INFO( "Group not in groupTypeConfig: ", name );
         pfHwConfig()->trafficGroupDel( name );
      }
   }
}

void GroupSm::deleteStaleEndPoints( bool mayBeStale ) {
   auto const table = pfHwConfig();
   auto const wanted = cachedPfHwConfig();
   KEL_TRACE_INFO( "EndPoints present for PinFlow: ", table->trafficEndPointCount(),
                   " and in Cache: ", ( mayBeStale ? wanted : table )->trafficEndPointCount() );
   if ( !mayBeStale ) {
      return;
   }
   for ( auto const & [id, groupName] : table->trafficEndPoint() ) {
      // One that is not wanted has the empty name.
      if ( wanted->trafficEndPoint( id ) != groupName ||
           ( groupName.empty() && !wanted->trafficEndPointHas( id ) ) ) {
         KEL_TRACE_INFO( "Removing endPoint: ", id.stringValue() );
         table->trafficEndPointDel( id );
      }
   }
}

void GroupSm::handleGroupTypeConfigDir( Kel::Name const & name ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( name );
   // The directory holds one entity of a fixed name.
   if ( name != "config" ) {
      KEL_TRACE_INFO( " return, unexpected entity" );
      return;
   }
   if ( auto const config = groupTypeConfig( name ) ) {
      KEL_TRACE_INFO( "Creating groupTypeConfigSm and groupTypeStatusSm" );
      groupTypeConfigSmIs( config, pfHwConfig() );
      groupTypeStatusSmIs( groupTypeStatus(), config, pfHwStatus() );
   } else {
      KEL_TRACE_INFO( "Removing groupTypeConfigSm and groupTypeStatusSm" );
      groupTypeConfigSmDel();
      groupTypeStatusSmDel();
   }
}

void GroupSm::handleGroupTypeConfigDir() {
   KEL_TRACE_SCOPE();
   for ( auto const & [name, entity] : groupTypeConfigDir()->entity() ) {
      handleGroupTypeConfigDir( name );
   }
}

void GroupSm::handleGroupSetConfigDir( Kel::Name const & vrfName ) {
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   KEL_TRACE_SCOPE( vrfName );
   L3::VrfName const vrf( vrfName );
   auto const config =
      Kel::ptrCast< QorL3::V1::GroupSetConfig const >( groupSetConfigDir()->entity( vrfName ) );
   if ( config ) {
      KEL_TRACE_INFO( "Creating groupSetConfigVrfSm for VRF ", vrf );
      groupSetConfigVrfSmIs( vrf, config, pfHwConfig(), cachedPfHwConfig() );
      auto const status = Kel::ptrCast< QorL3::V1::GroupSetStatus >(
         groupSetStatusDir()->createEntity( "QorL3::V1::GroupSetStatus", vrfName ) );
      groupSetStatusVrfSmIs( vrf, status, config, pfHwStatus() );
   } else {
      KEL_TRACE_INFO( "VRF: ", vrf, " missing, removing SM's" );
      if ( auto const configSm = groupSetConfigVrfSm( vrf ) ) {
         configSm->cleanup();
      }
      // The status machine goes first, so that it doesn't react when the status goes.
      groupSetStatusVrfSmDel( vrf );
      groupSetStatusDir()->deleteEntity( vrfName );
      groupSetConfigVrfSmDel( vrf );
   }
}

void GroupSm::handleGroupSetConfigDir() {
   KEL_TRACE_SCOPE();
   for ( auto const & [vrfName, status] : groupSetStatusDir()->entity() ) {
      if ( !groupSetConfigDir()->entityHas( vrfName ) ) {
         KEL_TRACE_INFO( "Removing GroupSetStatusDir for VRF ", vrfName );
         groupSetStatusDir()->deleteEntity( vrfName );
      }
   }
   for ( auto const & [vrfName, config] : groupSetConfigDir()->entity() ) {
      handleGroupSetConfigDir( vrfName );
   }
}

void GroupSm::cleanup() {
   KEL_TRACE_SCOPE();
   groupSetStatusVrfSmDelAll();
   for ( auto const & [vrf, configSm] : groupSetConfigVrfSm() ) {
      configSm->cleanup();
      groupSetStatusDir()->deleteEntity( vrf.name() );
   }
   if ( auto const configSm = groupTypeConfigSm() ) {
      configSm->cleanup();
   }
   groupSetConfigVrfSmDelAll();
   groupTypeConfigSmDel();
   initializedIs( false );
}

}  // namespace QorClientL3::V1
