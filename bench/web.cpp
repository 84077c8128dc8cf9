// What it costs that someone looks on, at 100,000 rules that the hardware has.
//
// `firstView`: all that a browser asks for when it opens the page: the page's files, the picture,
// and the first event.
//
// `changeSeen/VIEW`: another client changes a row; until a page that reads its view after each
// event has been given the change, while 1,000 other changes come each second.
//
// `tenPages`: one flow changed until its rule can be read (as in `live`), with ten pages open that
// read their views after each event; `vs_none` is the time against that without the page's process,
// in turns.

#include <atomic>
#include <thread>

#include "ServedSwitch.h"
#include "live/HttpClient.h"

namespace {

using Bench::RedisClient;
using Bench::timed;
using Live::HttpClient;

constexpr std::uint32_t fragments = 100;
constexpr char name[] = "leaf1";
/** What a page rests behind a reading, as its script does. */
constexpr auto rest = std::chrono::milliseconds( 30 );

std::string key( std::string const & path ) {
   return Bench::keyOf( name, path );
}
std::string answerOf( std::string const & rule ) {
   return key( "pinflow/pfHwStatusDir/dyninputstatus/qor/flowStats/" + rule );
}
std::string nativeVlanOf( int port ) {
   return key( "bridging/switchIntfConfig/switchIntfConfig/Ethernet" + std::to_string( port ) );
}

class Watched {
 public:
   Watched() : served_( server_, name, fragments ) {
      std::vector< std::string > answers;
      for ( std::uint32_t fragment = 0; fragment != fragments; ++fragment ) {
         for ( int flow = 0; flow != Bench::flowsPerFragment; ++flow ) {
            for ( int intf = 1; intf <= Bench::interfacesPerSet; ++intf ) {
               answers.push_back(
                  Bench::formatted( { "HSET",
                                      answerOf( "fragment" + std::to_string( fragment ) + "_flow" +
                                                std::to_string( flow ) + "-from-Et" +
                                                std::to_string( intf ) + "-to-any" ),
                                      "status", "1" } ) );
            }
         }
      }
      RedisClient( server_.address() ).pipeline( answers, 10'000 );
   }

   Live::RedisServer & server() { return server_; }
   Bench::Served & served() { return served_; }
   std::string socket() const { return folder_.path() / "page"; }
   void open() {
      page_ = std::make_unique< Live::Process >(
         std::vector< std::string >{ QORCLIENT_PROGRAM, "web", "--redis", server_.address(),
                                     "--switch", name, "--listen", "unix:" + socket() },
         folder_.path() / "output" );
      if ( !Live::eventually(
              [&] {
                 return metrics().find( "state_followed{switch=\"leaf1\"} 1" ) != std::string::npos;
              },
              60 ) ) {
         std::abort();
      }
   }
   void close() { page_.reset(); }
   /** The resident memory of the page's process, in MB. */
   double memory() const { return Bench::residentBytes( page_->pid() ) / 1e6; }

 private:
   std::string metrics() const { return Live::httpGet( socket(), "/metrics" ); }

   Live::RedisServer server_{ false };
   Bench::Served served_;
   Live::Folder folder_;
   std::unique_ptr< Live::Process > page_;
};

/** A page that is open: it hears events. */
class Page {
 public:
   explicit Page( std::string const & socket ) : socket_( socket ), stream_( socket ) {
      stream_.send( "GET /events HTTP/1.1\r\nHost: page\r\n\r\n" );
      stream_.readTo( "event: situation" );
   }
   bool hears( double seconds ) {
      bool const heard =
         stream_.readTo( "event: changes", seconds ).find( "event: changes" ) != std::string::npos;
      stream_.forget();
      return heard;
   }
   /** A page to which nothing is told is no page that has seen it. */
   void hear() {
      if ( !hears( 5 ) ) {
         Bench::wrong( "the page is told of no change" );
      }
   }
   std::string read( std::string const & view ) const {
      std::string answer = Live::httpGet( socket_, view );
      if ( !answer.starts_with( "HTTP/1.1 200" ) ) {
         Bench::wrong( "the page does not answer" );
      }
      return answer;
   }

