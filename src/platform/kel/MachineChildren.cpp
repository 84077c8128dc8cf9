#include "platform/kel/MachineChildren.h"

#include "platform/kel/Exceptions.h"

namespace Kel {

void throwReinstantiation( DifferentInput const & different ) {
   throwNameInUseException(
      std::string(
         "Reinstantiating the pointer interface where constructor parameter attribute _" ) +
      different.name + " has a different value of " + different.given +
      " than the current value of " + different.current + " not allowed" );
}

void throwNullParameter( StateMachine const & owner, char const * parameter,
                         char const * attribute ) {
   throwRangeException( std::string( "null _" ) + parameter + " parameter to mutator for " +
                        owner.fwkType().name + "::" + attribute + " not allowed\"" );
}

}  // namespace Kel
