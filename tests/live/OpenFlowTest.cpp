#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "live/OpenVSwitch.h"
#include "switch/openflow/Connection.h"

namespace Live {

namespace {

using namespace OpenFlow;

/** A bridge, and a connection to it that notes what it hears. */
class OpenFlowTest : public testing::Test {
 protected:
   void SetUp() override {
      if ( std::string const why = OpenVSwitch::missing(); !why.empty() ) {
         GTEST_SKIP() << why;
      }
      ovs_ = std::make_unique< OpenVSwitch >();
      ovs_->addBridge( bridge_ );
      connect();
      ASSERT_TRUE( until( [this] { return connection_->isUp(); } ) ) << reason_;
   }

   void connect() {
      Connection::Events events;
      events.up = [this] { ++ups_; };
      events.down = [this]( std::string const & reason ) {
         ++downs_;
         reason_ = reason;
      };
      events.portChanged = [this]( PortChange change, Port const & port ) {
         ports_.emplace_back( change, port );
      };
      events.flowChanged = [this]( FlowUpdate const & update ) { updates_.push_back( update ); };
      events.changesMissed = [this] { ++missed_; };
      connection_ =
         std::make_unique< Connection >( scheduler_, ovs_->management( bridge_ ), events );
   }

   bool until( std::function< bool() > const & condition, double seconds = 20 ) {
      double const end = scheduler_->now() + seconds;
      scheduler_->run( [&] {
         // Wakes it up for that.
         tick_.emplace( scheduler_ );
         return condition() || scheduler_->now() > end;
      } );
      return condition();
   }

   std::vector< Refusal > program( std::vector< FlowChange > changes ) {
      std::optional< std::vector< Refusal > > answer;
      connection_->program( std::move( changes ),
                            [&]( std::vector< Refusal > refusals ) { answer = refusals; } );
      EXPECT_TRUE( until( [&] { return answer.has_value(); } ) ) << reason_;
      return answer.value_or( std::vector< Refusal >{ { 999, {} } } );
   }

   std::vector< Flow > flows( std::uint8_t table = allTables ) {
      std::vector< Flow > all;
      bool done = false;
      connection_->readFlows(
         table,
         [&]( std::vector< Flow > chunk ) { all.insert( all.end(), chunk.begin(), chunk.end() ); },
         [&] { done = true; } );
      EXPECT_TRUE( until( [&] { return done; } ) ) << reason_;
      return all;
   }

   /** A timer that does nothing but end the scheduler's wait. */
   class Tick : private Orb::Timer {
    public:
      explicit Tick( Kel::Ptr< Orb::TaskScheduler > const & scheduler ) : scheduler_( scheduler ) {
         scheduler_->arm( *this, scheduler_->now() + 0.02 );
      }
      ~Tick() override { scheduler_->disarm( *this ); }
      Tick( Tick const & ) = delete;
      Tick & operator=( Tick const & ) = delete;

    private:
      void due() override {}
      Kel::Ptr< Orb::TaskScheduler > scheduler_;
   };

