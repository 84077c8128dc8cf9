#include "program/OpenVSwitchCommand.h"

#include "program/EventLog.h"
#include "program/LiveService.h"
#include "switch/openvswitch/Agents.h"
#include "switch/openvswitch/Claim.h"

namespace Program {

std::string checkVlanPool( std::string const & text ) {
   try {
      VxlanAgent::readVlanPool( text );
   } catch ( Kel::ValueError const & e ) {
      return e.what();
   }
   return "";
}

std::string checkEndPoint( std::string const & text ) {
   return Wirekit::Ip4Addr::parse( text ) ? "" : "wants " + std::string( Wirekit::Ip4Addr::form );
}

int steerOpenVSwitch( OpenVSwitchOptions const & options ) {
   OpenVSwitch::Settings settings;
   settings.bridge = options.bridge;
   settings.runFolder = options.runFolder;
   settings.vtep = Wirekit::Ip4Addr::parse( options.vtep );
   settings.ageing = options.ageing;
   if ( !options.vlanPool.empty() ) {
      settings.vlanPool = VxlanAgent::readVlanPool( options.vlanPool );
   }
   return runService(
      { .live = options.live,
        .role = "qorswitch",
        .owns = OpenVSwitch::Agents::owns,
        .follows = OpenVSwitch::Agents::follows,
        .begin =
           [settings, name = options.live.switchName]( Corestore::EntityManager & em ) {
              if ( !OpenVSwitch::claimBridge( settings.runFolder, settings.bridge, name ) ) {
                 throw Corestore::StoreError( "bridge " + settings.bridge +
                                              " is steered by another process" );
              }
              static OpenVSwitch::Agents const agents(
                 em, settings, []( OpenVSwitch::Bridge::Event const & event ) {
                    logEvent( event.isTrouble ? LogLevel::warning : LogLevel::info, event.text,
                              event.fields );
                 } );
           },
        .lease = options.lease,
        .endIfHeld = options.endIfHeld,
        .logFormat = options.logFormat } );
}

}  // namespace Program