 private:
   std::string socket_;
   HttpClient stream_;
};

/** Work beside, to this object's end. */
class Beside {
 public:
   explicit Beside( std::function< void( std::atomic< bool > const & ) > work )
      : thread_( [this, work = std::move( work )] { work( isOver_ ); } ) {}
   ~Beside() {
      isOver_ = true;
      thread_.join();
   }
   Beside( Beside const & ) = delete;
   Beside & operator=( Beside const & ) = delete;

 private:
   std::atomic< bool > isOver_ = false;
   std::thread thread_;
};

/** 1,000 changes a second, of answers and of ports, ten at a time. */
void changeAlways( std::string const & address, std::atomic< bool > const & isOver ) {
   RedisClient client( address );
   auto next = std::chrono::steady_clock::now();
   for ( int i = 0; !isOver; ++i ) {
      std::vector< std::string > changes;
      for ( int k = 0; k != 5; ++k ) {
         std::string const rule =
            "fragment50_flow" + std::to_string( ( 5 * i + k ) % 100 ) + "-from-Et1-to-any";
         changes.push_back( Bench::formatted(
            { "HSET", answerOf( rule ), "status", i / 20 % 2 == 0 ? "0" : "1" } ) );
         changes.push_back( Bench::formatted( { "HSET", nativeVlanOf( 2 + k ), "trunkNativeVlan",
                                                std::to_string( 2 + i % 1000 ) } ) );
      }
      client.pipeline( changes, changes.size() );
      next += std::chrono::milliseconds( 10 );
      std::this_thread::sleep_until( next );
   }
}

void firstView( benchmark::State & state ) {
   Watched watched;
   watched.open();
   std::vector< double > seconds;
   for ( auto _ : state ) {
      seconds.push_back( timed( [&] {
         // One that nobody has asked for yet.
         std::string const picture = "/api/picture?first=0&n=" + std::to_string( seconds.size() );
         for ( std::string const & file : std::initializer_list< std::string >{
                  "/", "/style.css", "/app.js", "/dom.js", "/api.js", "/lists.js", "/picture.js",
                  "/ways.js", "/chain.js", "/frame.js", "/changes.js", "/processes.js",
                  picture } ) {
            if ( !Live::httpGet( watched.socket(), file ).starts_with( "HTTP/1.1 200" ) ) {
               std::abort();
            }
         }
         Page const page( watched.socket() );
      } ) );
      state.SetIterationTime( seconds.back() );
   }
   Page const page( watched.socket() );
   for ( auto const & [view, path] : { std::pair( "rules_ms", "/api/rules?first=" ),
                                       { "search_ms", "/api/rules?search=FLOW77-&first=" } } ) {
      std::vector< double > each;
      for ( int i = 0; i != 10; ++i ) {
         // Another page each time: none that is known already.
         std::string const what = path + std::to_string( i );
         each.push_back( timed( [&] { page.read( what ); } ) );
      }
      state.counters[view] = 1e3 * Bench::median( each );
   }
   state.counters["median_ms"] = 1e3 * Bench::median( seconds );
   state.counters["longest_ms"] = 1e3 * Bench::part( seconds, 1 );
   state.counters["resident_mb"] = watched.memory();
}
BENCHMARK( firstView )->UseManualTime()->Unit( benchmark::kMillisecond )->Iterations( 30 );

/** Makes changes of which `change( i )` is the i-th and `shown( i )` what its view then has. */
void seenIn( benchmark::State & state, std::string const & view,
             std::function< std::string( int ) > const & change,
             std::function< std::string( int ) > const & shown, Watched & watched ) {
   Page page( watched.socket() );
   RedisClient client( watched.server().address() );
   std::string const address = watched.server().address();
   Beside const others(
      [address]( std::atomic< bool > const & isOver ) { changeAlways( address, isOver ); } );
   std::this_thread::sleep_for( std::chrono::milliseconds( 300 ) );
   std::vector< double > seconds;
   int i = 0;
   for ( auto _ : state ) {
      ++i;
      seconds.push_back( timed( [&] {
         client.send( change( i ) );
         client.next();
         for ( page.hear(); page.read( view ).find( shown( i ) ) == std::string::npos;
               page.hear() ) {
            std::this_thread::sleep_for( rest );
         }
      } ) );
      state.SetIterationTime( seconds.back() );
      std::this_thread::sleep_for( std::chrono::milliseconds( 7 * ( i % 10 ) ) );
   }
   state.counters["median_ms"] = 1e3 * Bench::median( seconds );
   state.counters["p99_ms"] = 1e3 * Bench::part( seconds, 0.99 );
}

void changeSeen( benchmark::State & state, bool isPicture ) {
   Watched watched;
   watched.open();
   if ( isPicture ) {
      auto const vlan = []( int i ) { return std::to_string( 3000 + i ); };
      seenIn(
         state, "/api/picture",
         [&]( int i ) {
            return Bench::formatted( { "HSET", nativeVlanOf( 1 ), "trunkNativeVlan", vlan( i ) } );
         },
         [&]( int i ) { return R"("name":"Ethernet1","short":"Et1","native":)" + vlan( i ); },
         watched );
      return;
   }
   std::string const rules = Live::httpGet( watched.socket(), "/api/rules" );
   std::string const member = R"("rule":")";
   std::size_t const at = rules.find( member ) + member.size();
   std::string const rule = rules.substr( at, rules.find( '"', at ) - at );
   seenIn(
      state, "/api/rules",
      [&]( int i ) {
         return Bench::formatted( { "HSET", answerOf( rule ), "status", i % 2 ? "0" : "1" } );
      },
      [&]( int i ) {
         std::string const hardware = i % 2 ? "pending" : "programmed";
         std::string const row = rules.substr( at, rules.find( R"("hardware":")", at ) - at );
         return row + R"("hardware":")" + hardware;
      },
      watched );
}
BENCHMARK_CAPTURE( changeSeen, picture, true )
   ->UseManualTime()
   ->Unit( benchmark::kMillisecond )
   ->Iterations( 100 );
BENCHMARK_CAPTURE( changeSeen, rules, false )
   ->UseManualTime()
   ->Unit( benchmark::kMillisecond )
   ->Iterations( 100 );

void tenPages( benchmark::State & state ) {
   constexpr int changesEach = 100;
   Watched watched;
   Bench::Onlooker onlooker( watched.server(), { &watched.served() } );
   RedisClient writer( watched.server().address() );
   auto const changes = [&]( std::vector< double > & seconds ) {
      for ( int i = 0; i != changesEach; ++i ) {
         seconds.push_back( onlooker.change( writer, { &watched.served() } ) );
         std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
      }
   };
   std::vector< double > alone;
   std::vector< double > seen;
   for ( auto _ : state ) {
      changes( alone );
      watched.open();
      {
         std::vector< std::unique_ptr< Beside > > pages;
         for ( char const * view : { "picture", "picture", "flows", "flows", "rules", "rules",
                                     "hosts", "ports", "vnis", "rules?state=rejected" } ) {
            pages.push_back(
               std::make_unique< Beside >( [&watched, path = std::string( "/api/" ) + view](
                                              std::atomic< bool > const & isOver ) {
                  for ( Page page( watched.socket() ); !isOver; ) {
                     if ( page.hears( 0.1 ) ) {
                        page.read( path );
                        std::this_thread::sleep_for( rest );
                     }
                  }
               } ) );
         }
         std::this_thread::sleep_for( std::chrono::milliseconds( 300 ) );
         changes( seen );
      }
      watched.close();
      state.SetIterationTime( Bench::median( seen ) );
   }
   state.counters["median_us"] = 1e6 * Bench::median( seen );
   state.counters["p99_us"] = 1e6 * Bench::part( seen, 0.99 );
   state.counters["vs_none"] = Bench::median( seen ) / Bench::median( alone );
}
BENCHMARK( tenPages )->UseManualTime()->Unit( benchmark::kMicrosecond )->Iterations( 5 );

}  // namespace

int main( int argc, char ** argv ) {
   Bench::runBenchmarks( argc, argv );
}
