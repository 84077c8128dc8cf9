#pragma once

#include "platform/kel/StateMachine.h"
#include "records/qor/PolicyFragment.h"
#include "records/vxlan/Vni.h"

namespace QorClient::DatapathV1 {

class KelPolicyFragment;

/**
 * The reactor on one set of service interfaces. It binds the set's VNI on each member interface and
 * has the service flows through the set follow its members. Without a valid VNI it is down and
 * holds nothing; the fragment brings it up when the VNI comes.
 */
class KelServiceIntfSet : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::DatapathV1::KelServiceIntfSet )

   // Inputs.
   KEL_REACTOR( KelIntfSet, Qor::V1::ServiceIntfSet const, serviceIntfSet,
                KEL_ON( intf, handleIntf ) )
   /** The fragment, which binds VNIs, installs flows and feeds MAC addresses for the set; through
    * it its records, `agentStatus` and the policy are reached. */
   KEL_OWNER( KelPolicyFragment, parent )

   // Own state.
   KEL_OWN( bool, initialized )

   static Kel::Name keyOf( Kel::Ptr< Qor::V1::ServiceIntfSet const > const & set ) {
      return set->name();
   }
   Kel::Name name() const { return serviceIntfSet()->name(); }

   /** The VNI that the set's interfaces carry: the original one for "far", the service VNI for
    *  "near", none for any other name. */
   Vxlan::VniExtOrNone vniToBind() const;

   void handleInitialized() override;
   /** Takes the set down; it can be brought up again. */
   void cleanup();

   // Handlers.
   void handleIntf();

 private:
   bool removeStaleBindings();
   /** Binds or unbinds one interface; true when something changed. */
   bool updateVniIntf( Kel::String const & intfName );
   void reinstallServiceFlowsForThisIntfSet();
};

}  // namespace QorClient::DatapathV1
