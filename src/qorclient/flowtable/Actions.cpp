#include "qorclient/flowtable/Actions.h"

#include "qorclient/flowtable/MaskedText.h"
#include "qorclient/flowtable/OneIntf.h"

namespace OpenFlowTable {

void Actions::outputIntfIs( Wirekit::IntfId intf, bool member ) {
   intfIs( outputIntf, intf, member );
}

void Actions::outputNexthopIs( Wirekit::IpGenAddr const & nexthop, bool member ) {
   outputNexthop.memberIs( nexthop, member );
}

std::ostream & operator<<( std::ostream & out, Actions const & actions ) {
   printMasked( out, actions );
   return out;
}

}  // namespace OpenFlowTable
