#include "program/OpenVSwitchCommand.h"

#include "program/EventLog.h"
#include "program/LiveService.h"
#include "switch/openvswitch/Agents.h"

namespace Program {

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
   return runService( { .live = options.live,
                        .role = "qorswitch",
                        .owns = OpenVSwitch::Agents::owns,
                        .follows = OpenVSwitch::Agents::follows,
                        .begin =
                           [settings]( Corestore::EntityManager & em ) {
                              static OpenVSwitch::Agents const agents(
                                 em, settings, []( std::string const & text ) {
                                    logEvent( LogLevel::info, text );
                                 } );
                           },
                        .lease = options.lease,
                        .endIfHeld = options.endIfHeld,
                        .logFormat = options.logFormat } );
}

}  // namespace Program
