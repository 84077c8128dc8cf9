// What a client of the page may send: any bytes on its connection, or, behind a first 'P', a path
// of the API. Each is answered as HTTP or not at all, what is JSON reads, and nothing of the
// request becomes a header of the answer.

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "documents/NumberNames.h"
#include "platform/corestore/ValueText.h"
#include "scenario/Switch.h"
#include "web/Server.h"
#include "web/Site.h"

namespace {

constexpr char document[] = R"({
   "mgmt/controller/status":{"enabled":true,
      "leaderServiceStatusDir":{"service":{"Qor":{"enabled":true}}}},
   "interface/status/eth/vxlan":{"vtiStatus":{"Vxlan1":{"addr":"192.0.2.1",
      "vlanToVniMap":{"100":{"vni":10100},"200":{"vni":20100}}}}},
   "bridging/config":{"vlanConfig":{"100":{"intf":{"Ethernet1":true}}}},
   "bridging/status":{"fdbStatus":{"100|02:00:00:00:00:0a":{"intf":"Ethernet1",
      "entryType":"local"}}},
   "qor/version1/policy":{"policy":{"policyFragment":{"web":{"originalVni":10100,
      "serviceVni":20100,"serviceIntfSet":{"near":{"intf":{"Ethernet5":true}}},
      "flow":{"back":{"serviceIntfKey":"near","interceptPoint":"ingress",
         "match":{"vni":20100},"action":{"vni":10100}}}}}}}})";

/** A client's end of a connection. */
class Client {
 public:
   explicit Client( std::string const & path )
      : fd_( ::socket( AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0 ) ) {
      sockaddr_un address{};
      address.sun_family = AF_UNIX;
      path.copy( address.sun_path, sizeof address.sun_path - 1 );
      if ( ::connect( fd_, reinterpret_cast< sockaddr const * >( &address ), sizeof address ) ) {
         std::abort();
      }
   }
   ~Client() { ::close( fd_ ); }
   Client( Client const & ) = delete;
   Client & operator=( Client const & ) = delete;

   void send( std::string_view bytes ) const {
      [[maybe_unused]] auto const sent = ::send( fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL );
      ::shutdown( fd_, SHUT_WR );
   }
   /** Reads what has come; true at the end, or when a stream without one has begun. */
   bool isOver() {
      std::array< char, 65536 > bytes;
      for ( ;; ) {
         auto const size = ::recv( fd_, bytes.data(), bytes.size(), MSG_DONTWAIT );
         if ( size <= 0 ) {
            return size == 0 || errno != EAGAIN || text.find( "event-stream" ) != text.npos;
         }
         text.append( bytes.data(), static_cast< std::size_t >( size ) );
      }
   }

   std::string text;

 private:
   int fd_;
};

/** Asks the scheduler to look up, often. */
class Patience : private Orb::Timer {
 public:
   explicit Patience( Orb::TaskScheduler & scheduler ) : scheduler_( scheduler ) { due(); }
   ~Patience() override { scheduler_.disarm( *this ); }
   Patience( Patience const & ) = delete;
   Patience & operator=( Patience const & ) = delete;

   /** A server that is asked in part waits for the rest, seconds long. */
   bool isOver() const { return times_ > 4; }

 private:
   void due() override {
      ++times_;
      scheduler_.arm( *this, scheduler_.now() + 0.0005 );
   }

   Orb::TaskScheduler & scheduler_;
   int times_ = 0;
};

class Page {
 public:
   static Page & the() {
      static Page & page = *new Page;
      return page;
   }

   std::string answerTo( std::string_view request ) {
      Client client( path_ );
      client.send( request );
      Patience const patience( *scheduler_ );
      scheduler_->run( [&] { return client.isOver() || patience.isOver(); } );
      return std::move( client.text );
   }

 private:
   Page() {
      std::atexit( [] { std::filesystem::remove( the().path_ ); } );
      device_.patch( Documents::withNumbers( Corestore::parseJson( document ) ) );
      site_.follow();
   }

   std::string path_ = ( std::filesystem::temp_directory_path() /
                         ( "qorclient-fuzz-" + std::to_string( ::getpid() ) ) )
                          .string();
   Scenarios::Switch device_{ {} };
   Web::Site site_{ const_cast< Corestore::EntityManager & >( device_.entityManager() ), "leaf1",
                    Web::Guard( { .socket = path_ }, {}, "" ) };
   Kel::Ptr< Orb::TaskScheduler > scheduler_{
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) };
   Web::Server server_{ scheduler_, Web::listenAt( { .socket = path_ } ),
                        [this]( Web::Request const & request ) { return site_.answer( request ); },
                        site_.events() };
};

void require( bool isSo ) {
   if ( !isSo ) {
      std::abort();
   }
}

/** One answer with its head; of several of one connection the first. One that is not whole yet is
 *  left alone. */
void check( std::string const & answer ) {
   std::size_t const end = answer.find( "\r\n\r\n" );
   require( answer.starts_with( "HTTP/1." ) );
   if ( end == answer.npos ) {
      return;
   }
   std::string_view head( answer );
   head = head.substr( 0, end );
   for ( std::size_t at = head.find( "\r\n" ); at != head.npos; at = head.find( "\r\n", at + 2 ) ) {
      std::string_view const line = head.substr( at + 2, head.find( "\r\n", at + 2 ) - at - 2 );
      std::string_view const name = line.substr( 0, line.find( ':' ) );
      require( name == "Date" || name == "Content-Type" || name == "Content-Length" ||
               name == "Connection" || name == "Transfer-Encoding" || name == "Allow" ||
               name == "Content-Security-Policy" || name == "X-Content-Type-Options" ||
               name == "Referrer-Policy" || name == "Cross-Origin-Resource-Policy" ||
               name == "Cache-Control" || name == "WWW-Authenticate" );
   }
   std::string const length = "Content-Length: ";
   std::size_t const at = head.find( length );
   if ( head.find( "application/json" ) != head.npos && at != head.npos ) {
      std::size_t const size = std::stoul( answer.substr( at + length.size() ) );
      std::string const body = answer.substr( end + 4, size );
      // Behind the head of a HEAD's comes the next answer.
      require( body.size() != size || body.starts_with( "HTTP/1." ) ||
               Corestore::parseJson( body ).as< Kel::Value::Object >() );
   }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const * data, std::size_t size ) {
   std::string_view input( reinterpret_cast< char const * >( data ), size );
   std::string request( input );
   Web::Guard const guard( { .host = "::1", .port = 80 }, {}, "0123456789abcdef" );
   for ( auto const header :
         { &Web::Request::host, &Web::Request::origin, &Web::Request::authorization } ) {
      Web::Request asked{ .host = "[::1]" };
      asked.*header = request;
      // Without the token nobody is served; in base64 it looks otherwise.
      require( guard.refusal( asked ) || header == &Web::Request::authorization );
   }
   if ( input.starts_with( 'P' ) ) {
      request =
         "GET /api/" + request.substr( 1 ) + " HTTP/1.1\r\nHost: page\r\nConnection: close\r\n\r\n";
   }
   std::string const answer = Page::the().answerTo( request );
   if ( !answer.empty() ) {
      check( answer );
   }
   return 0;
}
