#include "web/Server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/un.h>

#include <atomic>
#include <fstream>
#include <thread>
#include <vector>

#include "live/HttpClient.h"
#include "live/Process.h"

namespace {

using Live::HttpClient;
using testing::StartsWith;

/** Wakes the scheduler, so that it asks whether it is to stop. */
class Tick : private Orb::Timer {
 public:
   explicit Tick( Orb::TaskScheduler & scheduler ) : scheduler_( scheduler ) { due(); }
   ~Tick() override { scheduler_.disarm( *this ); }
   Tick( Tick const & ) = delete;
   Tick & operator=( Tick const & ) = delete;

 private:
   void due() override { scheduler_.arm( *this, scheduler_.now() + 0.01 ); }

   Orb::TaskScheduler & scheduler_;
};

class WebServerTest : public testing::Test {
 protected:
   std::string path() const { return folder.path() / "page"; }
   /** Serves while a client does its work. */
   void during( std::function< void() > const & work ) {
      std::atomic< bool > isDone = false;
      std::thread client( [&] {
         work();
         isDone = true;
      } );
      Tick const tick( *scheduler );
      scheduler->run( [&] { return isDone.load(); } );
      client.join();
   }
   std::string get( std::string const & what = "/" ) {
      std::string text;
      during( [&] { text = Live::httpGet( path(), what ); } );
      return text.substr( 0, text.find( '\r' ) );
   }

   Live::Folder folder;
   Web::Events events;
   Kel::Ptr< Orb::TaskScheduler > const scheduler{
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) };
};

TEST_F( WebServerTest, TakesOverALeftSocketAndNoOtherFile ) {
   std::ofstream( path() ) << "someone's";
   EXPECT_THROW( Web::listenAt( { .socket = path() } ), std::system_error );
   EXPECT_TRUE( std::filesystem::is_regular_file( path() ) );
   std::filesystem::remove( path() );
   int const served = Web::listenAt( { .socket = path() } );
   EXPECT_THROW( Web::listenAt( { .socket = path() } ), std::system_error ) << "it is served";
   ::close( served );
   ::close( Web::listenAt( { .socket = path() } ) );
}

TEST_F( WebServerTest, AFaultOfTheHandlerIsAnAnswer ) {
   Web::Server const server(
      scheduler, Web::listenAt( { .socket = path() } ),
      []( Web::Request const & ) -> Web::Answer { throw std::runtime_error( "a fault" ); },
      events );
   EXPECT_EQ( get(), "HTTP/1.1 500 Internal Server Error" );
   EXPECT_EQ( get(), "HTTP/1.1 500 Internal Server Error" );
}

/** No byte of a name ends it: a flow of another name is not shown for it. */
TEST_F( WebServerTest, ArgumentsAreWhole ) {
   Web::Server const server(
      scheduler, Web::listenAt( { .socket = path() } ),
      []( Web::Request const & request ) {
         return Web::Answer{ .status = request.of( "flow" ) == std::string( "a\0b", 3 ) ? 200U
                                       : request.of( "flow" ) == "a"                    ? 404U
                                                                                        : 500U };
      },
      events );
   EXPECT_EQ( get( "/?flow=a" ), "HTTP/1.1 404 Not Found" );
   EXPECT_EQ( get( "/?flow=a%00b" ), "HTTP/1.1 200 OK" );
}

/** What clients do not read takes no more memory than it may, whatever their number. */
TEST_F( WebServerTest, SlowReadersHoldSoMuchAndNoMore ) {
   Web::Server::Limits limits;
   limits.answers = 3'500'000;
   Web::Server const server(
      scheduler, Web::listenAt( { .socket = path() } ),
      []( Web::Request const & ) { return Web::Answer{ .body = std::string( 1'000'000, 'x' ) }; },
      events, limits );
   std::vector< std::unique_ptr< HttpClient > > slow;
   during( [&] {
      for ( int i = 0; i != 20; ++i ) {
         slow.push_back( std::make_unique< HttpClient >( path() ) );
         slow.back()->send( "GET / HTTP/1.1\r\nHost: page\r\n\r\n" );
      }
   } );
   EXPECT_EQ( get(), "HTTP/1.1 503 Service Unavailable" );
   slow.clear();
   bool isServed = false;
   for ( int i = 0; i != 10 && !isServed; ++i ) {
      isServed = get() == "HTTP/1.1 200 OK";
   }
   EXPECT_TRUE( isServed );
}

}  // namespace
