#pragma once

#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/IntfId.h"
#include "qorclient/agent/KeyHash.h"

namespace QorClient {

/** The place of a rule among those of its flow. */
struct RuleKey {
   /** Empty for any. */
   Wirekit::IntfId inIntf;
   /** Empty for any. */
   Wirekit::IntfId outIntf;
   /** False for the rule that matches untagged frames. */
   bool matchVlanTag = true;

   KEL_RECORD( RuleKey, inIntf, outIntf, matchVlanTag )
   std::size_t hash() const {
      return KeyHash().word( inIntf.hash() ).word( outIntf.hash() ).byte( matchVlanTag ).value();
   }
};

}  // namespace QorClient
