#include "switch/openflow/Flow.h"

namespace OpenFlow {

std::string Flow::text() const {
   std::string text = "table=" + std::to_string( table );
   text += cookie != 0 ? ",cookie=" + std::to_string( cookie ) : "";
   text += idleTimeout != 0 ? ",idle_timeout=" + std::to_string( idleTimeout ) : "";
   text += hardTimeout != 0 ? ",hard_timeout=" + std::to_string( hardTimeout ) : "";
   text += ",priority=" + std::to_string( priority );
   text += match.isAny() ? "" : "," + match.text();
   return text + ",actions=" + actions.text();
}

}  // namespace OpenFlow
