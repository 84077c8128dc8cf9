#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/orb/TaskScheduler.h"
#include "switch/openflow/Errors.h"
#include "switch/openflow/Flow.h"
#include "switch/openflow/Port.h"

namespace OpenFlow {

class Request;
struct Message;

/** How long is waited for what. */
struct Timing {
   /** Between attempts to connect: at first, then twice as long each time. */
   Orb::Seconds firstRetry = 0.1;
   Orb::Seconds lastRetry = 1;
   /** A peer that has been silent so long is asked whether it is there. */
   Orb::Seconds askAfter = 1;
   /** One that has been silent so long isn't. It may be busy with a large bundle. */
   Orb::Seconds silence = 15;
};

/**
 * The connection to a bridge, over the socket on which it is managed, served by the scheduler:
 * nothing here waits. It is made anew when it is lost, for as long as it takes.
 *
 * What is asked for is done in order, one after the other; the answer to each comes before the next
 * is sent. When the connection is lost, whatever was asked for is forgotten and its callbacks are
 * not called; what the switch has done of it has to be read. Nothing is taken while it is down. It
 * is not destroyed from within its own calls.
 */
class Connection : private Orb::Descriptor, private Orb::Timer {
 public:
   /** Who hears what; each of them is set. They may ask for more, as may those that are called when
    *  something has been done. */
   struct Events {
      /** It stands, and nothing was asked for yet. */
      std::function< void() > up;
      /** It is lost, or could not be had, which is told once. */
      std::function< void( std::string const & reason ) > down;
      std::function< void( PortChange, Port const & ) > portChanged;
      /** Of a table that is monitored: a change by others, by the switch itself, or what stood
       *  before. Changes by this connection are not told, but for those made while others were
       *  missed. */
      std::function< void( FlowUpdate const & ) > flowChanged;
      /** The switch could not tell all changes, and tells them again from now on: what stands has
       * to be read. */
      std::function< void() > changesMissed;
   };

   Connection( Kel::Ptr< Orb::TaskScheduler > scheduler, std::string socket, Events events,
               Timing const & timing = {} );
   ~Connection() override;
   Connection( Connection const & ) = delete;
   Connection & operator=( Connection const & ) = delete;

   bool isUp() const { return state_ == State::up; }
   /** How much has been asked for and not answered. */
   std::size_t outstanding() const { return requests_.size(); }

   void portDescriptions( std::function< void( std::vector< Port > ) > done );
   /** Those of one table, or of `allTables`, a message at a time. */
   void readFlows( std::uint8_t table, std::function< void( std::vector< Flow > ) > chunk,
                   std::function< void() > done );
   /**
    * Changes flows, all at once: no frame meets some of the changes and not the others. When the
    * switch refuses one of them, they are made one by one, but for those that are joined to the one
    * before. A change alone is sent so from the beginning. `done` takes those that were refused, in
    * order, when all are in effect; of several that are joined one is told, and none is made,
    * unless it was one that the switch could not even read.
    */
   void program( std::vector< FlowChange > changes,
                 std::function< void( std::vector< Refusal > ) > done );
   /** Tells what stands in these tables, `allTables` for all, by `flowChanged`, then `done`, and
    * from then on what changes. Once in the life of a connection. */
   void monitorFlows( std::vector< std::uint8_t > tables, std::function< void() > done );

 private:
   enum class State : std::uint8_t { waiting, greeting, up };

   void connect();
   void request( std::unique_ptr< Request > request );
   /** Sends what was asked for next, once nothing is outstanding. */
   void next();
   /** Makes what will be sent after that, while the switch is at work. */
   void prepare();
   void read();
   void write();
   void takeMessages();
   void take( Message const & message );
   void takeHello( Message const & message );
   void takeNews( Message const & message );
   void takeAnswer( Message const & message );
   void send( std::string_view bytes );
   void lost( std::string const & reason );
   void ready( short events ) override;
   void due() override;
   void watch();

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   std::string socket_;
   Events events_;
   Timing timing_;
   State state_ = State::waiting;
   int fd_ = -1;
   std::string received_;
   std::string unsent_;
   std::size_t sent_ = 0;
   std::deque< std::unique_ptr< Request > > requests_;
   /** Of the first one of `requests_`. */
   std::uint32_t firstXid_ = 0;
   std::uint32_t lastXid_ = 0;
   /** What the second one will send, with numbers behind those; empty for nothing yet. */
   std::string prepared_;
   std::uint32_t lastPreparedXid_ = 0;
   Orb::Seconds upSince_ = 0;
   Orb::Seconds heard_ = 0;
   Orb::Seconds retryAfter_ = 0;
   bool told_ = false;
   /** It was silent for too long when it was last looked at. */
   bool suspected_ = false;
   /** Changes of flows are missed. */
   bool isPaused_ = false;
};

}  // namespace OpenFlow
