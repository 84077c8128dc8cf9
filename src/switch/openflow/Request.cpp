#include "switch/openflow/Request.h"

#include "switch/openflow/Bytes.h"

namespace OpenFlow {

namespace {

/** What a message is of an answer. What only reads is not refused by a switch that fits.
 */
MultipartReply partOf( Message const & message, Multipart wanted ) {
   if ( message.type == MessageType::error ) {
      throw DecodeError( "refused: " + errorIn( message ).text() );
   }
   if ( message.type != MessageType::multipartReply ) {
      throw DecodeError( "no answer to what was asked" );
   }
   MultipartReply reply = multipartIn( message );
   if ( reply.type != wanted ) {
      throw DecodeError( "an answer to something else" );
   }
   return reply;
}

}  // namespace

void PortDescriptionsRequest::begin( Outgoing & out ) {
   out.put( portDescriptionsMessage( out.nextXid() ) );
}

bool PortDescriptionsRequest::take( Message const & message, Outgoing & ) {
   MultipartReply const reply = partOf( message, Multipart::portDescriptions );
   for ( Port & port : portsIn( reply ) ) {
      ports_.push_back( std::move( port ) );
   }
   return !reply.hasMore;
}

void ReadFlowsRequest::begin( Outgoing & out ) {
   out.put( readFlowsMessage( out.nextXid(), table_ ) );
}

bool ReadFlowsRequest::take( Message const & message, Outgoing & ) {
   MultipartReply const reply = partOf( message, Multipart::flows );
   if ( auto flows = flowsIn( reply ); !flows.empty() ) {
      chunk_( std::move( flows ) );
   }
   return !reply.hasMore;
}

void MonitorRequest::begin( Outgoing & out ) {
   out.put( monitorMessage( out.nextXid(), tables_ ) );
}

bool MonitorRequest::take( Message const & message, Outgoing & ) {
   return !partOf( message, Multipart::flowMonitor ).hasMore;
}

}  // namespace OpenFlow
