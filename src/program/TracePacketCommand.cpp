#include "program/TracePacketCommand.h"

#include <iostream>
#include <optional>
#include <set>
#include <variant>

#include "platform/kel/StandardError.h"
#include "records/catalog/Catalog.h"
#include "records/vxlan/VtiStatus.h"
#include "switch/openvswitch/DaemonControl.h"
#include "views/packet/BridgeTrace.h"
#include "views/packet/FollowFrame.h"
#include "views/tables/TextTable.h"

namespace Program {

namespace {

using Words = std::multiset< std::string >;

/** What a bridge does with the frame. */
struct BridgeWay {
   Words exits;
   /** Nothing where the state does not say where a next hop is. */
   std::optional< bool > agrees;
};

Words bridgeExits( TracePacketOptions const & options, Corestore::EntityManager const & em,
                   Views::Frame const & frame ) {
   auto const ask = [&]( std::string const & command, std::vector< std::string > const & words ) {
      return OpenVSwitch::askDaemon( options.runFolder, command, words );
   };
   auto const tunnel =
      em.entity< Vxlan::VtiStatusDir >( Catalog::pathOf( "vtiStatusDir" ) )->vtiStatus( frame.in );
   Views::BridgePorts const ports = Views::bridgePorts( ask( "dpif/show", {} ), options.bridge );
   auto const flow = Views::tracedFlow( frame, tunnel != nullptr,
                                        tunnel ? tunnel->addr() : Wirekit::IpAddr(), ports );
   if ( !flow ) {
      throw OpenVSwitch::DaemonError( "bridge " + options.bridge + " has no port " +
                                      frame.in.stringValue() );
   }
   return Views::tracedExits( ask( "ofproto/trace", { options.bridge, *flow } ), frame, ports );
}

BridgeWay bridgeWay( TracePacketOptions const & options, Corestore::EntityManager const & em,
                     Views::Frame const & frame, Views::PacketWalk const & walk ) {
   BridgeWay way{ bridgeExits( options, em, frame ), {} };
   Words told;
   bool isKnown = true;
   for ( Views::Exit const & exit : walk.exits ) {
      told.insert( Views::exitWords( exit ) );
      isKnown = isKnown && !std::holds_alternative< Views::NextHopExit >( exit );
   }
   if ( isKnown ) {
      way.agrees = told == way.exits;
   }
   return way;
}

void print( BridgeWay const & way, std::string const & bridge ) {
   std::string const start = "bridge      " + bridge;
   if ( way.agrees == true ) {
      std::cout << start << " does the same\n";
      return;
   }
   if ( way.exits.empty() ) {
      std::cout << start << " has nothing leave\n";
   }
   for ( std::string const & exit : way.exits ) {
      std::cout << start << ": " << exit << '\n';
   }
}

Kel::Value::Object membersOf( BridgeWay const & way ) {
   return { { "exits", Kel::Value::Array( way.exits.begin(), way.exits.end() ) },
            { "agrees", way.agrees ? Kel::Value( *way.agrees ) : Kel::Value() } };
}

}  // namespace

int tracePacket( TracePacketOptions const & options ) {
   Views::Frame const frame = Views::frameOf( options.frame );
   OpenedState const state = openState( options.source );
   std::string const wrong = Views::whyNone( frame, Views::Ports( state.entityManager ) );
   if ( !wrong.empty() ) {
      std::cerr << wrong << std::endl;
      return 2;
   }
   Views::PacketWalk const walk = Views::followFrame( state.entityManager, frame );
   std::optional< BridgeWay > bridge;
   if ( !options.bridge.empty() ) {
      try {
         bridge = bridgeWay( options, state.entityManager, frame, walk );
      } catch ( OpenVSwitch::DaemonError const & e ) {
         std::cerr << Kel::oneLine( e.what() ) << std::endl;
         return 2;
      }
   }
   if ( options.json ) {
      Kel::Value::Object members = walk.members();
      if ( bridge ) {
         members.emplace_back( "bridge", membersOf( *bridge ) );
      }
      Views::printJsonLines( std::cout, { members } );
   } else {
      walk.print( std::cout );
      if ( bridge ) {
         print( *bridge, options.bridge );
      }
   }
   return state.met && !( bridge && bridge->agrees == false ) ? 0 : 1;
}

}  // namespace Program
