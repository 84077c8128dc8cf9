#pragma once

#include "platform/kel/StateMachine.h"
#include "records/qor/GracefulRebootCookie.h"

namespace QorClient {

/** Mirrors the graceful reboot cookie of one fragment from its configuration into its status; what
 *  stands only in the status goes. */
class PolicyGrCookieSm : public Kel::StateMachine {
   KEL_STATE_MACHINE( QorClient::PolicyGrCookieSm )

   // Inputs.
   KEL_GIVEN( Kel::String, fragmentName )
   KEL_REACTOR( KelGrCookieConfig, Qor::V1::GracefulRebootCookie const, grCookieConfig,
                KEL_ROWS( KEL_ON( interceptInfo, handleInterceptInfo )
                          KEL_ON( isServiceVtep, handleIsServiceVtep ) ) )
   KEL_GIVEN( Kel::Ptr< Qor::V1::GracefulRebootCookie >, grCookieStatus )

   // Own state.
   KEL_OWN( bool, initialized )

   // Handlers.
   void handleInitialized() override;
   void handleInterceptInfo( Wirekit::IpGenAddr const & ipAddr );
   void handleInterceptInfo();
   void handleIsServiceVtep();
};
KEL_FACTORY( policyGrCookieSmFactory, PolicyGrCookieSm )

}  // namespace QorClient
