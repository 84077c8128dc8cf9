#include <algorithm>
#include <optional>
#include <set>

#include "agent/QorClientUtils.h"
#include "platform/records/bridging/AllowedVlans.h"
#include "platform/records/bridging/SwitchIntfConfig.h"
#include "platform/records/openflowtable/PinFlowHwConfig.h"
#include "platform/records/qor/PolicyFragmentStatus.h"
#include "platform/records/qorclient/Status.h"
#include "platform/records/vxlan/VniSviConfig.h"
#include "runner/tables/Places.h"
#include "runner/why/Flows.h"
#include "runner/why/Links.h"

namespace Runner {

namespace {

using Bridging::MacVlanPair;
using Bridging::VlanId;
using Qor::V1::InterceptPoint;
using QorClient::RuleKey;
using QorClientUtils::convertVniToVniExt;
using Wirekit::IntfId;

std::string number( std::uint32_t value ) {
   return std::to_string( value );
}

bool catchesHosts( QorClient::FlowInfo const & flow ) {
   return flow.serviceIntfKey().empty() && flow.isInterceptIngress();
}

class PolicyFlow {
 public:
   PolicyFlow( Switch const & device, FlowPlace const & place )
      : device_( device ),
        place_( place ),
        agent_( device.entity< QorClient::Status >( "qorclient/status" ) ),
        policy_( policyOf( device ) ),
        fragment_( policy_ ? policy_->policyFragment( place.place ) : nullptr ),
        fragmentInfo_( agent_->policyFragmentInfo( place.place ) ),
        info_( fragmentInfo_ ? fragmentInfo_->flowInfo( place.flow ) : nullptr ) {
      if ( fragment_ && fragment_->flowHas( place.flow ) ) {
         config_ = fragment_->flow( place.flow );
      }
   }

   Chain take() {
      Chain chain( flowPath( place_.place, place_.flow ),
                   config_ ? kindWord( *config_ ) + " flow" : "not configured" );
      addGate( chain, device_, false );
      std::vector< RuleKey > wanted;
      if ( addFlow( chain ) ) {
         addVni( chain, "match VNI", config_->match.vni );
         addVni( chain, "action VNI", config_->action.vni );
         wanted = !config_->serviceIntfKey.empty() ? addServiceSet( chain )
                  : isIngress()                    ? addHost( chain )
                                                   : addHostIntfs( chain );
      }
      addRules( chain, wanted );
      addArp( chain );
      addStatus( chain );
      return chain;
   }

 private:
   bool isIngress() const { return config_->interceptPoint == InterceptPoint::interceptIngress; }
   std::optional< VlanId > vlanOf( Vxlan::VniOrNone vni ) const {
      auto const key = convertVniToVniExt( vni );
      return agent_->vlanForVniHas( key ) ? std::optional( agent_->vlanForVni( key ) )
                                          : std::nullopt;
   }
   bool isNative( IntfId intf, VlanId vlan ) const {
      auto const port =
         device_.entity< Bridging::SwitchIntfConfigDir >( "bridging/switchIntfConfig" )
            ->switchIntfConfig( intf );
      return port && port->trunkNativeVlan() == vlan;
   }

   /** The configuration, and whether the agent acts on it. False if there is none to follow. */
   bool addFlow( Chain & chain ) const {
      if ( !config_ ) {
         chain.missing( "flow", "the policy has no such flow: what follows is left over" );
         return false;
      }
      Vxlan::VniOrNone const match = config_->match.vni;
      Vxlan::VniOrNone const action = config_->action.vni;
      if ( match.isNone() || action.isNone() ) {
         chain.rejected( "flow", std::string( "the flow has no " ) +
                                    ( match.isNone() ? "match VNI" : "action VNI" ) );
      } else {
         chain.good( "flow",
                     ( isIngress() ? "where frames enter, VNI " : "where frames leave, VNI " ) +
                        number( match.value() ) + " to VNI " + number( action.value() ) );
      }
      if ( !info_ ) {
         chain.missing( "read", "the agent has not read the flow" );
      } else if ( info_->flowConfig() != *config_ ) {
         chain.missing( "read", "the agent acts on an older form of the flow" );
      } else {
         chain.good( "read", "the agent acts on the flow as it is configured" );
      }
      return true;
   }

