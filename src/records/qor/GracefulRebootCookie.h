#pragma once

#include "platform/kel/Entity.h"
#include "platform/wirekit/IpGenAddr.h"

namespace Qor::V1 {

/** What is kept for one address; the cookie is the controller's own. */
struct InterceptInfoCookie {
   Wirekit::IpGenAddr ipAddr;
   Kel::String cookie;

   KEL_RECORD( InterceptInfoCookie, ipAddr, cookie )
};

/** What the controller wants kept over a graceful reboot. */
class GracefulRebootCookie : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( Qor::V1::GracefulRebootCookie )
   KEL_VALUES( Wirekit::IpGenAddr, InterceptInfoCookie, interceptInfo, ipAddr )
   KEL_SCALAR( bool, isServiceVtep )
};
KEL_FACTORY( gracefulRebootCookieFactory, GracefulRebootCookie )

}  // namespace Qor::V1
