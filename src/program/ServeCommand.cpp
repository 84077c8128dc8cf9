#include "program/ServeCommand.h"

#include "platform/warden/CAgent.h"
#include "program/FlowLog.h"
#include "program/LiveService.h"
#include "records/catalog/Catalog.h"
#include "scenario/simulated/SwitchAgents.h"

namespace Program {

int serveSwitch( ServeOptions const & options ) {
   return runService( { .live = options.live,
                        .role = "qorclient",
                        .owns = Catalog::isAgents,
                        .begin =
                           []( Corestore::EntityManager & em ) {
                              static FlowLog const flows( em );
                              static auto const agent =
                                 Warden::startAgent( "QorClient::Agent", "QorClient", &em );
                           },
                        .explainedBy = "qorclient audit",
                        .traceFile = options.traceFile,
                        .lease = options.lease,
                        .endIfHeld = options.endIfHeld,
                        .logFormat = options.logFormat } );
}

int simulateSwitch( SimulateOptions const & options ) {
   Kel::Value::Object members{ { "answerAfter", options.answerAfter } };
   if ( !options.vlanPool.empty() ) {
      members.emplace_back( "vlanPool", options.vlanPool );
   }
   if ( options.flowCapacity != 0 ) {
      members.emplace_back( "flowCapacity", options.flowCapacity );
   }
   Scenarios::Simulated::Settings const settings = Scenarios::Simulated::readSettings( members );
   return runService( { .live = options.live,
                        .role = "qorswitch",
                        .owns = Scenarios::Simulated::SwitchAgents::owns,
                        .begin =
                           [settings]( Corestore::EntityManager & em ) {
                              static Scenarios::Simulated::SwitchAgents const agents( em,
                                                                                      settings );
                           },
                        .lease = options.lease,
                        .endIfHeld = options.endIfHeld,
                        .logFormat = options.logFormat } );
}

}  // namespace Program
