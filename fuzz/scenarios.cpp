// Any text as a scenario: it is refused, or it plays, and neither crashes, hangs or leaks.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Shown.h"
#include "documents/Document.h"
#include "platform/kel/Exceptions.h"
#include "scenario/Scenario.h"
#include "scenario/Switch.h"

namespace {

using Kel::Value;

/** The first parts of the paths of what others write, which a scenario may set as it likes. What
 *  the agent writes itself is left to it: it asserts that its own records stand. */
constexpr std::array inputs = {
   "bridging/config",
   "bridging/status",
   "bridging/switchIntfConfig",
   "features/",
   "interface/",
   "mgmt/",
   "mlag/",
   "openflow/hwstatus",
   "pinflow/pfHwStatusDir/",
   "qor/",
   "qorclient/mlagplugin",
   "qorl3/",
   "routing/",
   "vxlancontroller/",
};

bool isInput( std::string_view path ) {
   for ( std::string_view input : inputs ) {
      if ( path.starts_with( input ) ) {
         return true;
      }
   }
   return false;
}

/** Whether a patch holds something over which the agent ends by design. */
bool isDeadly( Value const & value ) {
   auto const * object = value.as< Value::Object >();
   if ( !object ) {
      return false;
   }
   for ( auto const & [name, member] : *object ) {
      auto const * below = member.as< Value::Object >();
      if ( name == "interceptPoint" ) {
         auto const * number = member.as< std::uint64_t >();
         if ( number && *number > 1 ) {
            return true;
         }
      } else if ( name == "vtiStatus" && below ) {
         // A switch has one tunnel interface.
         for ( auto const & intf : *below ) {
            if ( intf.first != "Vxlan1" ) {
               return true;
            }
         }
      } else if ( name == "qor/version1/policy" && below ) {
         for ( auto const & entity : *below ) {
            if ( entity.first != "policy" ) {
               return true;
            }
         }
      }
      if ( isDeadly( member ) ) {
         return true;
      }
   }
   return false;
}

/** How the texts begin with which numbers outside their ranges end the agent. */
constexpr std::array fatal = {
   // The priority of a routed flow, which the flow table doesn't have.
   "Priority::value ",
   // A member set's VNI, of more than 24 bits.
   "Vni::value ",
   // The fid of a forwarding entry, which no VLAN has: it is taken for the VLAN itself.
   "VlanId::value ",
   // An entry of the tunnel interface's map that has no VNI.
   "VniExt::value ",
};

bool isByDesign( std::string_view text ) {
   return std::ranges::any_of( fatal, [text]( auto begin ) { return text.starts_with( begin ); } );
}

bool isPlayable( Scenarios::Scenario const & scenario ) {
   constexpr std::size_t mostSteps = 60;
   constexpr double longestWait = 1e5;
   double wait = 0;
   for ( Scenarios::Step const & step : scenario.steps ) {
      if ( auto const * patch = std::get_if< Scenarios::PatchStep >( &step ) ) {
         for ( auto const & path : Documents::objectOf( patch->document ) ) {
            if ( !isInput( path.first ) ) {
               return false;
            }
         }
         if ( isDeadly( patch->document ) ) {
            return false;
         }
      } else if ( auto const * advance = std::get_if< Scenarios::AdvanceStep >( &step ) ) {
         wait += advance->seconds;
      }
   }
   return scenario.steps.size() <= mostSteps && wait <= longestWait;
}

void play( Scenarios::Scenario const & scenario ) {
   Scenarios::Switch device( { .simulated = scenario.simulated } );
   for ( std::size_t step = 0; step != scenario.steps.size(); ++step ) {
      Scenarios::playStep( device, scenario, step );
   }
   Fuzz::showAll( device.entityManager() );
   device.dump();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize( int *, char *** ) {
   setenv( "FLASHLOG_DISABLE", "1", 1 );
   return 0;
}

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const * data, std::size_t size ) {
   try {
      std::string_view const text( reinterpret_cast< char const * >( data ), size );
      Scenarios::Scenario const scenario =
         Scenarios::scenarioOf( "scenario", Documents::parseDocument( "scenario", text ) );
      if ( isPlayable( scenario ) ) {
         play( scenario );
      }
   } catch ( Documents::InputError const & ) {
   } catch ( Kel::RangeException const & e ) {
      if ( !isByDesign( e.what() ) ) {
         throw;
      }
   }
   return 0;
}
