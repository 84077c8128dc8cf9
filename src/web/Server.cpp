#include "web/Server.h"

#include <microhttpd.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <stdexcept>

namespace Web {

namespace {

constexpr Orb::Seconds sweepEvery = 1;

/** Scripts and styles are this page's own alone, nobody shows it in a frame, and nothing of it is
 *  told elsewhere. */
constexpr std::pair< char const *, char const * > safety[] = {
   { "Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'" },
   { "X-Content-Type-Options", "nosniff" },
   { "Referrer-Policy", "no-referrer" },
   { "Cross-Origin-Resource-Policy", "same-origin" },
   { "Cache-Control", "no-store" } };

std::string header( MHD_Connection & connection, char const * name ) {
   char const * const text = MHD_lookup_connection_value( &connection, MHD_HEADER_KIND, name );
   return text ? text : "";
}

}  // namespace

/** What the library calls. */
struct Callbacks {
   static MHD_Result request( void * self, MHD_Connection * connection, char const * url,
                              char const * method, char const * /* version */,
                              char const * /* data */, std::size_t * /* size */, void ** own ) {
      bool const sendsAlong = !header( *connection, "Content-Length" ).empty() ||
                              !header( *connection, "Transfer-Encoding" ).empty();
      if ( !sendsAlong && !*own ) {
         // The library keeps a connection that is answered in the second call.
         *own = self;
         return MHD_YES;
      }
      // What is sent along is not read: the connection ends behind the answer.
      Server & server = *static_cast< Server * >( self );
      Request request{ .method = method,
                       .path = url,
                       .host = header( *connection, "Host" ),
                       .origin = header( *connection, "Origin" ),
                       .authorization = header( *connection, "Authorization" ) };
      MHD_get_connection_values_n( connection, MHD_GET_ARGUMENT_KIND, &argument, &request.query );
      server.isNow( *connection, Server::Peer::State::answered );
      return server.send( *connection, server.answerTo( request ) ) == MHD_YES ? MHD_YES : MHD_NO;
   }

   static MHD_Result argument( void * query, MHD_ValueKind /* kind */, char const * name,
                               std::size_t nameSize, char const * value, std::size_t valueSize ) {
      static_cast< decltype( Request::query ) * >( query )->emplace(
         std::string( name, nameSize ), value ? std::string( value, valueSize ) : std::string() );
      return MHD_YES;
   }

   static void completed( void * self, MHD_Connection * connection, void ** /* own */,
                          MHD_RequestTerminationCode /* code */ ) {
      Server & server = *static_cast< Server * >( self );
      server.isNow( *connection, Server::Peer::State::silent );
   }

   static void connection( void * self, MHD_Connection * connection, void ** /* own */,
                           MHD_ConnectionNotificationCode code ) {
      Server & server = *static_cast< Server * >( self );
      if ( code == MHD_CONNECTION_NOTIFY_STARTED ) {
         server.connected( *connection );
      } else {
         auto const peer = server.peers_.find( connection );
         server.closing_ -= peer->second.state == Server::Peer::State::closing;
         server.peers_.erase( peer );
      }
   }

   static ssize_t read( void * stream, std::uint64_t /* position */, char * bytes,
                        std::size_t most ) {
      auto & reading = *static_cast< Server::Stream * >( stream );
      std::size_t size = reading.head.copy( bytes, most );
      reading.head.erase( 0, size );
      size += reading.server->events_.read( reading.reader, bytes + size, most - size );
      if ( size == 0 ) {
         reading.isSuspended = true;
         MHD_suspend_connection( reading.connection );
      }
      return static_cast< ssize_t >( size );
   }

   static void ended( void * stream ) {
      auto * const reading = static_cast< Server::Stream * >( stream );
      --reading->server->streams_;
      reading->server->streaming_.erase( reading->connection );
      delete reading;
   }

