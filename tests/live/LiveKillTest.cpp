#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "live/LiveSwitch.h"
#include "live/PolicyDocuments.h"
#include "platform/corestore/ValueText.h"
#include "scenario/Switch.h"
#include "scenarios/Documents.h"

/*
 * Agent, server, simulated hardware and controller are killed while policy comes and goes. Whatever
 * was half done: when all is settled the state is that of a run that nobody disturbed, and no flow
 * entry that stands there throughout was ever deleted, by the server's own log of writes.
 *
 * QORCLIENT_LIVE_KILLS=N kills N times (500), and QORCLIENT_LIVE_SEED=N chooses other documents,
 * victims and instants.
 */

namespace {

using Live::eventually;
using Live::LiveSwitch;
using Live::Process;

constexpr char flowTable[] = "pinflow/dyninput/qor";

std::uint64_t numberOf( char const * variable, std::uint64_t otherwise ) {
   char const * const text = std::getenv( variable );
   return text ? std::strtoull( text, nullptr, 10 ) : otherwise;
}

constexpr char allowedVlans[] = "bridging/input/dynvlan/allowedvlan/qor";

Kel::Value::Object * objectAt( Kel::Value & root, std::initializer_list< std::string_view > path ) {
   auto * object = root.as< Kel::Value::Object >();
   for ( std::string_view const name : path ) {
      auto const found =
         object ? std::ranges::find( *object, name, &Kel::Value::Object::value_type::first )
                : Kel::Value::Object::iterator();
      object =
         object && found != object->end() ? found->second.as< Kel::Value::Object >() : nullptr;
   }
   return object;
}

/**
 * Takes out of a state the VLANs on interfaces that the other one doesn't have, and puts the rest
 * in order. An interface that leaves while there is no agent keeps its list by design.
 */
Kel::Value withCommonVlans( Kel::Value state, Kel::Value other ) {
   auto const vlansOf = []( Kel::Value const & list ) {
      std::set< std::string > vlans;
      std::istringstream text( *list.as< std::string >() );
      for ( std::string vlan; std::getline( text, vlan, ',' ); ) {
         vlans.insert( vlan );
      }
      return vlans;
   };
   auto * const lists = objectAt( state, { allowedVlans, "vlans" } );
   auto * const others = objectAt( other, { allowedVlans, "vlans" } );
   std::set< std::string > kept;
   Kel::Value::Object none;
   for ( auto & [intf, list] : lists ? *lists : none ) {
      Kel::Value const * const wanted =
         others ? other.member( allowedVlans )->member( "vlans" )->member( intf ) : nullptr;
      std::string common;
      for ( std::string const & vlan : vlansOf( list ) ) {
         if ( wanted && vlansOf( *wanted ).contains( vlan ) ) {
            common += ( common.empty() ? "" : "," ) + vlan;
         }
      }
      list = common;
      if ( wanted ) {
         kept.insert( intf );
      }
   }
   for ( auto * const members :
         { lists, objectAt( state, { allowedVlans, "trunkGroup", "qor", "intfList" } ) } ) {
      if ( members ) {
         std::erase_if( *members,
                        [&kept]( auto const & member ) { return !kept.contains( member.first ); } );
      }
   }
   return state;
}

/** Leaves out a fragment's notes of VLANs, which tell of rules that have been, too. */
Kel::Value withoutNotes( Kel::Value state ) {
   if ( auto * const fragments = objectAt( state, { "qorclient/status", "policyFragmentInfo" } ) ) {
      for ( auto & [name, fragment] : *fragments ) {
         std::erase_if( *fragment.as< Kel::Value::Object >(),
                        []( auto const & member ) { return member.first == "vlanForVni"; } );
      }
   }
   return state;
}

std::string differences( Kel::Value undisturbed, Kel::Value state ) {
   undisturbed = withoutNotes( undisturbed );
   state = withoutNotes( state );
   return Scenarios::differences( withCommonVlans( undisturbed, state ),
                                  withCommonVlans( state, undisturbed ) );
}

/** The same documents in one process, with the state in memory. */
class Undisturbed {
 public:
   Undisturbed()
      : device_( { .observer =
                      [this]( Scenarios::OutputChange const & change ) {
                         if ( change.deleted && change.path == flowTable ) {
                            deleted_.insert( change.key.value_or( "" ) );
                         }
                      },
                   .simulated = Scenarios::Simulated::Settings{ .vlanPool = { 1000, 1999 } } } ) {
      patch( Live::PolicyDocuments::device() );
   }

   void patch( Kel::Value const & document ) {
      std::set< std::string > const before = entries();
      deleted_.clear();
      device_.patch( document );
      // What a start takes away, it takes away here, too.
      device_.restart();
      state_ = device_.dump();
      throughout_ = before;
      std::erase_if( throughout_,
                     [this]( auto const & entry ) { return deleted_.contains( entry ); } );
   }
   Kel::Value const & state() const { return state_; }
   /** The flow entries that stood all the time while the last document was applied. */
   std::set< std::string > const & throughout() const { return throughout_; }

 private:
   std::set< std::string > entries() const {
      std::set< std::string > names;
      Kel::Value const * const table = state_.member( flowTable );
      Kel::Value const * const entries = table ? table->member( "flowEntry" ) : nullptr;
      if ( entries ) {
         for ( auto const & member : *entries->as< Kel::Value::Object >() ) {
            names.insert( member.first );
         }
      }
      return names;
   }

