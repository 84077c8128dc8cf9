#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/orb/TaskScheduler.h"
#include "web/Events.h"
#include "web/Guard.h"
#include "web/Request.h"

struct MHD_Connection;
struct MHD_Daemon;
struct MHD_Response;

namespace Web {

/** Opens the socket on which the page is served. Throws std::system_error with the place. */
int listenAt( Place const & place );

/**
 * Speaks HTTP on the scheduler's thread. A client that is slow or silent holds up nobody: it has a
 * deadline, and where too many are connected, those that ask for nothing go first.
 */
class Server : private Orb::Descriptor, private Orb::Timer {
 public:
   using Handler = std::function< Answer( Request const & ) >;
   struct Limits {
      std::size_t connections = 256;
      /** Pages that are open. */
      std::size_t streams = 64;
      /** Bytes of a request's head, and of what is ready to be sent. */
      std::size_t head = 16384;
      /** Bytes of all answers that are still on their way to clients that read slowly. */
      std::size_t answers = std::size_t{ 64 } << 20;
      /** Seconds for a request's head; and for an answer. */
      Orb::Seconds headSeconds = 10;
      Orb::Seconds answerSeconds = 60;
   };

   /** Takes over the socket. */
   Server( Kel::Ptr< Orb::TaskScheduler > scheduler, int socket, Handler handler, Events & events )
      : Server( std::move( scheduler ), socket, std::move( handler ), events, Limits{} ) {}
   Server( Kel::Ptr< Orb::TaskScheduler > scheduler, int socket, Handler handler, Events & events,
           Limits limits );
   ~Server() override;
   Server( Server const & ) = delete;
   Server & operator=( Server const & ) = delete;

   std::size_t connections() const { return peers_.size(); }
   std::size_t streams() const { return streams_; }

 private:
   friend struct Callbacks;

   /** A connection. */
   struct Peer {
      MHD_Connection * connection = nullptr;
      /** Since when it is in its present state. */
      Orb::Seconds since = 0;
      enum class State { silent, answered, stream, closing } state = State::silent;
   };
   /** An answer on its way. */
   struct Held {
      Server * server = nullptr;
      std::string body;
   };
   /** A page that listens. */
   struct Stream {
      Server * server = nullptr;
      MHD_Connection * connection = nullptr;
      std::string head;
      Events::Reader reader;
      bool isSuspended = false;
   };

   void ready( short events ) override;
   void due() override;
   /** Lets the library work, and asks for its next turn. */
   void run();
   void runSoon();
   void wake();
   void sweep();
   void connected( MHD_Connection & connection );
   void isNow( MHD_Connection & connection, Peer::State state );
   void close( Peer & peer );
   /** What the handler answers; an error in place of what there is no room for. */
   Answer answerTo( Request const & request );
   int send( MHD_Connection & connection, Answer answer );
   MHD_Response * streamOf( MHD_Connection & connection, Answer const & answer );
   MHD_Response * wholeOf( Answer & answer );

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Handler handler_;
   Events & events_;
   Limits limits_;
   MHD_Daemon * daemon_ = nullptr;
   std::map< MHD_Connection *, Peer > peers_;
   std::map< MHD_Connection *, Stream * > streaming_;
   std::size_t streams_ = 0;
   std::size_t closing_ = 0;
   std::size_t held_ = 0;
   bool isPosted_ = false;
   Orb::Seconds swept_ = 0;
   Orb::Seconds beaten_ = 0;
   std::shared_ptr< bool > const alive_ = std::make_shared< bool >( true );
};

}  // namespace Web
