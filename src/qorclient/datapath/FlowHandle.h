#pragma once

#include "qorclient/agent/PolicyFragmentInfo.h"

namespace QorClient::DatapathV1 {

/**
 * A flow as the operations of its fragment hand it on: its records are looked up once, where the
 * first of them is entered.
 *
 * A write runs handlers, and these may take the flow's record away. So what stands here is how it
 * stood at the last look. Operations that write look again when they are entered, which costs
 * little while the record is where it was; questions take it as it is. The configuration is no part
 * of it: `KelPolicyFragment::configOf` reads it as it is now.
 */
struct FlowHandle {
   Kel::String name;
   /** The records of fragment and flow; null for what hasn't been read. */
   Kel::Ptr< QorClient::PolicyFragmentInfo > fragInfo = {};
   Kel::Ptr< QorClient::FlowInfo > info = {};

   /** Whether the flow's record still is where it was found. */
   bool stands() const {
      return info && info->parent() == fragInfo.ptr() && fragInfo->parent() != nullptr;
   }
};

}  // namespace QorClient::DatapathV1
