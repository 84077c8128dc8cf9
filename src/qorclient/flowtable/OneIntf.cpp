#include "qorclient/flowtable/OneIntf.h"

#include <array>

namespace OpenFlowTable {

namespace {

using IntfSet = Kel::ValueSet< Wirekit::IntfId >;

IntfSet const & setOf( Wirekit::IntfId intf ) {
   // Never destroyed: the C library ends a process that has no memory to note a thread's object.
   thread_local auto & recent = *new std::array< IntfSet, 64 >;
   IntfSet & set = recent[intf.hash() % recent.size()];
   if ( !set.has( intf ) ) {
      set = {};
      set.insert( intf );
   }
   return set;
}

}  // namespace

void intfIs( IntfSet & set, Wirekit::IntfId intf, bool member ) {
   if ( member && set.empty() ) {
      set = setOf( intf );
   } else {
      set.memberIs( intf, member );
   }
}

}  // namespace OpenFlowTable
