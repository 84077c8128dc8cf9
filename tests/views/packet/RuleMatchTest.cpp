#include "views/packet/RuleMatch.h"

#include <gtest/gtest.h>

#include "platform/corestore/ValueText.h"
#include "platform/kel/ValueTraits.h"

namespace {

namespace MatchField = OpenFlowTable::MatchField;

TEST( RuleMatchTest, AFieldCountsOnlyIfItIsNamedAndWhatAFrameLacksIsNotMatched ) {
   Views::Frame const bare{ .in = Wirekit::IntfId( "Ethernet1" ),
                            .from = *Wirekit::EthAddr::parse( "02:00:00:00:01:0a" ),
                            .to = *Wirekit::EthAddr::parse( "02:00:00:00:02:0b" ) };
   Views::Frame ip4 = bare;
   ip4.ipFrom = *Wirekit::IpGenAddr::parse( "10.0.1.1" );
   ip4.ipTo = *Wirekit::IpGenAddr::parse( "10.0.2.1" );
   ip4.protocol = 6;
   ip4.fromPort = 1000;
   Views::Frame ip6 = bare;
   ip6.etherType = Views::EtherType::ip6;
   ip6.ipFrom = *Wirekit::IpGenAddr::parse( "2001:db8:1::1" );
   ip6.ipTo = *Wirekit::IpGenAddr::parse( "2001:db8:2::1" );

   struct Case {
      std::uint64_t fields;
      char const * match;
      /** Of the three frames, which match. */
      bool bare, ip4, ip6;
   };
   for ( Case const & one : std::initializer_list< Case >{
            { 0, R"({"ethType":1,"vlanId":7,"vlanIdMask":4095})", true, true, true },
            { MatchField::inIntf, R"({"inIntf":["Ethernet2","Ethernet3"]})", false, false, false },
            { MatchField::vlanId, R"({"vlanId":103})", false, false, false },
            { MatchField::vlanId, R"({"vlanId":103,"vlanIdMask":4092})", true, true, true },
            { MatchField::ethSrc,
              R"({"ethSrc":"02:00:00:00:01:ff","ethSrcMask":"ff:ff:ff:ff:ff:00"})", true, true,
              true },
            { MatchField::ethDst,
              R"({"ethDst":"02:00:00:00:01:0b","ethDstMask":"ff:ff:ff:ff:ff:ff"})", false, false,
              false },
            { MatchField::ethType, R"({"ethType":2048})", true, true, false },
            { MatchField::arp, "{}", false, false, false },
            { MatchField::ipSrc, R"({"ipSrc":"10.0.0.0","ipSrcMask":"255.255.0.0"})", false, true,
              false },
            { MatchField::ipDst, R"({"ipDst":"10.0.1.0","ipDstMask":"255.255.255.0"})", false,
              false, false },
            { MatchField::ip6Src, R"({"ip6Src":"2001:db8::","ip6SrcMask":"ffff:ffff::"})", false,
              false, true },
            { MatchField::ip6Dst, R"({"ip6Dst":"2001:db8:1::","ip6DstMask":"ffff:ffff:ffff::"})",
              false, false, false },
            { MatchField::ipProtocol, R"({"ipProtocol":6})", false, true, false },
            { MatchField::l4SrcPort, R"({"l4SrcPort":1000})", false, true, false },
            { MatchField::l4DstPort, R"({"l4DstPort":0})", false, false, false },
            { MatchField::srcGroup, R"({"srcGroup":"web"})", true, true, true },
            { MatchField::dstGroup, R"({"dstGroup":"web"})", false, false, false },
            { MatchField::routed, "{}", false, false, false },
            // What nobody here knows is no match.
            { 0x2, "{}", false, false, false },
         } ) {
      auto match = Kel::fromValue< OpenFlowTable::Match >( Corestore::parseJson( one.match ) );
      match.matchFieldSet = one.fields;
      auto const isMatched = [&match]( Views::Frame const & frame ) {
         return Views::matches( match, { .frame = frame,
                                         .vlan = Bridging::VlanId( 100 ),
                                         .fromGroups = { "web" },
                                         .toGroups = { "db" } } );
      };
      EXPECT_EQ( isMatched( bare ), one.bare ) << one.fields << one.match;
      EXPECT_EQ( isMatched( ip4 ), one.ip4 ) << one.fields << one.match;
      EXPECT_EQ( isMatched( ip6 ), one.ip6 ) << one.fields << one.match;
   }
}

}  // namespace
