#pragma once

#include "platform/kel/String.h"
#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/IntfId.h"
#include "qorclient/agent/KeyHash.h"
#include "records/vxlan/Vni.h"

namespace QorClient {

/** A VNI that a fragment needs on an interface. */
struct VniAndIntfForPolicyFragment {
   Vxlan::VniExtOrNone vni;
   /** Empty for a need of the VNI as such. */
   Wirekit::IntfId intfId;
   Kel::String fragmentName;

   KEL_RECORD( VniAndIntfForPolicyFragment, vni, intfId, fragmentName )
   std::size_t hash() const {
      return KeyHash()
         .word( vni.value() )
         .word( intfId.hash() )
         .word( fragmentName.hash() )
         .value();
   }
};

}  // namespace QorClient
