#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "switch/openflow/Errors.h"
#include "switch/openflow/Flow.h"
#include "switch/openflow/Port.h"

namespace OpenFlow {

/** OpenFlow 1.4, as it stands in front of each message. */
inline constexpr std::uint8_t protocolVersion = 5;

enum class MessageType : std::uint8_t {
   hello = 0,
   error = 1,
   echoRequest = 2,
   echoReply = 3,
   portStatus = 12,
   flowMod = 14,
   multipartRequest = 18,
   multipartReply = 19,
   barrierRequest = 20,
   barrierReply = 21,
   setAsync = 28,
   bundleControl = 33,
   bundleAdd = 34,
};

enum class Multipart : std::uint16_t { flows = 1, portDescriptions = 13, flowMonitor = 16 };

enum class BundleControl : std::uint16_t {
   open = 0,
   opened = 1,
   commit = 4,
   committed = 5,
   discard = 6
};

/** A message that has come in; `body` is a view of where it was read from. */
struct Message {
   std::uint8_t version = 0;
   MessageType type{};
   std::uint32_t xid = 0;
   std::string_view body;
   /** In bytes, with what stands in front. */
   std::size_t size = 0;
};

/** The message at the front, once it is whole. Throws DecodeError when there can be none. */
std::optional< Message > messageIn( std::string_view bytes );
/** For whoever has to say which one was bad. */
std::string nameOf( MessageType type );

// What messages hold. All throw DecodeError.

/** The versions that the peer speaks, a bit each. */
std::uint32_t versionsIn( Message const & hello );
Error errorIn( Message const & message );
std::pair< PortChange, Port > portStatusIn( Message const & message );
BundleControl bundleControlIn( Message const & message );

struct MultipartReply {
   Multipart type{};
   /** More messages of this answer come. */
   bool hasMore = false;
   std::string_view body;
};
MultipartReply multipartIn( Message const & message );
std::vector< Port > portsIn( MultipartReply const & reply );
std::vector< Flow > flowsIn( MultipartReply const & reply );

/** What a monitor tells, in order. */
struct MonitorNews {
   enum class Kind : std::uint8_t { changed, ownChange, paused, resumed };
   Kind kind{};
   /** What was changed. */
   FlowUpdate update;
};
std::vector< MonitorNews > monitorNewsIn( MultipartReply const & reply );

// Messages to be sent, whole.

std::string helloMessage( std::uint32_t xid );
std::string echoMessage( MessageType type, std::uint32_t xid, std::string_view data );
std::string barrierMessage( std::uint32_t xid );
/** Asks for changes of ports, and for nothing else that it has not asked for. */
std::string setAsyncMessage( std::uint32_t xid );
std::string portDescriptionsMessage( std::uint32_t xid );
std::string readFlowsMessage( std::uint32_t xid, std::uint8_t table );
std::string monitorMessage( std::uint32_t xid, std::vector< std::uint8_t > const & tables );
std::string bundleControlMessage( std::uint32_t xid, std::uint32_t bundle, BundleControl type );
/** Nothing where it would be longer than a message can be. */
std::optional< std::string > flowModMessage( std::uint32_t xid, FlowChange const & change );
/** The same, into a bundle. */
std::optional< std::string > bundledFlowModMessage( std::uint32_t xid, std::uint32_t bundle,
                                                    FlowChange const & change );

}  // namespace OpenFlow
