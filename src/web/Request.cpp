#include "web/Request.h"

#include "platform/corestore/ValueText.h"

namespace Web {

Answer jsonAnswer( Kel::Value const & value ) {
   return { .body = Corestore::jsonLine( value ) + "\n" };
}

Answer errorAnswer( unsigned status, std::string const & words ) {
   Answer answer = jsonAnswer( Kel::Value::Object{ { "error", words } } );
   answer.status = status;
   return answer;
}

}  // namespace Web
