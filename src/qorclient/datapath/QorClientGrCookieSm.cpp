#include "qorclient/datapath/QorClientGrCookieSm.h"

#include "platform/flashlog/DualLog.h"

KEL_TRACE_UNIT( "QorClientGrCookieSm", "QorClientGr" )

KEL_MACHINE_TYPE( QorClient::PolicyGrCookieSm )

namespace QorClient {

void PolicyGrCookieSm::handleInitialized() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   initializedIs( true );
   handleInterceptInfo();
   handleIsServiceVtep();
}

void PolicyGrCookieSm::handleInterceptInfo( Wirekit::IpGenAddr const & ipAddr ) {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName(), " ip: ", ipAddr );
   if ( !grCookieConfig()->interceptInfoHas( ipAddr ) ) {
      grCookieStatus()->interceptInfoDel( ipAddr );
   } else {
      // An equal entry is left alone.
      grCookieStatus()->interceptInfoIs( grCookieConfig()->interceptInfo( ipAddr ) );
   }
}

void PolicyGrCookieSm::handleInterceptInfo() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   for ( Wirekit::IpGenAddr const & ipAddr : grCookieConfig()->interceptInfoKeys() ) {
      handleInterceptInfo( ipAddr );
   }
   for ( Wirekit::IpGenAddr const & ipAddr : grCookieStatus()->interceptInfoKeys() ) {
      handleInterceptInfo( ipAddr );
   }
}

void PolicyGrCookieSm::handleIsServiceVtep() {
   KEL_TRACE_SCOPE( " fragment: ", fragmentName() );
   grCookieStatus()->isServiceVtepIs( grCookieConfig()->isServiceVtep() );
}

}  // namespace QorClient
