#include "scenario/simulated/SwitchAgents.h"

#include <algorithm>
#include "records/catalog/Catalog.h"

namespace Scenarios::Simulated {

namespace {

/** What they write, as the agent names its inputs. */
constexpr char const * outputs[] = { "vtiStatusDir", "pfHwStatus", "pfHwStatusL3" };

template < class T >
Kel::Ptr< T > entityOf( Corestore::EntityManager const & em, char const * path ) {
   return Kel::ptrCast< T >( em.standing( path ) );
}

}  // namespace

SwitchAgents::SwitchAgents( Corestore::EntityManager & em, Settings const & settings )
   : answers_( new Orb::DelayedWork( &em.scheduler(), settings.answerAfter ) ) {
   auto const table = [&]( char const * config, char const * status ) {
      return flowTableSmFactory( entityOf< OpenFlowTable::PinFlowHwConfig >( em, config ),
                                 entityOf< OpenFlowTable::HwStatus >( em, status ), answers_,
                                 settings );
   };
   vlanGiver_ = VxlanAgent::vlanGiverSmFactory(
      entityOf< Vxlan::VniSviConfig >( em, Catalog::pathOf( "vniSviConfig" ) ),
      entityOf< Vxlan::VtiStatusDir >( em, Catalog::pathOf( "vtiStatusDir" ) ), answers_,
      settings.vlanPool, []( Bridging::VlanId ) { return false; } );
   flowTable_ = table( Catalog::pathOf( "pfHwConfig" ), Catalog::pathOf( "pfHwStatus" ) );
   routedFlowTable_ = table( Catalog::pathOf( "pfHwConfigL3" ), Catalog::pathOf( "pfHwStatusL3" ) );
}

bool SwitchAgents::owns( std::string_view rowPath ) {
   return std::ranges::any_of( outputs, [rowPath]( char const * input ) {
      std::string_view const root = Catalog::pathOf( input );
      return rowPath == root || ( rowPath.starts_with( root ) && rowPath[root.size()] == '/' );
   } );
}

}  // namespace Scenarios::Simulated
