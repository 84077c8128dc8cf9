#include "scenario/simulated/SwitchAgents.h"

namespace Runner::Simulated {

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
   vlanGiver_ = vlanGiverSmFactory(
      entityOf< Vxlan::VniSviConfig >( em, "vxlan/input/vniconfig/qor" ),
      entityOf< Vxlan::VtiStatusDir >( em, "interface/status/eth/vxlan" ), answers_, settings );
   flowTable_ = table( "pinflow/dyninput/qor", "pinflow/pfHwStatusDir/dyninputstatus/qor" );
   routedFlowTable_ =
      table( "pinflow/dyninput/qorl3", "pinflow/pfHwStatusDir/dyninputstatus/qorl3" );
}

}  // namespace Runner::Simulated