   Kel::Ptr< Orb::TaskScheduler > scheduler_{
      new Orb::TaskScheduler( std::make_unique< Orb::RealTime >() ) };
   std::optional< Tick > tick_;
   std::string const bridge_ = "br0";
   std::unique_ptr< OpenVSwitch > ovs_;
   std::unique_ptr< Connection > connection_;
   int ups_ = 0;
   int downs_ = 0;
   int missed_ = 0;
   std::string reason_;
   std::vector< std::pair< PortChange, Port > > ports_;
   std::vector< FlowUpdate > updates_;
};

Wirekit::EthAddr const mac = *Wirekit::EthAddr::parse( "02:00:00:00:00:01" );
Wirekit::EthAddr const macMask = *Wirekit::EthAddr::parse( "ff:ff:00:00:00:00" );

Flow flow( std::uint8_t table, std::uint16_t priority, Match match, Actions actions ) {
   return { .table = table,
            .priority = priority,
            .match = std::move( match ),
            .actions = std::move( actions ) };
}

/** Each kind of match, in a table of its own, and each kind of action in the next one. */
std::vector< Flow > everyKind() {
   auto const ip4 = []( char const * text ) { return *Wirekit::Ip4Addr::parse( text ); };
   auto const ip6 = []( char const * text ) { return *Wirekit::Ip6Addr::parse( text ); };
   Actions const drop;
   std::vector< Flow > flows;
   std::uint16_t priority = 0;
   for ( Match const & match : { Match(),
                                 Match().inPort( 5 ),
                                 Match().inPort( Ports::local ),
                                 Match().vlan( 100 ),
                                 Match().untagged(),
                                 Match().priorityTagged(),
                                 Match().ethSrc( mac ),
                                 Match().ethDst( mac, macMask ),
                                 Match().ethType( 0x88cc ),
                                 Match().arp(),
                                 Match().arp().number( Fields::arpSpa, 0x0a000001 ),
                                 Match().ip4().ip4Src( ip4( "10.0.0.1" ) ),
                                 Match().ip4().ip4Dst( ip4( "10.1.2.3" ), ip4( "255.0.255.0" ) ),
                                 Match()
                                    .ip6()
                                    .ip6Src( ip6( "2001:db8::1" ) )
                                    .ip6Dst( ip6( "2001:db8::" ), ip6( "ffff:ffff::" ) ),
                                 Match().ip4().ipProtocol( 1 ),
                                 Match().ip4().ipProtocol( 6 ).l4DstPort( 443 ),
                                 Match().ip6().ipProtocol( 17 ).l4SrcPort( 5000, 0xff00 ),
                                 Match().reg( 0, 0 ),
                                 Match().reg( 15, 0x30, 0xf0 ),
                                 Match().tunId( 0x123456 ),
                                 Match().number( Fields::vlanVid, 100, 0xfff ),
                                 Match()
                                    .tunId( 7 )
                                    .reg( 3, 1 )
                                    .inPort( 2 )
                                    .vlan( 9 )
                                    .ethDst( mac )
                                    .ethSrc( mac )
                                    .ip4() } ) {
      flows.push_back( flow( 1, ++priority, match, drop ) );
   }
   Learn const host = learnHost( 40, 10, 300, 0x77, 0 );
   Learn odd = learnNextHop( 41, 11, 0, 0, 4 );
   odd.hardTimeout = 60;
   odd.steps.push_back(
      { Learn::Step::To::load, std::uint64_t{ 0x12345 }, { Fields::reg( 5 ), 4, 20 } } );
   for ( Actions const & actions :
         { Actions(), Actions().pushVlan().setVlan( 100 ), Actions().setReg( 3, 1 ),
           Actions().setReg( 1, 0 ), Actions().setEthDst( mac ), Actions().setTunId( 0x123456 ),
           Actions().setTunDst( ip4( "192.0.2.1" ) ), Actions().outputPort( 5 ),
           Actions().outputPort( Ports::local ), Actions().outputInPort(), Actions().outputReg( 0 ),
           Actions().resubmit( 20 ),
           Actions().load( { Fields::reg( 0 ), 0, 16 }, 6 ).load( { Fields::reg( 2 ), 31, 1 }, 1 ),
           Actions().move( { Fields::loadInPort, 0, 16 }, { Fields::reg( 0 ), 0, 16 } ),
           Actions()
              .clone( Actions().setReg( 0, 3 ).clone( Actions().resubmit( 48 ) ) )
              .outputPort( 1 ),
           Actions().learn( host ), Actions().learn( host ).resubmit( 40 ).resubmit( 45 ) } ) {
      flows.push_back( flow( 2, ++priority, Match(), actions ) );
   }
   flows.push_back( flow( 2, ++priority, Match().vlan( 7 ), Actions().popVlan() ) );
   flows.push_back( flow( 2, ++priority, Match().tagged().reg( 0, 1 ), Actions().setVlan( 6 ) ) );
   flows.push_back( flow( 2, ++priority, Match().tagged(), Actions().popVlan() ) );
   flows.push_back( flow( 2, ++priority, Match().vlan( 7 ), Actions().setVlan( 200 ) ) );
   flows.push_back( flow( 2, ++priority, Match().arp(), Actions().learn( odd ) ) );
   flows.push_back( flow( 2, ++priority, Match().ip6(), Actions().decrementTtl() ) );
   Flow timed = flow( 3, 65535, Match(), Actions().outputPort( 2 ) );
   timed.cookie = 0xfedcba9876543210;
   timed.idleTimeout = 300;
   timed.hardTimeout = 65535;
   flows.push_back( timed );
   return flows;
}

std::vector< FlowChange > adding( std::vector< Flow > const & flows ) {
   std::vector< FlowChange > changes;
   for ( Flow const & each : flows ) {
      changes.push_back( { FlowChange::Kind::add, each } );
   }
   return changes;
}

auto const byTable = []( Flow const & a, Flow const & b ) {
   return std::pair( a.table, a.priority ) < std::pair( b.table, b.priority );
};

TEST_F( OpenFlowTest, WhatIsSentComesBackAsItWas ) {
   std::vector< Flow > const sent = everyKind();
   EXPECT_TRUE( program( adding( sent ) ).empty() );
   std::vector< Flow > read = flows();
   std::ranges::sort( read, byTable );
   ASSERT_EQ( read.size(), sent.size() );
   for ( std::size_t i = 0; i != sent.size(); ++i ) {
      EXPECT_EQ( read[i], sent[i] ) << read[i].text() << "\n" << sent[i].text();
      EXPECT_EQ( read[i].match.hash(), sent[i].match.hash() );
   }
   // The switch's own tool sees the same flows, in its own words.
   std::ofstream words( ovs_->folder() / "sent" );
   for ( Flow const & each : sent ) {
      words << each.text() << '\n';
   }
   words.close();
   EXPECT_EQ( ovs_->ofctl( "diff-flows", bridge_, { ovs_->folder() / "sent" } ), "" );
   std::set< std::string > printed;
   for ( std::string const & line : ovs_->flows( bridge_, 2 ) ) {
      printed.insert( line.substr( line.find( "actions=" ) + 8 ) );
   }
   for ( Flow const & each : sent ) {
      EXPECT_TRUE( each.table != 2 || printed.contains( each.actions.text() ) ) << each.text();
   }
}

TEST_F( OpenFlowTest, ManyFlowsGoInOneBundleAndAreReadBack ) {
   std::vector< Flow > many;
   for ( std::uint32_t i = 0; i != 10000; ++i ) {
      many.push_back( flow( 10, 20, Match().reg( 1, i ).vlan( 100 ),
                            Actions().setVlan( 200 ).setReg( 2, i ).resubmit( 20 ) ) );
   }
   EXPECT_TRUE( program( adding( many ) ).empty() );
   auto const hash = []( Flow const & each ) { return each.match.hash(); };
   std::vector< Flow > read = flows( 10 );
   std::ranges::sort( read, {}, hash );
   std::ranges::sort( many, {}, hash );
   EXPECT_TRUE( read == many );
   EXPECT_TRUE( flows( 11 ).empty() );

   // Others change and end what stands, by table, priority and match.
   std::vector< FlowChange > changes;
   for ( std::size_t i = 0; i != many.size(); ++i ) {
      many[i].actions = Actions().outputPort( 3 );
      changes.push_back(
         { i % 2 == 0 ? FlowChange::Kind::deleteStrict : FlowChange::Kind::modifyStrict,
           many[i] } );
   }
   changes.push_back( { FlowChange::Kind::modifyStrict, flow( 12, 1, Match(), Actions() ) } );
   changes.push_back( { FlowChange::Kind::deleteStrict, flow( 12, 2, Match(), Actions() ) } );
   EXPECT_TRUE( program( std::move( changes ) ).empty() );
   std::vector< std::string > const left = ovs_->flows( bridge_ );
   EXPECT_EQ( left.size(), many.size() / 2 );
   EXPECT_TRUE( std::ranges::all_of(
      left, []( std::string const & line ) { return line.ends_with( "actions=output:3" ); } ) );
}

TEST_F( OpenFlowTest, WhatIsRefusedIsToldAndTheRestStands ) {
   ovs_->limitTable( bridge_, 10, 2 );
   std::vector< FlowChange > changes;
   for ( std::uint16_t i = 1; i != 5; ++i ) {
      changes.push_back(
         { FlowChange::Kind::add, flow( 10, i, Match(), Actions().resubmit( 20 ) ) } );
   }
   // A tag is rewritten where the match says that there is one.
   changes.push_back( { FlowChange::Kind::add, flow( 11, 1, Match(), Actions().setVlan( 5 ) ) } );
   Actions endless;
   for ( int i = 0; i != 5000; ++i ) {
      endless.outputPort( 1 );
   }
   changes.push_back( { FlowChange::Kind::add, flow( 11, 2, Match(), endless ) } );
   changes.push_back( { FlowChange::Kind::add, flow( 11, 3, Match(), Actions() ) } );
   auto const refusals = program( changes );
   std::vector< std::string > texts;
   for ( Refusal const & refusal : refusals ) {
      texts.push_back( std::to_string( refusal.index ) + " " + refusal.text() );
   }
   EXPECT_EQ( texts, ( std::vector< std::string >{ "2 table full", "3 table full",
                                                   "4 action does not fit the match",
                                                   "5 bad length of an action" } ) );
   EXPECT_EQ( ovs_->flows( bridge_, 10 ).size(), 2U );
   EXPECT_EQ( ovs_->flows( bridge_, 11 ).size(), 1U );

   // One alone, and room again.
   EXPECT_TRUE( isTableFull( program( { changes[2] } ).at( 0 ) ) );
   FlowChange const end{ FlowChange::Kind::deleteStrict, changes[0].flow };
   EXPECT_TRUE( program( { end, changes[2] } ).empty() );
   // Of those that are joined all are made, or none.
   FlowChange more = FlowChange::add( flow( 10, 9, Match(), Actions() ) );
   more.isJoined = true;
   FlowChange swap = changes[0];
   swap.isJoined = true;
   FlowChange const third{ FlowChange::Kind::deleteStrict, changes[2].flow };
   auto const joined = program( { third, swap, more, changes[6] } );
   ASSERT_EQ( joined.size(), 1U );
   EXPECT_EQ( joined[0].index, 2U );
   EXPECT_TRUE( isTableFull( joined[0] ) && joined[0].table == 10 );
   EXPECT_EQ( ovs_->flows( bridge_, 10 ).size(), 2U );
   EXPECT_TRUE( program( { third, swap } ).empty() );
   EXPECT_NE( ovs_->flows( bridge_, 10 )[1].find( "priority=1" ), std::string::npos );
   EXPECT_EQ( program( { { FlowChange::Kind::add,
                           flow( 11, 4, Match(), Actions().outputPort( 0xfffffff0 ) ) } } )
                 .at( 0 )
                 .text(),
              "bad output port" );
}

TEST_F( OpenFlowTest, ProgramsThatOverlapEndInOrder ) {
   std::vector< int > ended;
   for ( int i = 0; i != 50; ++i ) {
      Flow const each =
         flow( 10, 1, Match(), Actions().outputPort( static_cast< std::uint32_t >( i + 1 ) ) );
      connection_->program(
         { { FlowChange::Kind::add, each } },
         [&ended, i]( std::vector< Refusal > const & ) { ended.push_back( i ); } );
   }
   EXPECT_TRUE( until( [&] { return ended.size() == 50; } ) );
   EXPECT_TRUE( std::ranges::is_sorted( ended ) );
   EXPECT_EQ( ovs_->flows( bridge_ ).at( 0 ), "table=10, priority=1 actions=output:50" );
}

TEST_F( OpenFlowTest, ForeignChangesAreToldAndOwnOnesAreNot ) {
   ovs_->ofctl( "add-flow", bridge_, { "table=40,priority=7,dl_vlan=9,actions=output:1" } );
   bool done = false;
   connection_->monitorFlows( { 40, 41 }, [&] { done = true; } );
   ASSERT_TRUE( until( [&] { return done; } ) );
   ASSERT_EQ( updates_.size(), 1U );
   Flow const stood = flow( 40, 7, Match().vlan( 9 ), Actions().outputPort( 1 ) );
   EXPECT_EQ( updates_[0].event, FlowUpdate::Event::initial );
   EXPECT_EQ( updates_[0].flow, stood );

   EXPECT_TRUE(
      program( { { FlowChange::Kind::add, flow( 40, 8, Match(), Actions() ) } } ).empty() );
   ovs_->ofctl( "add-flow", bridge_, { "table=41,priority=9,idle_timeout=1,actions=output:2" } );
   ovs_->ofctl( "add-flow", bridge_, { "table=42,priority=9,actions=output:2" } );
   ovs_->ofctl( "mod-flows", bridge_, { "table=40,dl_vlan=9,actions=output:3" } );
   ovs_->ofctl( "del-flows", bridge_, { "table=40" } );
   ASSERT_TRUE( until( [&] { return updates_.size() == 6; } ) ) << updates_.size();
   using Event = FlowUpdate::Event;
   using Reason = FlowUpdate::Reason;
   EXPECT_EQ( updates_[1].event, Event::added );
   EXPECT_EQ( updates_[1].flow.table, 41 );
   EXPECT_EQ( updates_[2].event, Event::modified );
   EXPECT_EQ( updates_[2].flow.actions, Actions().outputPort( 3 ) );
   EXPECT_EQ( updates_[3].event, Event::removed );
   EXPECT_EQ( updates_[3].reason, Reason::deleted );
   EXPECT_EQ( updates_[5].event, Event::removed );
   EXPECT_EQ( updates_[5].reason, Reason::idleTimeout );
   EXPECT_EQ( updates_[5].flow.table, 41 );
   EXPECT_EQ( missed_, 0 );
}

TEST_F( OpenFlowTest, AListenerThatIsTooSlowReadsAnew ) {
   bool done = false;
   connection_->monitorFlows( { allTables }, [&] { done = true; } );
   ASSERT_TRUE( until( [&] { return done; } ) );
   std::ofstream file( ovs_->folder() / "many" );
   for ( int i = 0; i != 20000; ++i ) {
      file << "table=40,reg1=" << i << ",actions=output:1\n";
   }
   file.close();
   ovs_->ofctl( "add-flows", bridge_, { ovs_->folder() / "many" } );
   EXPECT_TRUE( until( [&] { return missed_ == 1; } ) );
   EXPECT_EQ( flows( 40 ).size(), 20000U );
}

TEST_F( OpenFlowTest, PortsAreReadAndTheirChangesAreTold ) {
   int const number = ovs_->addInternalPort( bridge_, "p1" );
   ASSERT_TRUE( until( [&] { return !ports_.empty(); } ) );
   EXPECT_EQ( ports_[0].first, PortChange::added );
   std::vector< Port > ports;
   connection_->portDescriptions( [&]( std::vector< Port > read ) { ports = std::move( read ); } );
   ASSERT_TRUE( until( [&] { return !ports.empty(); } ) );
   ASSERT_EQ( ports.size(), 2U );
   std::ranges::sort( ports, {}, &Port::number );
   EXPECT_EQ( ports[0].number, static_cast< std::uint32_t >( number ) );
   EXPECT_EQ( ports[0].name, "p1" );
   EXPECT_EQ( ports[1].number, Ports::local );
   ovs_->vsctl( { "del-port", bridge_, "p1" } );
   ASSERT_TRUE( until( [&] { return ports_.back().first == PortChange::removed; } ) );
   EXPECT_EQ( ports_.back().second.name, "p1" );
}

TEST_F( OpenFlowTest, AKilledDaemonIsMissedAndFoundAgain ) {
   EXPECT_TRUE(
      program( { { FlowChange::Kind::add, flow( 1, 1, Match(), Actions() ) } } ).empty() );
   ovs_->killDaemon();
   ASSERT_TRUE( until( [&] { return downs_ == 1; } ) );
   bool called = false;
   connection_->program( {}, [&]( std::vector< Refusal > const & ) { called = true; } );
   ovs_->startDaemon();
   ASSERT_TRUE( until( [&] { return ups_ == 2; } ) ) << reason_;
   EXPECT_TRUE( flows().empty() );
   EXPECT_FALSE( called );
   EXPECT_EQ( downs_, 1 );
}

}  // namespace

}  // namespace Live
