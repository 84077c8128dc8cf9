#include "switch/openflow/Message.h"

#include <algorithm>

#include "switch/openflow/Bytes.h"

namespace OpenFlow {

namespace {

constexpr std::size_t headerSize = 8;
constexpr std::uint16_t moreFollow = 1;
constexpr std::uint16_t versionBitmap = 1;

}  // namespace

std::optional< Message > messageIn( std::string_view bytes ) {
   if ( bytes.size() < headerSize ) {
      return std::nullopt;
   }
   Reader in( bytes );
   Message message;
   message.version = in.u8();
   message.type = static_cast< MessageType >( in.u8() );
   message.size = in.u16();
   message.xid = in.u32();
   if ( message.size < headerSize ) {
      throw DecodeError( "message of " + std::to_string( message.size ) + " bytes" );
   }
   // Before both have agreed the peer speaks as it likes.
   bool const isEarly = message.type == MessageType::hello || message.type == MessageType::error;
   if ( message.version != protocolVersion && !isEarly ) {
      throw DecodeError( "message of version " + std::to_string( message.version ) );
   }
   if ( bytes.size() < message.size ) {
      return std::nullopt;
   }
   message.body = bytes.substr( headerSize, message.size - headerSize );
   return message;
}

std::string nameOf( MessageType type ) {
   switch ( type ) {
      case MessageType::hello:
         return "hello";
      case MessageType::error:
         return "error";
      case MessageType::echoRequest:
         return "echo request";
      case MessageType::echoReply:
         return "echo reply";
      case MessageType::portStatus:
         return "port status";
      case MessageType::multipartReply:
         return "multipart reply";
      case MessageType::barrierReply:
         return "barrier reply";
      case MessageType::bundleControl:
         return "bundle control";
      default:
         return "message " + std::to_string( static_cast< unsigned >( type ) );
   }
}

std::uint32_t versionsIn( Message const & hello ) {
   // One that lists none speaks all up to this.
   std::uint32_t versions = hello.version < 31 ? ( 2U << hello.version ) - 1 : ~0U;
   for ( Reader in( hello.body ); in.size() >= 4; ) {
      std::uint16_t const type = in.u16();
      std::size_t const size = in.u16();
      if ( size < 4 ) {
         throw DecodeError( "element of " + std::to_string( size ) + " bytes" );
      }
      Reader element( in.take( size - 4 ) );
      if ( type == versionBitmap ) {
         versions = element.u32();
      }
      in.skip( std::min( in.size(), padded( size ) - size ) );
   }
   return versions;
}

Error errorIn( Message const & message ) {
   Reader in( message.body );
   Error error;
   error.type = in.u16();
   error.code = in.u16();
   if ( error.type == Error::ofExperimenter ) {
      error.experimenter = in.u32();
   }
   return error;
}

std::pair< PortChange, Port > portStatusIn( Message const & message ) {
   Reader in( message.body );
   std::uint8_t const reason = in.u8();
   in.skip( 7 );
   if ( reason > 2 ) {
      throw DecodeError( "reason " + std::to_string( reason ) );
   }
   return { static_cast< PortChange >( reason ), Port::decode( in ) };
}

BundleControl bundleControlIn( Message const & message ) {
   Reader in( message.body );
   in.skip( 4 );
   return static_cast< BundleControl >( in.u16() );
}

MultipartReply multipartIn( Message const & message ) {
   Reader in( message.body );
   MultipartReply reply;
   reply.type = static_cast< Multipart >( in.u16() );
   reply.hasMore = ( in.u16() & moreFollow ) != 0;
   in.skip( 4 );
   reply.body = in.rest();
   return reply;
}

std::vector< Port > portsIn( MultipartReply const & reply ) {
   std::vector< Port > ports;
   for ( Reader in( reply.body ); !in.isEmpty(); ) {
      ports.push_back( Port::decode( in ) );
   }
   return ports;
}

namespace {

/** One of several that begin with their length, without it. */
Reader entryIn( Reader & in ) {
   std::size_t const size = in.u16();
   if ( size < 2 ) {
      throw DecodeError( "entry of " + std::to_string( size ) + " bytes" );
   }
   return Reader( in.take( size - 2 ) );
}

Flow flowIn( Reader & in ) {
   Flow flow;
   flow.table = in.u8();
   in.skip( 9 );
   flow.priority = in.u16();
   flow.idleTimeout = in.u16();
   flow.hardTimeout = in.u16();
   in.skip( 6 );
   flow.cookie = in.u64();
   in.skip( 16 );
   flow.match = Match::decode( in );
   flow.actions = Actions::decode( in );
   return flow;
}

FlowUpdate::Reason reasonOf( std::uint8_t reason ) {
   switch ( reason ) {
      case 0:
         return FlowUpdate::Reason::idleTimeout;
      case 1:
         return FlowUpdate::Reason::hardTimeout;
      case 2:
         return FlowUpdate::Reason::deleted;
      default:
         return FlowUpdate::Reason::other;
   }
}

MonitorNews newsIn( Reader & in ) {
   std::uint16_t const event = in.u16();
   if ( event > 6 ) {
      throw DecodeError( "monitor's event " + std::to_string( event ) );
   }
   if ( event >= 4 ) {
      // In the order in which they are numbered.
      return { static_cast< MonitorNews::Kind >( event - 3 ), {} };
   }
   MonitorNews news;
   news.update.event = static_cast< FlowUpdate::Event >( event );
   Flow & flow = news.update.flow;
   flow.table = in.u8();
   std::uint8_t const reason = in.u8();
   if ( news.update.event == FlowUpdate::Event::removed ) {
      news.update.reason = reasonOf( reason );
   }
   flow.idleTimeout = in.u16();
   flow.hardTimeout = in.u16();
   flow.priority = in.u16();
   in.skip( 4 );
   flow.cookie = in.u64();
   flow.match = Match::decode( in );
   flow.actions = Actions::decode( in );
   return news;
}

}  // namespace

std::vector< Flow > flowsIn( MultipartReply const & reply ) {
   std::vector< Flow > flows;
   for ( Reader in( reply.body ); !in.isEmpty(); ) {
      Reader entry = entryIn( in );
      flows.push_back( flowIn( entry ) );
   }
   return flows;
}

std::vector< MonitorNews > monitorNewsIn( MultipartReply const & reply ) {
   std::vector< MonitorNews > news;
   for ( Reader in( reply.body ); !in.isEmpty(); ) {
      Reader entry = entryIn( in );
      news.push_back( newsIn( entry ) );
   }
   return news;
}

}  // namespace OpenFlow
