// Places: the interfaces and hosts that a flow hangs on, and the rules that it wants there.

#include <set>

#include "qorclient/datapath/KelPolicyFragment.h"
#include "records/bridging/AllowedVlans.h"
#include "records/catalog/Catalog.h"
#include "views/Remarks.h"
#include "views/tables/Places.h"
#include "views/tables/Words.h"
#include "views/why/PolicyFlow.h"

namespace Views {

using Bridging::MacVlanPair;
using Bridging::VlanId;
using QorClient::RuleKey;
using QorClient::DatapathV1::KelPolicyFragment;
using Wirekit::IntfId;

std::vector< RuleKey > PolicyFlow::addServiceSet( Chain & chain ) const {
   std::string const name = config_->serviceIntfKey.stringValue();
   auto const set = fragment_->serviceIntfSet( config_->serviceIntfKey );
   if ( !set ) {
      chain.missing( "interfaces", "the fragment has no set \"" + name + "\"", policyPath );
      return {};
   }
   auto const allowed =
      em_.entity< Bridging::Input::AllowedVlans >( Catalog::pathOf( "dynAllowedVlans" ) );
   std::vector< RuleKey > wanted;
   std::vector< std::string > names;
   for ( auto const & member : set->intf() ) {
      IntfId const intf( member.key.view() );
      std::string const vlans = allowed->vlans( intf ).stringValue();
      wanted.push_back( isIngress() ? RuleKey{ intf, {} } : RuleKey{ {}, intf } );
      names.push_back( intf.shortName() +
                       ( vlans.empty() ? "" : " (allowed VLAN " + vlans + ")" ) );
   }
   if ( names.empty() ) {
      chain.missing( "interfaces", "the set \"" + name + "\" has no interface", policyPath );
   } else {
      chain.good( "interfaces", name + ": " + joined( names ) );
   }
   for ( auto const & member : set->intf() ) {
      if ( std::string const remark = intfRemark( member.key.view() ); !remark.empty() ) {
         chain.note( "interfaces", remark );
      }
   }
   return wanted;
}

void PolicyFlow::addBinding( Chain & chain, std::vector< RuleKey > const & wanted ) const {
   if ( wanted.empty() || config_->serviceIntfKey.empty() ) {
      return;
   }
   std::string const name = config_->serviceIntfKey.stringValue();
   bool const isFar = name == "far";
   std::string why;
   if ( !isFar && name != "near" ) {
      why = "\"" + name + "\" is neither near nor far";
   } else if ( ( isFar ? fragment_->originalVni() : fragment_->serviceVni() ).isNone() ) {
      why = std::string( "the fragment has no " ) + ( isFar ? "original VNI" : "service VNI" );
   } else {
      return;
   }
   std::vector< std::string > names;
   names.reserve( wanted.size() );
   for ( RuleKey const & key : wanted ) {
      names.push_back( ( key.inIntf ? key.inIntf : key.outIntf ).shortName() );
   }
   chain.lacking( "binding", joined( names ) + ": no VNI is bound there, as " + why );
}

std::vector< RuleKey > PolicyFlow::addHost( Chain & chain ) const {
   std::string const mac = config_->match.srcMac.stringValue();
   auto const vlan = vlanOf( config_->match.vni );
   if ( !vlan ) {
      chain.missing( "host", mac + " is looked for when the match VNI has a VLAN" );
      return {};
   }
   MacVlanPair const host{ config_->match.srcMac, *vlan };
   std::string const words = mac + " in VLAN " + std::to_string( vlan->value() );
   IntfId const intf = agent_->warmHost( host );
   if ( !agent_->boundHostHas( host ) ) {
      chain.missing( "host",
                     words + " is not looked for by the agent" + whyNotTold( config_->match.vni ) );
      return {};
   }
   if ( !intf ) {
      Reason reason = whyNotKnown( em_, host );
      reason.words.insert( 0, words + " is " );
      chain.missing( "host", reason );
      return {};
   }
   std::string const place = words + " is on " + intf.shortName();
   RuleKey const tagged{ intf, {} };
   RuleKey const untagged{ intf, {}, false };
   std::string const trouble = whyNotCaught( intf );
   if ( !trouble.empty() && info_ && info_->ruleInfo( tagged ) ) {
      chain.note( "host", place + ", " + trouble + " by now: its rules stay as they are" );
      return info_->ruleInfo( untagged ) ? std::vector{ tagged, untagged } : std::vector{ tagged };
   }
   if ( !trouble.empty() ) {
      chain.missing( "host", place + ", " + trouble + ": not caught there",
                     isServiceIntf( intf ) ? nullptr : Catalog::pathOf( "switchIntfConfigDir" ) );
      return {};
   }
   auto const others = otherCatchers( host );
   if ( !others.empty() ) {
      if ( info_ && info_->boundHost( host ) == intf ) {
         chain.note( "host", "it is the host of " + joined( others ) + " too" );
      } else {
         chain.missing( "host", mac + " is the host of " + joined( others ) +
                                   " too, and only the flow that was read last follows it" );
      }
   }
   if ( isNative( intf, *vlan ) ) {
      chain.good( "host", place + ", where that is native: also untagged frames" );
      return { tagged, untagged };
   }
   chain.good( "host", place );
   return { tagged };
}

std::string PolicyFlow::whyNotCaught( IntfId intf ) const {
   return isServiceIntf( intf ) ? "a service interface of the fragment"
          : !portOf( intf )     ? "an interface without switchport configuration"
                                : "";
}

std::vector< std::string > PolicyFlow::otherCatchers( MacVlanPair const & host ) const {
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

bool PolicyFlow::isServiceIntf( IntfId intf ) const {
   for ( auto const & set : fragment_->serviceIntfSet() ) {
      if ( set.value->intfHas( intf.name() ) ) {
         return true;
      }
   }
   return false;
}

std::vector< RuleKey > PolicyFlow::addHostIntfs( Chain & chain ) const {
   std::set< IntfId > intfs;
   std::size_t catching = 0;
   if ( fragmentInfo_ ) {
      for ( auto const & flow : fragmentInfo_->flowInfo() ) {
         catching += KelPolicyFragment::isHostInterceptFlow( *flow.value );
         for ( auto const & host : flow.value->boundHost() ) {
            if ( KelPolicyFragment::isHostInterceptFlow( *flow.value ) && host.value ) {
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
                       ( rewrite && isNative( intf, *rewrite ) ? " (its native VLAN)" : "" ) );
   }
   if ( catching == 0 ) {
      chain.missing( "hosts", "no flow of the fragment catches a host", policyPath );
   } else if ( names.empty() ) {
      chain.missing( "hosts", "none of the flows that catch hosts has a rule yet (waiting flows: " +
                                 std::to_string( catching ) + ")" );
   } else {
      chain.good( "hosts", "caught on " + joined( names ) );
   }
   return wanted;
}

}  // namespace Views
