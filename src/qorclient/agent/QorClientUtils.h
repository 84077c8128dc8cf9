#pragma once

#include "platform/kel/String.h"
#include "records/vxlan/Vni.h"

namespace QorClient {

/** Whether an interface of that name is a VXLAN tunnel interface: the name begins with "vxlan", in
 *  letters of either case. */
bool isVti( Kel::String const & intfName );

}  // namespace QorClient

namespace QorClientUtils {

/** The VNI of a policy record as the VNI of the maps; none stays none. */
Vxlan::VniExtOrNone convertVniToVniExt( Vxlan::VniOrNone vni );

}  // namespace QorClientUtils
