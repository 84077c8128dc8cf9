#include "views/why/Links.h"

#include "qorclient/agent/Status.h"
#include "records/catalog/Catalog.h"
#include "records/controllerclient/Status.h"
#include "records/qorcommon/Capability.h"
#include "records/vxlan/VtiStatus.h"
#include "views/tables/Places.h"

namespace Views {

namespace {

char const * const controllerPath = Catalog::pathOf( "mgmtControllerStatus" );

/** Either service opens the gate for both kinds of flows. */
void addService( Chain & chain, ControllerClient::Status const & controller, bool routed ) {
   auto const services = controller.leaderServiceStatusDir();
   if ( !services ) {
      chain.missing( "service", "no controller leads, so no service is enabled", controllerPath );
      return;
   }
   auto const enabled = [&services]( char const * name ) {
      auto const status = services->service( name );
      return status && status->enabled();
   };
   char const * const own = routed ? "QorL3" : "Qor";
   char const * const other = routed ? "Qor" : "QorL3";
   if ( enabled( own ) ) {
      chain.good( "service", std::string( own ) + " is enabled" );
   } else if ( enabled( other ) ) {
      chain.good( "service", std::string( other ) + " is enabled, which opens " + own + " too" );
   } else {
      chain.missing( "service", "neither of the services Qor and QorL3 is enabled",
                     controllerPath );
   }
}

void addPlatform( Chain & chain, Corestore::EntityManager const & em, bool routed ) {
   bool const supported = em.entity< OpenFlowTable::HwStatus >( hardwarePath )->supported();
   auto const feature =
      em.entity< QorCommon::V1::Capability >( Catalog::pathOf( "capability" ) )->feature();
   if ( !routed ) {
      chain.note( "platform", supported
                                 ? "supports static flows"
                                 : "does not report static flows; only routed flows wait for it" );
   } else if ( !supported ) {
      chain.missing( "platform", "the platform does not report that it supports static flows",
                     hardwarePath );
   } else if ( !( feature & QorCommon::V1::FeatureBit::l3Policy ) ) {
      chain.missing( "platform", "the agent does not count routed flows as a capability" );
   } else {
      chain.good( "platform", "supports static flows" );
   }
}

}  // namespace

void addGate( Chain & chain, Corestore::EntityManager const & em, bool routed ) {
   auto const controller = em.entity< ControllerClient::Status >( controllerPath );
   if ( controller->enabled() ) {
      chain.good( "controller", "the client is enabled" );
   } else {
      chain.missing( "controller", "the controller client is not enabled", controllerPath );
   }
   addService( chain, *controller, routed );
   addPlatform( chain, em, routed );
   if ( em.entity< QorClient::Status >( Catalog::pathOf( "agentStatus" ) )->active() ) {
      chain.good( "agent", "active" );
   } else {
      chain.missing( "agent", "the agent is not active" );
   }
}

std::string answerWords( std::string const & rule, HardwareAnswer const & answer ) {
   switch ( answer.kind ) {
      case HardwareAnswer::Kind::none:
         return "the hardware has not answered for " + rule;
      case HardwareAnswer::Kind::inProgress:
         return "the hardware is not done with " + rule + ": " + answer.words;
      case HardwareAnswer::Kind::programmed:
         return rule + ": programmed";
      case HardwareAnswer::Kind::rejected:
         return "the hardware does not take " + rule + ": " + answer.words;
   }
   return "";
}

void addAnswer( Chain & chain, std::string const & rule, HardwareAnswer const & answer,
                char const * path ) {
   std::string const words = answerWords( rule, answer );
   switch ( answer.kind ) {
      case HardwareAnswer::Kind::none:
         // A flow of which the hardware has refused all that it has answered for is rejected.
         chain.lacking( "hardware", words, path );
         break;
      case HardwareAnswer::Kind::inProgress:
         chain.underWay( "hardware", words, path );
         break;
      case HardwareAnswer::Kind::programmed:
         chain.inHardware();
         chain.good( "hardware", words );
         break;
      case HardwareAnswer::Kind::rejected:
         chain.rejected( "hardware", words );
         break;
   }
}

Reason vniWaits( Corestore::EntityManager const & em, std::string const & words,
                 std::uint32_t vni ) {
   char const * const path = Catalog::pathOf( "vtiStatusDir" );
   auto const tunnels = em.entity< Vxlan::VtiStatusDir >( path );
   if ( tunnels->vtiStatusCount() == 0 ) {
      return { words + "there is no VXLAN interface", path };
   }
   std::string tunnel;
   for ( auto const & one : tunnels->vtiStatus() ) {
      tunnel = one.key.shortName();
   }
   if ( auto const vlan = tunnelVlan( em, vni ) ) {
      return { words + tunnel + " has it in VLAN " + std::to_string( vlan->value() ) +
                  ", which the agent has not taken up",
               nullptr };
   }
   return { words + tunnel + " does not have it", path };
}

}  // namespace Views
