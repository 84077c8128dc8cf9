#include "views/tables/UnplacedHosts.h"

#include "qorclient/agent/QorClientUtils.h"
#include "views/tables/Places.h"
#include "views/tables/Words.h"

namespace Views {

namespace {

bool isBound( QorClient::Status const & agent, Kel::String const & fragment,
              Kel::String const & flow ) {
   auto const fragmentInfo = agent.policyFragmentInfo( fragment );
   auto const flowInfo = fragmentInfo ? fragmentInfo->flowInfo( flow ) : nullptr;
   return flowInfo && flowInfo->boundHostCount() != 0;
}

}  // namespace

UnplacedHosts unplacedHosts( Corestore::EntityManager const & em,
                             QorClient::Status const & agent ) {
   UnplacedHosts hosts;
   if ( auto const policy = policyOf( em ) ) {
      for ( auto const & fragment : policy->policyFragment() ) {
         for ( auto const & flow : fragment.value->flow() ) {
            if ( flow.value.serviceIntfKey.empty() &&
                 flow.value.interceptPoint == Qor::V1::InterceptPoint::interceptIngress &&
                 !isBound( agent, fragment.key, flow.key ) ) {
               hosts[{ flow.value.match.srcMac, flow.value.match.vni }].push_back(
                  flowPath( fragment.key, flow.key ) );
            }
         }
      }
   }
   return hosts;
}

std::string whyUnplaced( QorClient::Status const & agent, Vxlan::VniOrNone vni ) {
   if ( vni.isNone() ) {
      return "rejected: no match VNI";
   }
   if ( !agent.active() ) {
      return "waiting: the agent is not active";
   }
   std::string const words = "VNI " + std::to_string( vni.value() );
   auto const key = QorClientUtils::convertVniToVniExt( vni );
   return agent.vlanForVniHas( key )
             ? "waiting: not looked for by the agent, though " + words + " is VLAN " +
                  std::to_string( agent.vlanForVni( key ).value() )
             : "waiting: " + words + " has no VLAN";
}

}  // namespace Views
