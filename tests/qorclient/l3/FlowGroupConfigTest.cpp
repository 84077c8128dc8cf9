#include <gtest/gtest.h>

#include "qorclient/l3/FlowGroupConfigSm.h"

namespace {

using OpenFlowTable::Actions;
using OpenFlowTable::Match;
using QorClientL3::V1::FlowGroupConfigSm;
namespace From = QorL3::V1::MatchField;

template < class T >
T parsed( char const * text ) {
   return T::parse( text ).value();
}

class FlowGroupConfigTest : public testing::Test {
 protected:
   FlowGroupConfigTest() {
      vtepInfo->vniToVlanMapIs( Vxlan::VniExt( 7000 ), Bridging::VlanId( 70 ) );
   }

   Kel::Ptr< QorClient::VtepInfo > vtepInfo{ new QorClient::VtepInfo };
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig > table{ new OpenFlowTable::PinFlowHwConfig( "t" ) };
   Kel::Ptr< FlowGroupConfigSm > machine = flowGroupConfigSmFactory(
      L3::VrfName( "red" ), Kel::Ptr( new QorL3::V1::FlowGroupConfig( { 1, 1 } ) ), table,
      Kel::Ptr( new QorClientL3::V1::CachedFlowConfig( "c" ) ), vtepInfo );
};

TEST_F( FlowGroupConfigTest, Ip6Masks ) {
   auto const mask = &FlowGroupConfigSm::createIp6Mask;
   EXPECT_EQ( mask( 0 ).stringValue(), "::" );
   EXPECT_EQ( mask( 1 ).stringValue(), "8000::" );
   EXPECT_EQ( mask( 61 ).stringValue(), "ffff:ffff:ffff:fff8::" );
   EXPECT_EQ( mask( 64 ).stringValue(), "ffff:ffff:ffff:ffff::" );
   EXPECT_EQ( mask( 127 ).stringValue(), "ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe" );
   EXPECT_EQ( mask( 128 ).stringValue(), "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" );
   EXPECT_DEATH( mask( 129 ), "QorClientL3FragmentSm.*len <= 128" );
}

/** Each bit copies its own fields and no others, and every set of bits is the sum of its bits. */
TEST_F( FlowGroupConfigTest, MatchOfEveryFieldSet ) {
   QorL3::V1::Match given;
   given.srcGroup = "web";
   given.dstGroup = "db";
   given.vni = Vxlan::VniExt( 7000 );
   given.ethSrc = parsed< Wirekit::EthAddr >( "02:00:00:00:00:01" );
   given.ethSrcMask = parsed< Wirekit::EthAddr >( "ff:ff:ff:00:00:00" );
   given.ethDst = parsed< Wirekit::EthAddr >( "02:00:00:00:00:02" );
   given.ipProtocol = 6;
   given.l4SrcPort = 1024;
   given.l4DstPort = 443;
   given.inIntf = "Ethernet7";
   given.ethType = 0x800;

   struct Row {
      QorL3::V1::MatchFieldSet bit;
      std::uint64_t maskBit;
      void ( *copy )( Match & to );
   };
   Row const rows[] = {
      { From::srcGroup, std::uint64_t{ 1 } << 47, []( Match & to ) { to.srcGroup = "web"; } },
      { From::dstGroup, std::uint64_t{ 1 } << 48, []( Match & to ) { to.dstGroup = "db"; } },
      { From::vni, 0x100, []( Match & to ) { to.vlanId = 70; } },
      { From::ethSrc, 0x8,
        []( Match & to ) {
           to.ethSrc = parsed< Wirekit::EthAddr >( "02:00:00:00:00:01" );
           to.ethSrcMask = parsed< Wirekit::EthAddr >( "ff:ff:ff:00:00:00" );
        } },
      { From::ethDst, 0x20,
        []( Match & to ) {
           to.ethDst = parsed< Wirekit::EthAddr >( "02:00:00:00:00:02" );
           to.ethDstMask = parsed< Wirekit::EthAddr >( "ff:ff:ff:ff:ff:ff" );
        } },
      { From::ip4Src, 0x40000,
        []( Match & to ) {
           to.ipSrc = parsed< Wirekit::Ip4Addr >( "10.1.0.0" );
           to.ipSrcMask = parsed< Wirekit::Ip4Addr >( "255.255.128.0" );
        } },
      { From::ip4Dst, 0x80000,
        []( Match & to ) { to.ipDst = parsed< Wirekit::Ip4Addr >( "10.2.0.1" ); } },
      { From::ip6Src, 0x100000,
        []( Match & to ) {
           to.ip6Src = parsed< Wirekit::Ip6Addr >( "2001:db8::" );
           to.ip6SrcMask = parsed< Wirekit::Ip6Addr >( "ffff:fffe::" );
        } },
      { From::ip6Dst, 0x200000,
        []( Match & to ) {
           to.ip6Dst = parsed< Wirekit::Ip6Addr >( "2001:db8::1" );
           to.ip6DstMask = parsed< Wirekit::Ip6Addr >( "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" );
        } },
      { From::ipProtocol, 0x800000, []( Match & to ) { to.ipProtocol = 6; } },
      { From::l4SrcPort, 0x1000000, []( Match & to ) { to.l4SrcPort = 1024; } },
      { From::l4DstPort, 0x2000000, []( Match & to ) { to.l4DstPort = 443; } },
      { From::inIntf, 0x1,
        []( Match & to ) { to.inIntfIs( Wirekit::IntfId( "Ethernet7" ), true ); } },
      { From::ethType, 0x80, []( Match & to ) { to.ethType = 0x800; } },
   };
   for ( QorL3::V1::MatchFieldSet set = 0; set != 1u << std::size( rows ); ++set ) {
      bool const ip6 = set & ( From::ip6Src | From::ip6Dst );
      if ( ip6 && set & ( From::ip4Src | From::ip4Dst ) ) {
         continue;
      }
      given.ipSrc = parsed< Wirekit::IpGenPrefix >( ip6 ? "2001:db8::/31" : "10.1.0.0/17" );
      given.ipDst = parsed< Wirekit::IpGenPrefix >( ip6 ? "2001:db8::1/128" : "10.2.0.1/0" );
      Match expected;
      expected.matchFieldSet = std::uint64_t{ 1 } << 49;
      for ( Row const & row : rows ) {
         if ( set & row.bit ) {
            expected.matchFieldSet |= row.maskBit;
            row.copy( expected );
         }
      }
      ASSERT_EQ( machine->buildMatch( given, set ), expected ) << "field set " << set;
   }
   vtepInfo->vniToVlanMapDelAll();
   EXPECT_EQ( machine->buildMatch( given, From::vni | From::ethType ), Match{} );
}

TEST_F( FlowGroupConfigTest, ActionsOfEveryFieldSet ) {
   QorL3::V1::Action given;
   given.nexthop = parsed< Wirekit::IpGenAddr >( "10.0.0.1" );
   given.outputIntf = "Ethernet7";
   for ( QorL3::V1::ActionFieldSet set = 0; set != 16; ++set ) {
      // The flags count by their bits alone.
      given.leadingFlag = given.trailingFlag = set == 0;
      Actions expected;
      if ( set & 1 ) {
         expected.actionFieldSet |= std::uint64_t{ 1 } << 32;
      }
      if ( set & 2 ) {
         expected.actionFieldSet |= 0x10000000;
         expected.outputNexthopIs( given.nexthop, true );
      }
      if ( set & 4 ) {
         expected.actionFieldSet |= 0x400000;
         expected.outputIntfIs( Wirekit::IntfId( "Ethernet7" ), true );
      }
      if ( set & 8 ) {
         expected.actionFieldSet |= 0x2000000;
      }
      EXPECT_EQ( machine->buildActions( given, set ), expected ) << "field set " << set;
   }
}

}  // namespace