   std::set< std::string > deleted_;
   std::set< std::string > throughout_;
   Kel::Value state_;
   Scenarios::Switch device_;
};

class LiveKillTest : public testing::Test {
 protected:
   static void SetUpTestSuite() { setenv( "FLASHLOG_DISABLE", "1", 1 ); }
   void SetUp() override {
      if ( !Live::RedisServer::isThere() ) {
         GTEST_SKIP() << "redis-server is not there";
      }
      begin();
   }

   std::uint64_t below( std::uint64_t limit ) { return random() % limit; }

   void begin() {
      device.init();
      agent = device.serve();
      hardware = device.simulate();
      apply( Live::PolicyDocuments::device() );
   }
   /** As a controller does it: until it is told that it is done. */
   void apply( Kel::Value const & document ) {
      ASSERT_TRUE(
         eventually( [&] { return device.apply( Corestore::jsonSorted( document ) ) == 0; } ) )
         << device.said();
   }
   void killOne( std::unique_ptr< Process > & controller, Kel::Value const & document ) {
      switch ( below( 8 ) ) {
         case 0:
            controller = nullptr;
            controller = device.startApply( Corestore::jsonSorted( document ) );
            break;
         case 1:
         case 2:
            device.server().kill();
            device.server().start();
            break;
         case 3:
         case 4:
            hardware = nullptr;
            hardware = device.simulate();
            break;
         default:
            agent = nullptr;
            agent = device.serve();
      }
   }
   /** The server comes back without its data, and someone sets all up again. */
   void loseAll() {
      noteDeletions();
      device.server().lose();
      device.server().start();
      agent = nullptr;
      hardware = nullptr;
      begin();
   }
   /** What an agent was not there to take away is found, and taken away. */
   void auditIsClean() {
      if ( device.run( { "audit", "--remove", "--yes" } ) == 0 ) {
         return;
      }
      std::istringstream said( device.said() );
      for ( std::string line; std::getline( said, line ); ) {
         EXPECT_FALSE( line.starts_with( "missing" ) || line.starts_with( "skipped" ) ) << line;
         EXPECT_TRUE( !line.starts_with( "unwanted" ) || line.find( allowedVlans ) != line.npos )
            << line;
      }
      EXPECT_TRUE( eventually( [&] { return device.run( { "audit" } ) == 0; }, 5 ) )
         << device.said();
   }
   void noteDeletions() {
      std::set< std::string > gone;
      for ( auto const & words : device.server().written() ) {
         if ( words.front() == "MULTI" ) {
            gone.clear();
         } else if ( words.front() == "DEL" ) {
            gone.insert( words.begin() + 1, words.end() );
         } else if ( words.front() == "EXEC" ) {
            deleted.merge( gone );
         } else if ( words.size() > 1 ) {
            // Written anew in the same step.
            gone.erase( words[1] );
         }
      }
   }

   std::uint64_t const seed = numberOf( "QORCLIENT_LIVE_SEED", 1 );
   std::mt19937_64 random{ seed };
   LiveSwitch device;
   std::unique_ptr< Process > agent;
   std::unique_ptr< Process > hardware;
   std::set< std::string > deleted;
};

TEST_F( LiveKillTest, EndsAsIfNobodyHadKilledAnything ) {
   constexpr std::uint64_t killsADocument = 5;
   constexpr std::uint64_t losesOneIn = 16;
   std::uint64_t const kills = numberOf( "QORCLIENT_LIVE_KILLS", 500 );
   Live::PolicyDocuments documents( seed );
   std::optional< Undisturbed > undisturbed( std::in_place );
   std::uint64_t done = 0;
   for ( ; done < kills; done += killsADocument ) {
      RecordProperty( "kills", std::to_string( done ) );
      Kel::Value const document = documents.next();
      undisturbed->patch( document );
      deleted.clear();
      auto controller = device.startApply( Corestore::jsonSorted( document ) );
      for ( std::uint64_t i = 0; i != killsADocument - 1; ++i ) {
         std::this_thread::sleep_for( std::chrono::microseconds( below( 20'000 ) ) );
         killOne( controller, document );
      }
      if ( below( losesOneIn ) == 0 ) {
         loseAll();
         // One switch stands at a time.
         undisturbed.reset();
         undisturbed.emplace();
         undisturbed->patch( document );
      }
      controller->ended();
      apply( document );
      agent = nullptr;
      agent = device.serve();
      std::string different;
      ASSERT_TRUE( eventually(
         [&] {
            std::string const dump = device.dump();
            different = dump.empty()
                           ? device.said()
                           : differences( undisturbed->state(), Corestore::parseJson( dump ) );
            return different.empty();
         },
         10 ) )
         << different << "\nseed " << seed << ", after " << done + killsADocument << " kills\n"
         << agent->output();
      noteDeletions();
      auditIsClean();
      for ( std::string const & entry : undisturbed->throughout() ) {
         EXPECT_FALSE( deleted.contains( device.key( flowTable + ( "/flowEntry/" + entry ) ) ) )
            << entry << "\nseed " << seed << ", after " << done + killsADocument << " kills";
      }
      ASSERT_FALSE( HasFailure() );
   }
   RecordProperty( "kills", std::to_string( done ) );
}

}  // namespace