   void addVni( Chain & chain, char const * name, Vxlan::VniOrNone vni ) const {
      if ( vni.isNone() ) {
         return;
      }
      std::string const words = "VNI " + number( vni.value() );
      bool const known = vni == fragment_->originalVni() || vni == fragment_->serviceVni();
      std::string const role = vni == fragment_->originalVni()  ? " (original)"
                               : vni == fragment_->serviceVni() ? " (service)"
                                                                : "";
      auto const key = convertVniToVniExt( vni );
      if ( auto const vlan = vlanOf( vni ) ) {
         chain.good( name, words + role + " is VLAN " + number( vlan->value() ) );
      } else if ( !known ) {
         chain.missing( name, words + " is neither the fragment's original VNI (" +
                                 vniWord( fragment_->originalVni() ) + ") nor its service VNI (" +
                                 vniWord( fragment_->serviceVni() ) + ")" );
      } else if ( !device_.entity< Vxlan::VniSviConfig >( "vxlan/input/vniconfig/qor" )
                      ->vniSviInfoHas( key ) ) {
         chain.missing( name, words + role + " has no VLAN: the agent has not asked for it" );
      } else {
         chain.missing( name, words + role + " has no VLAN: it is asked for, " +
                                 vniWaits( device_, vni.value() ) );
      }
   }
   static std::string vniWord( Vxlan::VniOrNone vni ) {
      return vni.isNone() ? "none" : number( vni.value() );
   }

   /** These three add what a kind of flow hangs on, and yield the rules that it wants then. */
   std::vector< RuleKey > addServiceSet( Chain & chain ) const {
      std::string const name = config_->serviceIntfKey.stringValue();
      auto const set = fragment_->serviceIntfSet( config_->serviceIntfKey );
      if ( !set ) {
         chain.missing( "interfaces", "the fragment has no set \"" + name + "\"" );
         return {};
      }
      auto const allowed = device_.entity< Bridging::Input::AllowedVlans >(
         "bridging/input/dynvlan/allowedvlan/qor" );
      std::vector< RuleKey > wanted;
      std::vector< std::string > names;
      for ( auto const & member : set->intf() ) {
         IntfId const intf( member.key.view() );
         std::string const vlans = allowed->vlans( intf ).stringValue();
         wanted.push_back( isIngress() ? RuleKey{ intf, {} } : RuleKey{ {}, intf } );
         names.push_back( intf.shortName() +
                          ( vlans.empty() ? "" : " (allowed VLAN " + vlans + ")" ) );
      }
      bool const isFar = name == "far";
      if ( names.empty() ) {
         chain.missing( "interfaces", "the set \"" + name + "\" has no interface" );
      } else if ( !isFar && name != "near" ) {
         chain.lacking( "interfaces", joined( names ) + ": no VNI is bound there, as \"" + name +
                                         "\" is neither near nor far" );
      } else if ( ( isFar ? fragment_->originalVni() : fragment_->serviceVni() ).isNone() ) {
         chain.lacking( "interfaces", joined( names ) +
                                         ": no VNI is bound there, as the fragment has no " +
                                         ( isFar ? "original VNI" : "service VNI" ) );
      } else {
         chain.good( "interfaces", name + ": " + joined( names ) );
      }
      return wanted;
   }

