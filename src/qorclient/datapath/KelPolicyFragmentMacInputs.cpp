// MAC inputs: the machines that feed the L2 RIB live and die with the sets of service interfaces.

#include "platform/flashlog/DualLog.h"
#include "qorclient/datapath/KelPolicyFragment.h"
#include "qorclient/datapath/PolicyFragmentSm.h"

KEL_TRACE_UNIT( "QorClientDatapathV1", "QorClient" )

namespace QorClient::DatapathV1 {

void KelPolicyFragment::createServiceIntfMacSm( Kel::Name const & intfType ) {
   KEL_TRACE_SCOPE( " intfType: ", intfType );
   auto const set = kelServiceIntfSet( intfType );
   if ( intfType == "near" ) {
      nearIntfGlideMacSmIs( set->vniToBind(), set->serviceIntfSet(), parent()->l2RibQorHostInput(),
                            agentStatus(), parent()->fhrpGlideMacStatus() );
   } else if ( intfType == "far" ) {
      auto const old = farIntfNimbusHostMacSm();
      auto const far = farIntfNimbusHostMacSmIs( set->vniToBind(), set->serviceIntfSet(),
                                                 parent()->l2RibQorHostInput(), agentStatus(),
                                                 parent()->nimbusVniBaseDir(), parent()->brConfig(),
                                                 parent()->slabBrStatus(), fragmentStatus() );
      if ( far != old ) {
         // After a restart hosts are bound before the machine exists; the rows of those that it
         // didn't know of would be swept as stale.
         for ( auto const & [host, flowName] : flowForHost() ) {
            far->addInterceptedHost( host, flowName );
         }
      }
   }
}

void KelPolicyFragment::destroyServiceIntfMacSm( Kel::Name const & intfType ) {
   KEL_TRACE_SCOPE( " intfType: ", intfType );
   if ( auto const near = nearIntfGlideMacSm(); near && intfType == "near" ) {
      near->cleanup();
      nearIntfGlideMacSmDel();
   } else if ( auto const far = farIntfNimbusHostMacSm(); far && intfType == "far" ) {
      far->cleanup();
      farIntfNimbusHostMacSmDel();
   }
}

void KelPolicyFragment::updateServiceIntfMacSm( Kel::Name const & intfType ) {
   KEL_TRACE_SCOPE( " intfType: ", intfType );
   if ( auto const near = nearIntfGlideMacSm(); near && intfType == "near" ) {
      near->handleIntf();
   } else if ( auto const far = farIntfNimbusHostMacSm(); far && intfType == "far" ) {
      far->handleIntf();
   }
}

}  // namespace QorClient::DatapathV1
