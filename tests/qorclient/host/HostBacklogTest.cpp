#include <gtest/gtest.h>

#include "qorclient/host/HostTrackerSm.h"

/*
 * The tracker's backlogs: a burst is drained in slices, with other work in between, and every
 * change is looked at once.
 */

namespace {

using Bridging::HostKey;
using Bridging::MacVlanPair;
using Bridging::VlanId;
using Wirekit::EthAddr;
using Wirekit::IntfId;

EthAddr macOf( std::uint32_t n ) {
   return EthAddr( EthAddr::Bytes{ 2, 0, std::uint8_t( n >> 24 ), std::uint8_t( n >> 16 ),
                                   std::uint8_t( n >> 8 ), std::uint8_t( n ) } );
}

/** A task that runs as often as it may, beside others. */
class Neighbour : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( Neighbour )
   KEL_GIVEN( Kel::Ptr< Orb::TaskScheduler >, scheduler )
   KEL_TASK( KelTask, Orb::Task, task, handleTask )
   std::function< bool( std::uint64_t ) > work;
   std::uint64_t runs = 0;

   void handleInitialized() override { taskIs( scheduler(), 2, "neighbour" ); }
   void handleTask() {
      if ( work && work( runs++ ) ) {
         task()->scheduleTask();
      }
   }
};

/** Counts the times that each host's location was written. */
class Observer : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( Observer )
   KEL_REACTOR( KelStatus, QorClient::Status const, status, KEL_ON( warmHost, handleWarmHost ) )
   Kel::HashMap2018< MacVlanPair, std::uint32_t > writes;
   void handleWarmHost( MacVlanPair const & host ) {
      std::uint32_t const * const seen = writes.find( host );
      writes.set( host, seen ? *seen + 1 : 1 );
   }
};

class HostBacklogTest : public testing::Test {
 protected:
   HostBacklogTest() {
      QorClient::LocalData::singleton()->schedulerIs( scheduler );
      for ( IntfId intf : { first, second } ) {
         config->vlanConfigIs( vlan )->intfIs( intf, true );
         intfs->switchIntfConfigIs( intf );
      }
      tracker = QorClient::hostTrackerSmFactory( fdb, config, intfs, peerHosts, status );
      scheduler->runReady();
      observer = Kel::create< Observer >( status );
      neighbour = Kel::create< Neighbour >( scheduler );
   }
   ~HostBacklogTest() override {
      tracker = nullptr;
      Kel::Entity::singletonsDel();
   }

   void bind( std::uint32_t hosts ) {
      for ( std::uint32_t n = 0; n != hosts; ++n ) {
         status->boundHostIs( { macOf( n ), vlan }, true );
      }
   }
   void learn( std::uint32_t n, IntfId intf ) {
      fdb->fdbStatusIs( HostKey{ vlan.value(), macOf( n ) },
                        { intf, Bridging::EntryType::local, 0 } );
   }

   VlanId const vlan{ 100 };
   IntfId const first{ "Ethernet1" };
   IntfId const second{ "Ethernet2" };
   Kel::Ptr< Orb::TaskScheduler > scheduler{
      new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() ) };
   Kel::Ptr< Slab::Bridging::Status > fdb{ new Slab::Bridging::Status( "bridging/status" ) };
   Kel::Ptr< Bridging::Config > config{ new Bridging::Config( "config" ) };
   Kel::Ptr< Bridging::SwitchIntfConfigDir > intfs{ new Bridging::SwitchIntfConfigDir( "dir" ) };
   Kel::Ptr< Mlag::HostTable > peerHosts{ new Mlag::HostTable( "hostTable" ) };
   Kel::Ptr< QorClient::Status > status{ new QorClient::Status( "status" ) };
   Kel::Ptr< QorClient::HostTrackerSm > tracker;
   Kel::Ptr< Observer > observer;
   Kel::Ptr< Neighbour > neighbour;
};

