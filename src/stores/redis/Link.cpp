#include "stores/redis/Link.h"

#include <hiredis/hiredis.h>

#include <algorithm>
#include <utility>

namespace Redis {

namespace {

constexpr Orb::Seconds firstRetry = 0.05;
constexpr Orb::Seconds lastRetry = 1;
/** An idle connection is asked so often whether both still stand. */
constexpr Orb::Seconds pingEvery = 1;
/** A server may stand still for a while, without a loss. */
constexpr Orb::Seconds silence = 15;
constexpr char const * channel = "__redis__:invalidate";

}  // namespace

Link::Link( Kel::Ptr< Orb::TaskScheduler > scheduler, Address address, Access access,
            Keys const & keys, Events events )
   : scheduler_( std::move( scheduler ) ),
     access_( std::move( access ) ),
     keys_( keys ),
     events_( std::move( events ) ),
     addresses_{ std::move( address ) },
     retryAfter_( firstRetry ) {
   connect();
}

Link::~Link() {
   scheduler_->disarm( *this );
}

Connection::Closed Link::closer() {
   return [this, attempt = attempt_]( std::string const & reason ) {
      if ( attempt == attempt_ ) {
         lost( reason );
      }
   };
}

void Link::connect() {
   ++attempt_;
   listener_ = std::make_unique< Connection >( scheduler_, address(), closer() );
   authenticate( *listener_ );
   listener_->send( { "CLIENT", "ID" }, [this]( redisReply const & reply ) { listen( reply ); } );
   // One that accepts and says nothing is given up, too.
   answered_ = scheduler_->now();
   scheduler_->arm( *this, answered_ + silence );
}

void Link::authenticate( Connection & connection ) {
   auto const answer = [this]( redisReply const & reply ) {
      if ( std::string_view const error = errorOf( reply ); !error.empty() ) {
         fail( std::string( error ) );
      }
   };
   if ( !access_.user.empty() ) {
      connection.send( { "AUTH", access_.user, access_.password }, answer );
   } else if ( !access_.password.empty() ) {
      connection.send( { "AUTH", access_.password }, answer );
   }
}

void Link::listen( redisReply const & clientId ) {
   if ( std::string_view const error = errorOf( clientId ); !error.empty() ) {
      fail( std::string( error ) );
      return;
   }
   std::string const id = std::to_string( clientId.integer );
   listener_->subscribe( channel, [this, id]( redisReply const & message ) {
      auto const parts = elementsOf( message );
      if ( std::string_view const error = errorOf( message ); !error.empty() ) {
         fail( std::string( error ) );
      } else if ( parts.size() == 3 && textOf( *parts[0] ) == "subscribe" ) {
         track( id );
      } else if ( parts.size() == 3 ) {
         heard( *parts[2] );
      }
   } );
}

void Link::track( std::string const & listener ) {
   commands_ = std::make_unique< Connection >( scheduler_, address(), closer() );
   authenticate( *commands_ );
   // A server that isn't part of a cluster refuses, which is right.
   commands_->send( { "CLUSTER", "SLOTS" },
                    [this]( redisReply const & slots ) { learnServers( slots ); } );
   commands_->send( { "CLIENT", "TRACKING", "ON", "REDIRECT", listener, "BCAST", "PREFIX",
                      keys_.prefix(), "NOLOOP" },
                    [this]( redisReply const & reply ) {
                       if ( std::string_view const error = errorOf( reply ); !error.empty() ) {
                          fail( std::string( error ) );
                       } else {
                          begin();
                       }
                    } );
}

void Link::begin() {
   up_ = true;
   told_ = false;
   upSince_ = scheduler_->now();
   scheduler_->disarm( *this );
   ping();
   events_.up();
}

void Link::learnServers( redisReply const & slots ) {
   // Each range of slots: first, last, then servers: host, port, ...
   for ( redisReply const * range : elementsOf( slots ) ) {
      auto const parts = elementsOf( *range );
      for ( std::size_t i = 2; i < parts.size(); ++i ) {
         auto const server = elementsOf( *parts[i] );
         if ( server.size() < 2 || textOf( *server[0] ).empty() ) {
            continue;
         }
         Address const known{ "", std::string( textOf( *server[0] ) ),
                              static_cast< std::uint16_t >( server[1]->integer ) };
         if ( std::ranges::find( addresses_, known ) == addresses_.end() ) {
            addresses_.push_back( known );
         }
      }
   }
}

void Link::heard( redisReply const & message ) {
   if ( !up_ ) {
      return;
   }
   answered_ = scheduler_->now();
   if ( isNothing( message ) ) {
      events_.allChanged();
      return;
   }
   std::vector< std::string > paths;
   for ( redisReply const * key : elementsOf( message ) ) {
      if ( auto const path = keys_.pathOf( textOf( *key ) ) ) {
         paths.emplace_back( *path );
      }
   }
   events_.changed( std::move( paths ) );
}

void Link::ping() {
   scheduler_->arm( *this, scheduler_->now() + pingEvery );
   // Says whether the listener is there, too: a loss of that one alone would pass in silence.
   commands_->send( { "CLIENT", "TRACKINGINFO" }, [this]( redisReply const & reply ) {
      answered_ = scheduler_->now();
      auto const parts = elementsOf( reply );
      if ( parts.size() < 2 ) {
         return;
      }
      for ( redisReply const * flag : elementsOf( *parts[1] ) ) {
         if ( textOf( *flag ) == "broken_redirect" ) {
            lost( "the server has dropped the listener" );
            return;
         }
      }
   } );
}

void Link::due() {
   if ( !listener_ ) {
      connect();
   } else if ( scheduler_->now() - answered_ < silence ) {
      suspected_ = false;
      if ( up_ ) {
         ping();
      } else {
         scheduler_->arm( *this, answered_ + silence );
      }
   } else if ( !std::exchange( suspected_, true ) ) {
      // It may be this process that stood still: what has come meanwhile is read before.
      scheduler_->arm( *this, scheduler_->now() + pingEvery );
   } else {
      suspected_ = false;
      lost( "no answer" );
   }
}

void Link::fail( std::string const & error ) {
   // "MOVED SLOT HOST:PORT"
   bool const followed = error.starts_with( "MOVED " ) &&
                         follow( std::string_view( error ).substr( error.rfind( ' ' ) + 1 ) );
   lost( followed ? "" : error );
}

bool Link::follow( std::string_view address ) {
   auto const moved = addressOf( address );
   if ( !moved ) {
      return false;
   }
   auto const known = std::ranges::find( addresses_, *moved );
   // One step before it, since a loss goes to the next.
   auto const at = static_cast< std::size_t >( known - addresses_.begin() );
   if ( known == addresses_.end() ) {
      addresses_.push_back( *moved );
   }
   current_ = ( at + addresses_.size() - 1 ) % addresses_.size();
   // Servers that name each other lead nowhere.
   return scheduler_->now() - std::exchange( followedAt_, scheduler_->now() ) >= lastRetry;
}

void Link::lost( std::string const & reason ) {
   ++attempt_;
   dropLater( listener_ );
   dropLater( commands_ );
   bool const wasUp = std::exchange( up_, false );
   losses_ += wasUp;
   // A server that refuses everything is no better than none.
   if ( wasUp && scheduler_->now() - upSince_ >= lastRetry ) {
      retryAfter_ = firstRetry;
   }
   if ( wasUp || !told_ ) {
      told_ = !reason.empty();
      events_.down( reason );
   }
   current_ = ( current_ + 1 ) % addresses_.size();
   scheduler_->disarm( *this );
   scheduler_->arm( *this, scheduler_->now() + ( reason.empty() ? 0 : retryAfter_ ) );
   if ( !reason.empty() ) {
      retryAfter_ = std::min( 2 * retryAfter_, lastRetry );
   }
}

// It may be one of these that is at work.
void Link::dropLater( std::unique_ptr< Connection > & connection ) {
   if ( connection ) {
      connection->silence();
      scheduler_->post( [dropped = std::shared_ptr< Connection >( std::move( connection ) )] {} );
   }
}

}  // namespace Redis
