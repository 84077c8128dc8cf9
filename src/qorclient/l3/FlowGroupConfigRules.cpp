#include "platform/flashlog/DualLog.h"
#include "platform/kel/Assert.h"
#include "qorclient/l3/FlowGroupConfigSm.h"

KEL_TRACE_UNIT( "QorClientL3FragmentSm", "QorClientL3FragmentSm" )

namespace QorClientL3::V1 {

OpenFlowTable::Match FlowGroupConfigSm::buildMatch( QorL3::V1::Match const & match,
                                                    QorL3::V1::MatchFieldSet fieldSet ) const {
   namespace From = QorL3::V1::MatchField;
   namespace To = OpenFlowTable::MatchField;
   OpenFlowTable::Match built;
   if ( fieldSet & From::srcGroup ) {
      built.srcGroup = match.srcGroup;
      built.matchFieldSet |= To::srcGroup;
   }
   if ( fieldSet & From::dstGroup ) {
      built.dstGroup = match.dstGroup;
      built.matchFieldSet |= To::dstGroup;
   }
   if ( fieldSet & From::vni ) {
      if ( !vtepInfo()->vniToVlanMapHas( match.vni ) ) {
         return {};
      }
      built.vlanId = Bridging::VlanIdOrNone( vtepInfo()->vniToVlanMap( match.vni ) ).value();
      built.matchFieldSet |= To::vlanId;
   }
   if ( fieldSet & From::ethSrc ) {
      built.ethSrc = match.ethSrc;
      built.ethSrcMask = match.ethSrcMask;
      built.matchFieldSet |= To::ethSrc;
   }
   if ( fieldSet & From::ethDst ) {
      built.ethDst = match.ethDst;
      built.ethDstMask = match.ethDstMask;
      built.matchFieldSet |= To::ethDst;
   }
   if ( fieldSet & From::ip4Src ) {
      built.ipSrc = match.ipSrc.v4Addr();
      built.ipSrcMask = Wirekit::Ip4Addr::mask( match.ipSrc.v4Prefix() );
      built.matchFieldSet |= To::ipSrc;
   }
   if ( fieldSet & From::ip4Dst ) {
      built.ipDst = match.ipDst.v4Addr();
      built.ipDstMask = Wirekit::Ip4Addr::mask( match.ipDst.v4Prefix() );
      built.matchFieldSet |= To::ipDst;
   }
   if ( fieldSet & From::ip6Src ) {
      built.ip6Src = match.ipSrc.v6Addr();
      built.ip6SrcMask = createIp6Mask( match.ipSrc.v6Prefix() );
      built.matchFieldSet |= To::ip6Src;
   }
   if ( fieldSet & From::ip6Dst ) {
      built.ip6Dst = match.ipDst.v6Addr();
      built.ip6DstMask = createIp6Mask( match.ipDst.v6Prefix() );
      built.matchFieldSet |= To::ip6Dst;
   }
   if ( fieldSet & From::ipProtocol ) {
      built.ipProtocol = match.ipProtocol;
      built.matchFieldSet |= To::ipProtocol;
   }
   if ( fieldSet & From::l4SrcPort ) {
      built.l4SrcPort = match.l4SrcPort;
      built.matchFieldSet |= To::l4SrcPort;
   }
   if ( fieldSet & From::l4DstPort ) {
      built.l4DstPort = match.l4DstPort;
      built.matchFieldSet |= To::l4DstPort;
   }
   if ( fieldSet & From::inIntf ) {
      built.inIntfIs( Wirekit::IntfId( match.inIntf ), true );
      built.matchFieldSet |= To::inIntf;
   }
   if ( fieldSet & From::ethType ) {
      built.ethType = match.ethType;
      built.matchFieldSet |= To::ethType;
   }
   // Also without any field, so that no match of ours is the default one.
   built.matchFieldSet |= To::routed;
   return built;
}

OpenFlowTable::Actions FlowGroupConfigSm::buildActions( QorL3::V1::Action const & action,
                                                        QorL3::V1::ActionFieldSet fieldSet ) {
   namespace From = QorL3::V1::ActionField;
   namespace To = OpenFlowTable::ActionField;
   OpenFlowTable::Actions built;
   // The two flags of the action aren't read: their bits say it all.
   if ( fieldSet & From::leadingFlag ) {
      built.actionFieldSet |= To::routedFlag;
   }
   if ( fieldSet & From::nexthop ) {
      built.outputNexthopIs( action.nexthop, true );
      built.actionFieldSet |= To::outputNexthop;
   }
   if ( fieldSet & From::outputIntf ) {
      built.outputIntfIs( Wirekit::IntfId( action.outputIntf ), true );
      built.actionFieldSet |= To::outputIntf;
   }
   if ( fieldSet & From::trailingFlag ) {
      built.actionFieldSet |= To::outputNormal;
   }
   return built;
}

bool FlowGroupConfigSm::isFlowConfigModified( QorL3::V1::FlowConfig const & flowConfig,
                                              OpenFlowTable::FlowEntry const & flowEntry ) const {
   KEL_TRACE_SCOPE( " Flow: ", flowConfig.name );
   if ( buildMatch( flowConfig.match, flowConfig.matchFieldSet ) == flowEntry.match &&
        buildActions( flowConfig.action, flowConfig.actionFieldSet ) == flowEntry.actions &&
        static_cast< std::int32_t >( flowConfig.priority ) == flowEntry.priority.value() ) {
      KEL_TRACE_RETURN( " return false" );
      return false;
   }
   return true;
}

Wirekit::Ip6Addr FlowGroupConfigSm::createIp6Mask( std::uint32_t len ) {
   KEL_ASSERT( len <= 128, "QorClientL3FragmentSm" );
   Wirekit::Ip6Addr::Bytes bytes{};
   for ( std::size_t i = 0; i != len / 8; ++i ) {
      bytes[i] = 0xff;
   }
   if ( len % 8 != 0 ) {
      bytes[len / 8] = static_cast< std::uint8_t >( 0xff00 >> len % 8 );
   }
   return Wirekit::Ip6Addr( bytes );
}

}  // namespace QorClientL3::V1