   static void sent( void * held ) {
      auto * const done = static_cast< Server::Held * >( held );
      done->server->held_ -= done->body.size();
      delete done;
   }
};

Server::Server( Kel::Ptr< Orb::TaskScheduler > scheduler, int socket, Handler handler,
                Events & events, Limits limits )
   : scheduler_( std::move( scheduler ) ),
     handler_( std::move( handler ) ),
     events_( events ),
     limits_( limits ) {
   daemon_ = MHD_start_daemon(
      MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, nullptr, nullptr, &Callbacks::request, this,
      MHD_OPTION_LISTEN_SOCKET, socket, MHD_OPTION_CONNECTION_MEMORY_LIMIT, limits_.head,
      // A few more than are let stand, which are on their way out.
      MHD_OPTION_CONNECTION_LIMIT, static_cast< unsigned >( limits_.connections + 64 ),
      MHD_OPTION_CONNECTION_TIMEOUT, static_cast< unsigned >( limits_.answerSeconds ),
      MHD_OPTION_NOTIFY_COMPLETED, &Callbacks::completed, this, MHD_OPTION_NOTIFY_CONNECTION,
      &Callbacks::connection, this, MHD_OPTION_STRICT_FOR_CLIENT, 1,
      MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1, MHD_OPTION_END );
   if ( !daemon_ ) {
      throw std::runtime_error( "the HTTP library cannot serve this socket" );
   }
   int const epoll = MHD_get_daemon_info( daemon_, MHD_DAEMON_INFO_EPOLL_FD )->epoll_fd;
   scheduler_->watch( *this, epoll, POLLIN );
   events_.newIs( [this] { wake(); } );
   due();
}

Server::~Server() {
   *alive_ = false;
   events_.newIs( {} );
   scheduler_->unwatch( *this );
   scheduler_->disarm( *this );
   wake();
   MHD_stop_daemon( daemon_ );
}

void Server::ready( short ) {
   run();
}

void Server::due() {
   run();
}

void Server::run() {
   // Here, since those who ask for much move the timer ahead of them.
   if ( Orb::Seconds const now = scheduler_->now(); now >= swept_ + sweepEvery ) {
      swept_ = now;
      sweep();
   }
   MHD_run( daemon_ );
   Orb::Seconds next = scheduler_->now() + sweepEvery;
   MHD_UNSIGNED_LONG_LONG milliseconds = 0;
   if ( MHD_get_timeout( daemon_, &milliseconds ) == MHD_YES ) {
      next =
         std::min( next, scheduler_->now() + static_cast< Orb::Seconds >( milliseconds ) / 1000 );
      if ( milliseconds == 0 ) {
         runSoon();
      }
   }
   scheduler_->disarm( *this );
   scheduler_->arm( *this, std::max( next, scheduler_->now() + 0.001 ) );
}

/** Behind what else waits for its turn. */
void Server::runSoon() {
   if ( !isPosted_ ) {
      isPosted_ = true;
      scheduler_->post( [this, alive = alive_] {
         if ( *alive ) {
            isPosted_ = false;
            run();
         }
      } );
   }
}

void Server::wake() {
   for ( auto const & [connection, stream] : streaming_ ) {
      if ( stream->isSuspended ) {
         stream->isSuspended = false;
         MHD_resume_connection( connection );
         // Nothing that is waited for tells of it.
         runSoon();
      }
   }
}

void Server::isNow( MHD_Connection & connection, Peer::State state ) {
   auto const peer = peers_.find( &connection );
   if ( peer != peers_.end() && peer->second.state != Peer::State::closing ) {
      peer->second.state = state;
      peer->second.since = scheduler_->now();
   }
}

void Server::close( Peer & peer ) {
   auto const * const info =
      MHD_get_connection_info( peer.connection, MHD_CONNECTION_INFO_CONNECTION_FD );
   if ( info ) {
      // The library finds its end, and tells.
      ::shutdown( info->connect_fd, SHUT_RDWR );
   }
   peer.state = Peer::State::closing;
   ++closing_;
}

void Server::sweep() {
   Orb::Seconds const now = scheduler_->now();
   for ( auto & [connection, peer] : peers_ ) {
      Orb::Seconds const age = now - peer.since;
      if ( ( peer.state == Peer::State::silent && age > limits_.headSeconds ) ||
           ( peer.state == Peer::State::answered && age > limits_.answerSeconds ) ) {
         close( peer );
      }
   }
}

void Server::connected( MHD_Connection & connection ) {
   if ( peers_.size() - closing_ >= limits_.connections ) {
      Peer * oldest = nullptr;
      for ( auto & [other, peer] : peers_ ) {
         if ( peer.state == Peer::State::silent && ( !oldest || peer.since < oldest->since ) ) {
            oldest = &peer;
         }
      }
      if ( oldest ) {
         close( *oldest );
      }
   }
   peers_[&connection] = { &connection, scheduler_->now(), Peer::State::silent };
}

MHD_Response * Server::streamOf( MHD_Connection & connection, Answer const & answer ) {
   auto * const stream =
      new Stream{ this, &connection, "retry: 1000\n\n" + answer.body, events_.begin(), false };
   MHD_Response * const response = MHD_create_response_from_callback(
      MHD_SIZE_UNKNOWN, 1024, &Callbacks::read, stream, &Callbacks::ended );
   if ( !response ) {
      delete stream;
      return nullptr;
   }
   ++streams_;
   streaming_[&connection] = stream;
   isNow( connection, Peer::State::stream );
   return response;
}

MHD_Response * Server::wholeOf( Answer & answer ) {
   auto * const held = new Held{ this, std::move( answer.body ) };
   held_ += held->body.size();
   MHD_Response * const response = MHD_create_response_from_buffer_with_free_callback_cls(
      held->body.size(), held->body.data(), &Callbacks::sent, held );
   if ( !response ) {
      Callbacks::sent( held );
   }
   return response;
}

Answer Server::answerTo( Request const & request ) {
   Answer answer;
   try {
      answer = handler_( request );
   } catch ( std::exception const & error ) {
      // The library is no C++.
      return errorAnswer( 500, error.what() );
   }
   if ( answer.isStream && streams_ >= limits_.streams ) {
      // Of pages that have gone the library hears when something is sent to them.
      if ( Orb::Seconds const now = scheduler_->now(); now >= beaten_ + sweepEvery ) {
         beaten_ = now;
         events_.beat();
      }
      return errorAnswer( 503, "too many pages are open" );
   }
   if ( held_ + answer.body.size() > limits_.answers ) {
      return errorAnswer( 503, "too much is on its way to others" );
   }
   return answer;
}

int Server::send( MHD_Connection & connection, Answer answer ) {
   MHD_Response * const response =
      answer.isStream ? streamOf( connection, answer ) : wholeOf( answer );
   if ( !response ) {
      return MHD_NO;
   }
   MHD_add_response_header( response, "Content-Type", answer.type.c_str() );
   for ( auto const & [name, text] : safety ) {
      MHD_add_response_header( response, name, text );
   }
   if ( !answer.header.empty() ) {
      MHD_add_response_header( response, answer.header.c_str(), answer.headerText.c_str() );
   }
   MHD_Result const queued = MHD_queue_response( &connection, answer.status, response );
   MHD_destroy_response( response );
   return queued;
}

}  // namespace Web
