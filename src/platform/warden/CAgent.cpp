#include "platform/warden/CAgent.h"

#include "platform/kel/Exceptions.h"

namespace Warden {

Kel::Ptr< CAgent > startAgent( std::string_view typeName, Kel::Name const & name,
                               Kel::Ptr< Corestore::EntityManager > const & em ) {
   Kel::TypeRecord const * type = Kel::typeNode( typeName );
   Kel::Ptr< CAgent > agent = Kel::ptrCast< CAgent >( type ? type->create( name ) : nullptr );
   if ( !agent ) {
      throw Kel::NoTypeNodeException( "no agent class " + std::string( typeName ) );
   }
   agent->entityManagerIs( em );
   agent->doInit();
   return agent;
}

}  // namespace Warden