   std::vector< RuleKey > addHost( Chain & chain ) const {
      std::string const mac = config_->match.srcMac.stringValue();
      auto const vlan = vlanOf( config_->match.vni );
      if ( !vlan ) {
         chain.missing( "host", mac + " is looked for when the match VNI has a VLAN" );
         return {};
      }
      MacVlanPair const host{ config_->match.srcMac, *vlan };
      std::string const words = mac + " in VLAN " + number( vlan->value() );
      IntfId const intf = agent_->warmHost( host );
      auto const others = otherCatchers( host );
      if ( intf && !others.empty() ) {
         if ( info_ && info_->ruleInfoCount() != 0 ) {
            chain.note( "host", "it is the host of " + joined( others ) + " too" );
         } else {
            chain.missing( "host", mac + " is the host of " + joined( others ) +
                                      " too, and only the flow that was read last follows it" );
         }
      }
      if ( !agent_->boundHostHas( host ) ) {
         chain.missing( "host", words + " is not looked for by the agent" );
      } else if ( !intf ) {
         chain.missing( "host", words + " is " + whyNotKnown( device_, host ) );
      } else if ( isServiceIntf( intf ) ) {
         chain.missing( "host", words + " is on " + intf.shortName() +
                                   ", a service interface of the fragment: not caught there" );
      } else if ( isNative( intf, *vlan ) ) {
         chain.good( "host", words + " is on " + intf.shortName() +
                                ", where that is native: also untagged frames" );
         return { { intf, {} }, { intf, {}, false } };
      } else {
         chain.good( "host", words + " is on " + intf.shortName() );
         return { { intf, {} } };
      }
      return {};
   }

   std::vector< std::string > otherCatchers( MacVlanPair const & host ) const {
      std::vector< std::string > others;
      for ( auto const & fragment : agent_->policyFragmentInfo() ) {
         for ( auto const & flow : fragment.value->flowInfo() ) {
            if ( flow.value->boundHostHas( host ) && flow.value.ptr() != info_.ptr() ) {
               others.push_back( flowPath( fragment.key, flow.key ) );
            }
         }
      }
      return others;
   }

   bool isServiceIntf( IntfId intf ) const {
      for ( auto const & set : fragment_->serviceIntfSet() ) {
         if ( set.value->intfHas( intf.name() ) ) {
            return true;
         }
      }
      return false;
   }

   std::vector< RuleKey > addHostIntfs( Chain & chain ) const {
      std::set< IntfId > intfs;
      std::size_t catching = 0;
      if ( fragmentInfo_ ) {
         for ( auto const & flow : fragmentInfo_->flowInfo() ) {
            catching += catchesHosts( *flow.value );
            for ( auto const & host : flow.value->boundHost() ) {
               if ( catchesHosts( *flow.value ) && host.value ) {
                  intfs.insert( host.value );
               }
            }
         }
      }
      auto const rewrite = vlanOf( config_->action.vni );
      std::vector< RuleKey > wanted;
      std::vector< std::string > names;
      for ( IntfId const intf : intfs ) {
         wanted.push_back( { {}, intf } );
         names.push_back( intf.shortName() +
                          ( rewrite && isNative( intf, *rewrite ) ? " (untagged)" : "" ) );
      }
      if ( catching == 0 ) {
         chain.missing( "hosts", "no flow of the fragment catches a host" );
      } else if ( names.empty() ) {
         chain.missing( "hosts",
                        "none of the hosts that the fragment catches is known (waiting flows: " +
                           number( static_cast< std::uint32_t >( catching ) ) + ")" );
      } else {
         chain.good( "hosts", "caught on " + joined( names ) );
      }
      return wanted;
   }

