#include "switch/ovsdb/Client.h"

#include <utility>

#include "platform/kel/Value.h"
#include "switch/ovsdb/Operations.h"

namespace Ovsdb {

namespace {

constexpr char const * database = "Open_vSwitch";
/** The one monitor's own name, and its request's. */
constexpr char const * monitor = "bridge";

}  // namespace

Client::Client( Kel::Ptr< Orb::TaskScheduler > scheduler, std::string socket, std::string bridge,
                Listener listener )
   : name_( std::move( bridge ) ),
     listener_( std::move( listener ) ),
     link_( std::move( scheduler ), std::move( socket ),
            { .opened =
                 [this] {
                    link_.send( { { "id", monitor },
                                  { "method", "monitor" },
                                  { "params",
                                    Json::array( { database, monitor, Tables::monitored() } ) } } );
                 },
              .message = [this]( Json const & message ) { handle( message ); },
              .closed = [this]( std::string const & reason ) { closed( reason ); } } ) {}

void Client::handle( Json const & message ) {
   if ( !message.contains( "method" ) ) {
      answered( message );
      return;
   }
   Json const & params = memberOf( message, "params" );
   if ( message["method"] == "echo" ) {
      link_.send(
         { { "id", memberOf( message, "id" ) }, { "result", params }, { "error", nullptr } } );
   } else if ( up_ && message["method"] == "update" ) {
      if ( !params.is_array() || params.size() != 2 ) {
         throw Kel::ValueError( "an update has other parameters" );
      }
      tables_.update( params[1] );
      // Most of what is told is of other bridges.
      if ( Bridge now = tables_.bridge( name_ ); now != bridge_ ) {
         bridge_ = std::move( now );
         listener_.changed();
      }
   }
}

void Client::answered( Json const & reply ) {
   Json const & id = memberOf( reply, "id" );
   if ( id == monitor ) {
      monitored( reply );
   } else if ( id.is_number_unsigned() ) {
      auto waiting = pending_.extract( id.get< std::uint64_t >() );
      if ( waiting && waiting.mapped() ) {
         Json const & results = memberOf( reply, "result" );
         waiting.mapped()( errorOf( reply ), results );
      }
   }
}

void Client::monitored( Json const & reply ) {
   if ( std::string const error = errorOf( reply ); !error.empty() ) {
      throw Kel::ValueError( error );
   }
   tables_.clear();
   tables_.update( memberOf( reply, "result" ) );
   bridge_ = tables_.bridge( name_ );
   up_ = true;
   told_ = false;
   listener_.up();
}

void Client::closed( std::string const & reason ) {
   pending_.clear();
   up_ = false;
   if ( !std::exchange( told_, true ) ) {
      listener_.lost( reason );
   }
}

bool Client::transact( Json const & operations, Done done ) {
   if ( !up_ ) {
      return false;
   }
   Json params = Json::array( { database } );
   params.insert( params.end(), operations.begin(), operations.end() );
   pending_.emplace( ++requests_, std::move( done ) );
   link_.send(
      { { "id", requests_ }, { "method", "transact" }, { "params", std::move( params ) } } );
   return true;
}

bool Client::ensureTunnel( std::string const & port, std::string const & localAddress, Done done ) {
   if ( !up_ ) {
      return false;
   }
   Json const operations = tunnelOperations( bridge_, name_, port, localAddress );
   if ( operations.empty() ) {
      done( "", operations );
      return true;
   }
   return transact( operations, std::move( done ) );
}

}  // namespace Ovsdb
