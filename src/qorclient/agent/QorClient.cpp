#include "qorclient/agent/QorClient.h"

#include <cstring>

#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"

KEL_TRACE_UNIT( "QorClient", "QorClient" )

KEL_MACHINE_TYPE( QorClient::PolicyFragmentDirSm )
KEL_MACHINE_TYPE( QorClient::RootSm )

namespace QorClient {

// --- PolicyFragmentDirSm ---

void PolicyFragmentDirSm::handleInitialized() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   initializedIs( true );
   handlePolicyFragmentDirEntry();
}

void PolicyFragmentDirSm::handlePolicyFragmentDirEntry() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   if ( !initialized() ) {
      KEL_TRACE_INFO( "Not initialized" );
      return;
   }
   for ( auto const & [name, entity] : polFragDir()->entity() ) {
      handlePolicyFragmentDirEntry( name );
   }
}

void PolicyFragmentDirSm::handlePolicyFragmentDirEntry( Kel::Name const & name ) {
   KEL_TRACE_SCOPE_ENDING( " return ", " name: ", name );
   KEL_ASSERT_AT( std::strcmp( name.charPtr(), "policy" ) == 0,
                  "strcmp( name.charPtr(), \"policy\" ) == 0", "QorClient", 66 );
   Kel::Ptr< Kel::Entity > const entity = polFragDir()->entity( name );
   if ( !entity ) {
      KEL_TRACE_INFO( "qor/version1/policy/policy removed" );
      doPrepareToDie();
   } else {
      KEL_TRACE_INFO( "qor/version1/policy/policy added" );
      hostTrackerSmIs( slabBrStatus(), brConfig(), switchIntfConfigDir(), mlagHostTable(),
                       agentStatus() );
      mlagSmIs( mlagConfig(), qorTrunkGroup(), agentStatus() );
      policyFragmentSmIs( Kel::ptrCast< Qor::V1::QorPolicyFragment const >( entity ),
                          slabBrStatus(), brConfig(), switchIntfConfigDir(), polFragStatus(),
                          agentStatus(), pfHwConfig(), pfHwStatus(), mlagHostTable(),
                          fhrpGlideMacStatus(), nimbusVniBaseDir(), l2RibQorHostInput(),
                          ofHwStatus() );
      vlanHelperSmIs( agentStatus(), vniSviConfig(), dynAllowedVlans(), qorTrunkGroup(),
                      localData()->vtepInfo() );
   }
}

// --- RootSm ---

void RootSm::handleInitialized() {
   KEL_TRACE_SCOPE_ENDING( " return " );
   initializedIs( true );
   localData()->schedulerIs( scheduler() );
   resyncSmIs( agentStatus() );
   polFragDirSmIs( polFragDir(), slabBrStatus(), brConfig(), switchIntfConfigDir(), polFragStatus(),
                   agentStatus(), pfHwConfig(), pfHwStatus(), vniSviConfig(), dynAllowedVlans(),
                   qorTrunkGroup(), mlagConfig(), mlagHostTable(), fhrpGlideMacStatus(),
                   nimbusVniBaseDir(), l2RibQorHostInput(), ofHwStatus() );
   qorClientMlagPluginCopySmIs( agentStatus(), mlagPluginStatus(), mlagStatus() );
}

}  // namespace QorClient
