#include "scenario/simulated/SwitchAgents.h"
#include "records/catalog/Catalog.h"

namespace Scenarios::Simulated {

namespace {

template < class T >
Kel::Ptr< T > entityOf( Corestore::EntityManager const & em, char const * path ) {
   return Kel::ptrCast< T >( em.standing( path ) );
}

}  // namespace

SwitchAgents::SwitchAgents( Corestore::EntityManager & em, Settings const & settings )
   : answers_( new Answers( &em.scheduler(), settings.answerAfter ) ) {
   auto const table = [&]( char const * config, char const * status ) {
      return flowTableSmFactory( entityOf< OpenFlowTable::PinFlowHwConfig >( em, config ),
                                 entityOf< OpenFlowTable::HwStatus >( em, status ), answers_,
                                 settings );
   };
   vlanGiver_ =
      vlanGiverSmFactory( entityOf< Vxlan::VniSviConfig >( em, Catalog::pathOf( "vniSviConfig" ) ),
                          entityOf< Vxlan::VtiStatusDir >( em, Catalog::pathOf( "vtiStatusDir" ) ),
                          answers_, settings );
   flowTable_ = table( Catalog::pathOf( "pfHwConfig" ), Catalog::pathOf( "pfHwStatus" ) );
   routedFlowTable_ = table( Catalog::pathOf( "pfHwConfigL3" ), Catalog::pathOf( "pfHwStatusL3" ) );
}

}  // namespace Scenarios::Simulated
