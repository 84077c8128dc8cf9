#include "qorclient/agent/QorClientLocalTypes.h"

KEL_SHARED_TYPE( QorClient::LocalData )

namespace QorClient {

Kel::Ptr< LocalData > LocalData::singleton() {
   return Kel::singletonOf< LocalData >( kelType().name );
}

Kel::Ptr< VtepInfo > LocalData::vtepInfoIs() {
   if ( !vtepInfo_ ) {
      vtepInfo_ = new VtepInfo;
      notify( vtepInfoId );
   }
   return vtepInfo_;
}

void LocalData::vtepInfoDel() {
   if ( vtepInfo_ ) {
      vtepInfo_ = nullptr;
      notify( vtepInfoId );
   }
}

}  // namespace QorClient
