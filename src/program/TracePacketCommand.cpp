#include "program/TracePacketCommand.h"

#include <iostream>

#include "views/packet/FollowFrame.h"
#include "views/tables/TextTable.h"

namespace Program {

int tracePacket( TracePacketOptions const & options ) {
   Views::Frame const frame = Views::frameOf( options.frame );
   OpenedState const state = openState( options.source );
   std::string const wrong = Views::whyNone( frame, Views::Ports( state.entityManager ) );
   if ( !wrong.empty() ) {
      std::cerr << wrong << std::endl;
      return 2;
   }
   Views::PacketWalk const walk = Views::followFrame( state.entityManager, frame );
   if ( options.json ) {
      Views::printJsonLines( std::cout, { walk.members() } );
   } else {
      walk.print( std::cout );
   }
   return state.met ? 0 : 1;
}

}  // namespace Program