   /** The wanted rules in order, then whatever else stands for the flow. */
   void addRules( Chain & chain, std::vector< RuleKey > const & wanted ) const {
      bool any = false;
      for ( RuleKey const & key : wanted ) {
         any = true;
         auto const rule = info_ ? info_->ruleInfo( key ) : nullptr;
         if ( !rule ) {
            chain.missing( "rule", "there is no rule for frames that " + placeOf( key ) );
         } else {
            addRule( chain, *rule );
         }
      }
      if ( info_ ) {
         for ( auto const & rule : info_->ruleInfo() ) {
            if ( std::ranges::find( wanted, rule.key ) == wanted.end() ) {
               any = true;
               chain.note( "rule", rule.value->ruleName().stringValue() + " is left over" );
               addRule( chain, *rule.value );
            }
         }
      }
      if ( !any ) {
         chain.missing( "rule", "there is no rule" );
      }
   }
   static std::string placeOf( RuleKey const & key ) {
      return ( key.inIntf ? "enter on " + key.inIntf.shortName()
                          : "leave by " + key.outIntf.shortName() ) +
             ( key.matchVlanTag ? "" : " untagged" );
   }
   void addRule( Chain & chain, QorClient::RuleInfo const & rule ) const {
      std::string const name = rule.ruleName().stringValue();
      auto const table = device_.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" );
      if ( !rule.published() ) {
         chain.missing( "rule", name + " is not published" );
      } else if ( !table->flowEntryHas( rule.ruleName() ) ) {
         chain.missing( "rule", name + " is not in the flow table" );
      } else {
         chain.good( "rule", name );
      }
      addAnswer( chain, name, policyAnswer( *hardware(), rule.ruleName() ) );
   }
   Kel::Ptr< OpenFlowTable::HwStatus const > hardware() const {
      return device_.entity< OpenFlowTable::HwStatus >(
         "pinflow/pfHwStatusDir/dyninputstatus/qor" );
   }

   /** The rule that lets ARP through to the service, where the platform needs one. */
   void addArp( Chain & chain ) const {
      bool const needed =
         device_.entity< OpenFlowTable::HwStatus >( "openflow/hwstatus" )->arpRuleRequired();
      if ( !needed || !config_ || ( config_->serviceIntfKey.empty() && !isIngress() ) ) {
         return;
      }
      Kel::Name const rule( place_.place.stringValue() + "-arp" );
      if ( device_.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )
              ->flowEntryHas( rule ) ) {
         chain.good( "ARP", rule.stringValue() + ": " + policyAnswer( *hardware(), rule ).words );
      } else {
         chain.missing( "ARP", "there is no rule for ARP in the service VLAN" );
      }
   }

   void addStatus( Chain & chain ) const {
      auto const status =
         device_.entity< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" )
            ->policyFragment( place_.place );
      if ( !status || !status->flowStatusHas( place_.flow ) ) {
         chain.missing( "status", "the agent reports no state" );
         return;
      }
      auto const row = status->flowStatus( place_.flow );
      std::string details = row.flowStateDetails.stringValue();
      if ( details.ends_with( ": " ) ) {  // A rejection by the hardware comes without a reason.
         details.clear();
      }
      std::string const words = "the agent reports it as " + stateWord( row.flowState ) +
                                ( details.empty() ? "" : ": " + details );
      if ( row.flowState == Qor::FlowState::flowProgrammed ) {
         chain.good( "status", words );
      } else if ( row.flowState == Qor::FlowState::flowRejected ) {
         chain.rejected( "status", words );
      } else {
         chain.missing( "status", words );
      }
   }

   Switch const & device_;
   FlowPlace const & place_;
   Kel::Ptr< QorClient::Status const > agent_;
   Kel::Ptr< Qor::V1::QorPolicyFragment const > policy_;
   Kel::Ptr< Qor::V1::ServicePolicyFragment const > fragment_;
   Kel::Ptr< QorClient::PolicyFragmentInfo const > fragmentInfo_;
   Kel::Ptr< QorClient::FlowInfo const > info_;
   std::optional< Qor::V1::PolicyFlowInfo > config_;
};

}  // namespace

Chain policyChain( Switch const & device, FlowPlace const & flow ) {
   return PolicyFlow( device, flow ).take();
}

}  // namespace Runner
