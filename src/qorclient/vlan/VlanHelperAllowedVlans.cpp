// Allowed VLANs: the list of an interface that its bindings make.

#include <string>

#include "platform/flashlog/DualLog.h"
#include "qorclient/vlan/VlanHelperSm.h"

KEL_TRACE_UNIT( "VlanHelperSm", "QorClientVlanHelper" )

namespace QorClient {

void VlanHelperSm::doUpdateDynAllowedVlans( Wirekit::IntfId intfId ) {
   KEL_TRACE_SCOPE_ENDING( " return ", " intfId: ", intfId );
   auto const status = agentStatus();
   std::string vlans;
   vlans.reserve( status->boundVniCount< BindingIntf >( intfId ) * std::size( "4094" ) );
   for ( VniAndIntfForPolicyFragment const & key : status->boundVniKeys< BindingIntf >( intfId ) ) {
      Bridging::VlanId const vlan = status->vlanForVni( key.vni );
      // A VNI without a VLAN has the default one.
      bool const mapped = vlan != Bridging::VlanId() || status->vlanForVniHas( key.vni );
      if ( mapped && !skipAllowVlan( intfId, vlan ) ) {
         if ( !vlans.empty() ) {
            vlans += ',';
         }
         vlans += std::to_string( vlan.value() );
      } else {
         KEL_TRACE_INFO( " Skip allow vlan ", vlan );
      }
   }
   if ( !vlans.empty() ) {
      KEL_TRACE_INFO( " Allowed Vlans ", vlans );
      dynAllowedVlans()->vlansIs( intfId, vlans );
      qorTrunkGroup()->intfListIs( intfId, true );
   } else {
      KEL_TRACE_INFO( " No Allowed Vlans " );
      dynAllowedVlans()->vlansDel( intfId );
      qorTrunkGroup()->intfListDel( intfId );
   }
}

bool VlanHelperSm::skipAllowVlan( Wirekit::IntfId intfId, Bridging::VlanId vlanId ) const {
   KEL_TRACE_SCOPE( " intfId: ", intfId, " vlanId: ", vlanId );
   bool const skip =
      agentStatus()->warmHostCount< HostPlace >( IntfAndVlan{ intfId, vlanId } ) != 0;
   KEL_TRACE_RETURN( skip ? " return true" : " return false" );
   return skip;
}

}  // namespace QorClient