TEST_F( HostBacklogTest, BurstIsDrainedInSlicesAndEachChangeOnce ) {
   constexpr std::uint32_t hosts = 100'000;
   constexpr std::uint32_t slice = 3;
   bind( hosts );
   for ( std::uint32_t n = 0; n != hosts; ++n ) {
      learn( n, second );
      learn( n, first );
   }
   EXPECT_EQ( tracker->fdbBacklogCount(), hosts );
   EXPECT_EQ( status->warmHostCount(), 0 );
   scheduler->sliceIs( slice, 1e9 );
   std::uint64_t const before = tracker->fdbTask()->taskWorkCount();

   // Another task has its turn between any two slices, and meanwhile moves hosts both ahead of the
   // drain and behind it.
   constexpr std::uint32_t moves = 1'000;
   std::size_t left = hosts;
   neighbour->work = [&]( std::uint64_t run ) {
      EXPECT_LE( left - tracker->fdbBacklogCount(), slice );
      if ( run < moves ) {
         learn( static_cast< std::uint32_t >( run * 97 ), second );
      }
      left = tracker->fdbBacklogCount();
      return left != 0;
   };
   neighbour->task()->scheduleTask();
   scheduler->runReady();

   EXPECT_GE( neighbour->runs, hosts / slice );
   EXPECT_EQ( tracker->fdbTask()->taskWorkPending(), 0 );
   EXPECT_EQ( tracker->fdbBookmark(), HostKey() );
   EXPECT_EQ( status->warmHostCount(), hosts );
   EXPECT_EQ( status->warmHostRefCount( first ), hosts - moves );
   EXPECT_EQ( status->warmHostRefCount( second ), moves );
   std::uint64_t writes = 0;
   for ( std::uint32_t n = 0; n != hosts; ++n ) {
      bool const moved = n % 97 == 0 && n / 97 < moves;
      MacVlanPair const host{ macOf( n ), vlan };
      std::uint32_t const seen = *observer->writes.find( host );
      writes += seen;
      EXPECT_EQ( status->warmHost( host ), moved ? second : first );
      EXPECT_LE( seen, moved ? 2 : 1 );
   }
   EXPECT_EQ( tracker->fdbTask()->taskWorkCount() - before, writes );
}

TEST_F( HostBacklogTest, DrainGoesOnAtItsBookmarkAndAroundTheEnd ) {
   bind( 10 );
   for ( std::uint32_t n = 0; n != 8; ++n ) {
      learn( n, first );
   }
   scheduler->sliceIs( 3, 1e9 );
   scheduler->runOne();
   EXPECT_EQ( tracker->fdbBookmark().addr, macOf( 3 ) );
   EXPECT_EQ( tracker->fdbTask()->taskWorkPending(), 5 );
   // Behind the bookmark in the order of insertion, yet processed in its turn.
   learn( 0, second );
   learn( 9, first );
   scheduler->runOne();
   EXPECT_EQ( tracker->fdbBookmark().addr, macOf( 6 ) );
   EXPECT_EQ( status->warmHost( { macOf( 0 ), vlan } ), first );
   // A bookmark that has gone: the drain begins at the first entry.
   tracker->fdbBacklogDel( tracker->fdbBookmark() );
   scheduler->runReady();
   EXPECT_EQ( tracker->fdbBacklogCount(), 0 );
   EXPECT_EQ( tracker->fdbBookmark(), HostKey() );
   EXPECT_EQ( status->warmHost( { macOf( 0 ), vlan } ), second );
   EXPECT_TRUE( status->warmHostHas( { macOf( 7 ), vlan } ) );
   EXPECT_TRUE( status->warmHostHas( { macOf( 9 ), vlan } ) );
   EXPECT_FALSE( status->warmHostHas( { macOf( 6 ), vlan } ) );
}

TEST_F( HostBacklogTest, PeerHostsHaveABacklogOfTheirOwn ) {
   bind( 5 );
   QorClient::LocalData::singleton()->serviceToOriginalVlanIs( VlanId( 200 ), vlan );
   scheduler->sliceIs( 2, 1e9 );
   for ( std::uint32_t n = 0; n != 5; ++n ) {
      peerHosts->hostEntryIs( { { VlanId( 200 ), macOf( n ) }, "Ethernet2", false } );
   }
   EXPECT_EQ( status->warmHostCount(), 0 );
   scheduler->runOne();
   EXPECT_EQ( status->warmHostCount(), 2 );
   EXPECT_EQ( tracker->mlagHostTableTask()->taskWorkPending(), 3 );
   scheduler->runReady();
   EXPECT_EQ( status->warmHostRefCount( second ), 5 );
}

TEST_F( HostBacklogTest, ATrackerThatGoesLeavesNoTaskBehind ) {
   bind( 4 );
   for ( std::uint32_t n = 0; n != 4; ++n ) {
      learn( n, first );
   }
   scheduler->sliceIs( 1, 1e9 );
   scheduler->runOne();
   tracker = nullptr;
   EXPECT_FALSE( scheduler->runOne() );
   EXPECT_EQ( status->warmHostCount(), 1 );
}

}  // namespace
