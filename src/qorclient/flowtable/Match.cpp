#include "qorclient/flowtable/Match.h"

#include "qorclient/flowtable/MaskedText.h"
#include "qorclient/flowtable/OneIntf.h"

namespace OpenFlowTable {

void Match::inIntfIs( Wirekit::IntfId intf, bool member ) {
   intfIs( inIntf, intf, member );
}

std::ostream & operator<<( std::ostream & out, Match const & match ) {
   printMasked( out, match );
   return out;
}

}  // namespace OpenFlowTable
