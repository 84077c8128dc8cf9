#include "qorclient/flowtable/Match.h"

#include "qorclient/flowtable/MaskedText.h"

namespace OpenFlowTable {

void Match::inIntfIs( Wirekit::IntfId intf, bool member ) {
   inIntf.memberIs( intf, member );
}

std::ostream & operator<<( std::ostream & out, Match const & match ) {
   printMasked( out, match );
   return out;
}

}  // namespace OpenFlowTable
