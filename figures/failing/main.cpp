// Failing system calls and allocations: figure_failing agent|driver calls|allocations [MOST]. A
// live run of the program is repeated, and in each one another of its calls, or allocations, fails
// once: the program starts on what stands, another client changes the policy, the program is told
// to end. Whatever it does, it doesn't crash and says in a line why it ends; and a second one,
// unharmed, brings the state, and the bridge's flows, to where nobody had disturbed it. With more
// faults than MOST those are taken that lie evenly.

#include <signal.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

#include "failing/Faults.h"
#include "live/OpenVSwitch.h"
#include "live/RedisServer.h"

namespace {

using Live::Process;
using Words = std::vector< std::string >;

constexpr char const * bridge = "br0";

/** Two policies, each with a flow that the other hasn't, beside one that both have. */
std::string policyOf( bool isSecond ) {
   auto const flow = []( bool isThere, char const * address ) {
      return isThere ? R"({ "interceptPoint": 1, "serviceIntfKey": "near", "match": { "vni": 20100,
                          "srcMac": "02:00:00:00:00:0)" +
                          std::string( address ) + R"(" }, "action": { "vni": 10100 } })"
                     : std::string( "null" );
   };
   return R"({ "pinflow/pfHwStatusDir/dyninputstatus/qor": { "supported": true },
      "interface/status/eth/vxlan": { "vtiStatus": { "Vxlan1": { "addr": "192.0.2.1" } } },
      "mgmt/controller/status": { "enabled": true,
         "leaderServiceStatusDir": { "service": { "Qor": { "enabled": true } } } },
      "qor/version1/policy": { "policy": { "policyFragment": { "web": {
         "originalVni": 10100, "serviceVni": 20100, "serviceIntfSet": {
            "near": { "intf": { "Ethernet1": true, "Ethernet2": true } },
            "far": { "intf": { "Ethernet3": true } } },
         "flow": { "back": { "interceptPoint": 1, "serviceIntfKey": "far",
                             "match": { "vni": 10100 }, "action": { "vni": 20100 } },
            "first": )" +
          flow( !isSecond, "1" ) + R"(, "second": )" + flow( isSecond, "2" ) + " } } } } } }";
}

enum class Program { agent, driver };

/** The switch around the program that is tried. */
class Around {
 public:
   explicit Around( Program tried ) : tried_( tried ) {
      if ( tried == Program::driver ) {
         openVSwitch_.emplace();
         openVSwitch_->addBridge( bridge );
         for ( char const * port : { "Ethernet1", "Ethernet2", "Ethernet3" } ) {
            openVSwitch_->addInternalPort( bridge, port );
         }
      }
      std::string said;
      run( { "init" }, said );
      apply( false );
      other_ = tried == Program::agent
                  ? start( {}, QORSWITCH_PROGRAM, { "simulate", "--vlan-pool", "1000-1999" } )
                  : start( {}, QORCLIENT_PROGRAM, { "serve" } );
   }

   std::unique_ptr< Process > startTried( Words const & prefix ) {
      return tried_ == Program::agent
                ? start( prefix, QORCLIENT_PROGRAM, { "serve" } )
                : start( prefix, QORSWITCH_PROGRAM,
                         { "openvswitch", "--bridge", bridge, "--vlan-pool", "1000-1999",
                           "--run-folder", openVSwitch_->folder() } );
   }
   void apply( bool isSecond ) {
      std::string const file = folder_.path() / "policy.json";
      std::ofstream( file, std::ios::trunc ) << policyOf( isSecond );
      // As a controller does it: until it is told that it is done.
      std::string said;
      if ( !Live::eventually( [&] { return run( { "apply", file }, said ) == 0; } ) ) {
         std::fprintf( stderr, "the policy is not taken: %s\n", said.c_str() );
      }
   }
   /** All that stands, on the bridge too. */
   std::string state() {
      std::string state;
      run( { "get" }, state );
      if ( openVSwitch_ ) {
         for ( std::string const & flow : openVSwitch_->flows( bridge ) ) {
            state += flow + "\n";
         }
      }
      return state;
   }
   std::filesystem::path const & folder() const { return folder_.path(); }

 private:
   std::unique_ptr< Process > start( Words words, std::string const & program,
                                     Words const & command ) {
      words.push_back( program );
      words.insert( words.end(), command.begin(), command.end() );
      words.insert( words.end(), { "--switch", "leaf1", "--redis", server_.address() } );
      std::filesystem::path const output =
         folder_.path() / ( "output" + std::to_string( ++started_ ) );
      return std::make_unique< Process >( words, output );
   }
   /** Runs a command to its end, and yields its exit code, if it has one, and what it has said. */
   std::optional< int > run( Words const & command, std::string & said ) {
      auto const process = start( {}, QORCLIENT_PROGRAM, command );
      auto const code = process->ended();
      said = process->output();
      std::filesystem::remove( folder_.path() / ( "output" + std::to_string( started_ ) ) );
      return code;
   }

   Program const tried_;
   Live::Folder folder_;
   Live::RedisServer server_{ false };
   std::optional< Live::OpenVSwitch > openVSwitch_;
   std::unique_ptr< Process > other_;
   int started_ = 0;
};

std::string lastLine( std::string text ) {
   while ( text.ends_with( '\n' ) ) {
      text.pop_back();
   }
   return text.substr( text.rfind( '\n' ) + 1 );
}

class Trials {
 public:
   explicit Trials( Program tried ) : around_( tried ) {
      // Each policy behind the other one, as it is when nobody disturbs and a start has seen it.
      for ( bool const isSecond : { true, false, true, false } ) {
         auto program = around_.startTried( {} );
         around_.apply( isSecond );
         settled();
         end( *program );
         program = around_.startTried( {} );
         wanted_[isSecond] = settled();
         end( *program );
      }
   }

   /** A run that nothing disturbs, with something before the program. */
   void count( Words const & prefix ) {
      auto const program = around_.startTried( prefix );
      change();
      Live::eventually( [this] { return isAsWanted(); } );
      end( *program );
   }

   void run( Failing::Fault const & fault ) {
      std::filesystem::remove( told() );
      auto program = around_.startTried( fault.prefix );
      change();
      bool isRight = false;
      Live::eventually( [&] { return ( isRight = isAsWanted() ) || !program->isRunning(); }, 8 );
      bool const endedItself = !program->isRunning();
      std::string const differs = isRight || endedItself ? "" : difference();
      std::optional< int > const code = endedItself ? program->ended( 0 ) : end( *program );
      std::string const said = lastLine( program->output() );
      bool const isSignal = !code || *code >= 128;
      // One that ends by itself says why, and that it is no success.
      bool const isMute = code != 0 && ( said.empty() || said.find( " info " ) != said.npos );
      if ( isSignal || isMute || ( endedItself && code == 0 ) ) {
         complain( fault,
                   "ended with " + ( code ? std::to_string( *code ) : "a kill" ) + ": " + said );
      } else {
         // The tracer may end behind the program.
         bool const hasFailed =
            Live::eventually( [this] { return Failing::hasFailed( told() ); }, 1 );
         ++( !hasFailed ? missed_ : endedItself ? ended_ : isRight ? wentOn_ : waited_ );
         if ( !endedItself && !isRight ) {
            std::fprintf( stderr, "%s: waits: %s; %s\n", fault.name.c_str(), said.c_str(),
                          differs.c_str() );
         }
      }
      program = around_.startTried( {} );
      if ( !Live::eventually( [this] { return isAsWanted(); }, 20 ) ) {
         complain( fault, "the state is another one: " + difference() );
      }
      end( *program );
      ++all_;
   }

   bool tell( char const * what ) const {
      std::printf( "| %s | %llu | %llu | %llu | %llu | %llu | %llu |\n", what, all_, wentOn_,
                   ended_, waited_, missed_, wrong_ );
      return wrong_ == 0;
   }
   std::filesystem::path const & folder() const { return around_.folder(); }
   /** Takes that a run has come to its fault. */
   std::filesystem::path told() const { return folder() / "told"; }

 private:
   void change() {
      isSecond_ = !isSecond_;
      around_.apply( isSecond_ );
   }
   bool isAsWanted() { return around_.state() == wanted_[isSecond_]; }
   /** The first line that is another one. */
   std::string difference() {
      std::istringstream wanted( wanted_[isSecond_] );
      std::istringstream now( around_.state() );
      std::string want;
      std::string is;
      while ( std::getline( wanted, want ) && std::getline( now, is ) && want == is ) {
      }
      return is + " in place of " + want;
   }
   /** The state when it changes no more. */
   std::string settled() {
      std::string last;
      int same = 0;
      Live::eventually( [&] {
         std::string now = around_.state();
         same = now == last ? same + 1 : 0;
         last = std::move( now );
         return same == 20;
      } );
      return last;
   }
   /** Told to; nothing when it doesn't. */
   static std::optional< int > end( Process & program ) {
      program.signal( SIGTERM );
      auto const code = program.ended( 12 );
      if ( !code ) {
         program.kill();
      }
      return code;
   }
   void complain( Failing::Fault const & fault, std::string const & what ) {
      std::fprintf( stderr, "%s: %s\n", fault.name.c_str(), what.c_str() );
      ++wrong_;
   }

   Around around_;
   std::map< bool, std::string > wanted_;
   bool isSecond_ = false;
   unsigned long long all_ = 0;
   unsigned long long wentOn_ = 0;
   unsigned long long ended_ = 0;
   unsigned long long waited_ = 0;
   unsigned long long missed_ = 0;
   unsigned long long wrong_ = 0;
};

}  // namespace

int main( int argc, char ** argv ) {
   std::string const program = argc > 2 ? argv[1] : "";
   std::string const kind = argc > 2 ? argv[2] : "";
   if ( ( program != "agent" && program != "driver" ) ||
        ( kind != "calls" && kind != "allocations" ) ) {
      std::fputs( "usage: figure_failing agent|driver calls|allocations [MOST]\n", stderr );
      return 2;
   }
   std::string missing = Live::RedisServer::isThere() ? "" : "there is no redis-server";
   if ( program == "driver" && missing.empty() ) {
      missing = Live::OpenVSwitch::missing();
   }
   if ( kind == "calls" && !Live::hasProgram( "strace" ) ) {
      missing = "there is no strace";
   }
   if ( !missing.empty() ) {
      std::fprintf( stderr, "skipped: %s\n", missing.c_str() );
      return 77;
   }
   std::size_t const most = argc > 3 ? std::strtoull( argv[3], nullptr, 10 ) : ~std::size_t{ 0 };
   Trials trials( program == "agent" ? Program::agent : Program::driver );
   bool const isOfCalls = kind == "calls";
   std::filesystem::path const counted = trials.folder() / "counted";
   trials.count( isOfCalls ? Failing::countingCalls( counted )
                           : Failing::countingAllocations( counted ) );
   auto const faults = isOfCalls ? Failing::failingCalls( counted, trials.told() )
                                 : Failing::failingAllocations( counted, trials.told() );
   std::size_t const taken = std::min( most, faults.size() );
   for ( std::size_t n = 0; n != taken; ++n ) {
      trials.run( faults[n * faults.size() / taken] );
   }
   std::printf( "Of %zu %s of the %s:\n\n", faults.size(), kind.c_str(), program.c_str() );
   std::puts(
      "| failed | runs | went on | ended with a line | waited until the end | did not come to it "
      "| wrong |" );
   std::puts( "| --- | --- | --- | --- | --- | --- | --- |" );
   return trials.tell( ( program + "'s " + kind ).c_str() ) && !faults.empty() ? 0 : 1;
}
