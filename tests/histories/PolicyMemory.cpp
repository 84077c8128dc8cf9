#include "histories/PolicyMemory.h"

#include <algorithm>

#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "records/bridging/SwitchIntfConfig.h"

namespace Histories {

void PolicyMemory::observe( Scenarios::Switch const & device, Scenarios::Step const & step,
                            std::set< std::string > const & placed ) {
   bool const started = std::holds_alternative< Scenarios::RestartStep >( step );
   counts_.observe( device );
   l2Rib_.observe( device, step );
   auto const status = device.entity< QorClient::Status >( "qorclient/status" );
   auto const intfs = device.entity< Bridging::SwitchIntfConfigDir >( "bridging/switchIntfConfig" );
   auto const reports =
      device.entity< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" );
   auto const policy = Kel::ptrCast< Qor::V1::QorPolicyFragment const >(
      device.entity< Kel::Dir >( "qor/version1/policy" )->entity( "policy" ) );
   Users const hosts = std::exchange( hosts_, {} );
   Users const vnis = std::exchange( vnis_, {} );
   auto unconfigured = std::exchange( unconfigured_, {} );
   std::erase_if( lasting_, [&]( auto const & fragment ) {
      return !policy || !policy->policyFragmentHas( Kel::String( fragment.first ) );
   } );
   present_ = {};
   for ( auto const & [intf, count] : status->warmHostRefCount() ) {
      warm_.insert( Kel::textOf( intf ) );
   }
   for ( char const * name : { "f", "g", "h" } ) {
      if ( members_.contains( name ) && !( policy && policy->policyFragmentHas( name ) ) ) {
         gone_.insert( name );
         setDown_.erase( name );
         members_.erase( name );
      }
   }
   if ( !policy ) {
      return;
   }
   for ( auto const & [key, fragment] : policy->policyFragment() ) {
      std::string const name = key.stringValue();
      vnis_[Kel::textOf( fragment->originalVni() )].insert( name + "|original" );
      vnis_[Kel::textOf( fragment->serviceVni() )].insert( name + "|service" );
      std::set< std::string > members;
      auto const info = status->policyFragmentInfo( key );
      for ( auto const & [setName, set] : fragment->serviceIntfSet() ) {
         for ( auto const & intf : set->intfKeys() ) {
            members.insert( setName.stringValue() + "|" + intf.stringValue() );
         }
         auto const vni = setName == "far"    ? fragment->originalVni()
                          : setName == "near" ? fragment->serviceVni()
                                              : Vxlan::VniOrNone{};
         if ( setName != "other" && info && !info->serviceIntfSetInfoHas( setName ) ) {
            setDown_.insert( name );
         }
         if ( !vni.isNone() && info && !info->serviceIntfSetInfoHas( setName ) ) {
            present_[name].insert( "set down" );
         }
      }
      for ( std::string const & member : std::exchange( members_[name], members ) ) {
         if ( !members.contains( member ) ) {
            left_[name].insert( member.substr( member.find( '|' ) + 1 ) );
         }
      }
      std::set< std::string > returned;
      for ( auto const & [flowName, flow] : fragment->flow() ) {
         if ( std::minmax( flow.match.vni.value(), flow.action.vni.value() ) !=
              std::minmax( fragment->originalVni().value(), fragment->serviceVni().value() ) ) {
            lasting_[name].insert( "not between the fragment's VNIs" );
         }
         if ( flow.interceptPoint != Qor::V1::InterceptPoint::interceptIngress ||
              !flow.serviceIntfKey.empty() ) {
            continue;
         }
         hosts_[Kel::textOf( flow.match.srcMac ) + "|" + Kel::textOf( flow.match.vni )].insert(
            name + "|" + flowName.stringValue() );
         auto const flowInfo = info ? info->flowInfo( flowName ) : nullptr;
         if ( !flowInfo ) {
            continue;
         }
         for ( auto const & [host, installed] : flowInfo->boundHost() ) {
            std::string const warm = Kel::textOf( status->warmHost( host ) );
            if ( Kel::textOf( installed ) != warm && hasLeft( name, warm ) ) {
               present_[name].insert( "service interface left" );
            }
            std::string const place =
               name + "|" + flowName.stringValue() + "|" + Kel::textOf( host );
            if ( !warm.empty() && Kel::textOf( installed ) != warm &&
                 ( !intfs->switchIntfConfigHas( Wirekit::IntfId( warm ) ) ||
                   unconfigured[place] == warm ) ) {
               unconfigured_[place] = warm;
               present_[name].insert( "no switch configuration" );
            }
            if ( Kel::textOf( installed ).empty() || !warm.empty() ) {
               // Gone for the host tracker, and put back by the MLAG peer within one start.
               bool const wasLost = lost_.erase( place ) != 0 ||
                                    ( started && placed.contains( Kel::textOf( host ) ) );
               if ( wasLost && Kel::textOf( installed ) == warm ) {
                  returned.insert( flowName.stringValue() );
               }
            } else if ( started || lost_.contains( place ) ) {
               lost_.insert( place );
               present_[name].insert( "host lost" );
            }
            if ( members.contains( "near|" + Kel::textOf( installed ) ) ||
                 members.contains( "far|" + Kel::textOf( installed ) ) ) {
               present_[name].insert( "service interface joined" );
            }
            auto const intf = intfs->switchIntfConfig( installed );
            if ( intf && intf->trunkNativeVlan().value() != flowInfo->nativeVlan().value() ) {
               present_[name].insert( "native VLAN" );
            }
         }
      }
      noteReturns( *fragment, reports->policyFragment( key ), returned );
   }
   mark( hosts, hosts_, "shared host" );
   vnis_.erase( Kel::textOf( Vxlan::VniOrNone{} ) );
   mark( vnis, vnis_, "shared VNI" );
}

bool PolicyMemory::hasLeft( std::string const & fragment, std::string const & intf ) const {
   auto const left = left_.find( fragment );
   return left != left_.end() && left->second.contains( intf );
}

void PolicyMemory::noteReturns(
   Qor::V1::ServicePolicyFragment const & fragment,
   Kel::Ptr< Qor::V1::ServicePolicyFragmentStatus const > const & status,
   std::set< std::string > const & returned ) {
   for ( auto const & [flowName, flow] : fragment.flow() ) {
      std::string const place = Kel::textOf( fragment.name() ) + "|" + flowName.stringValue();
      bool const isEgress = flow.interceptPoint == Qor::V1::InterceptPoint::interceptEgress &&
                            flow.serviceIntfKey.empty();
      if ( !status ||
           status->flowStatus( flowName ).flowStateDetails != "Waiting for: Host to be learnt" ) {
         untold_.erase( place );
      } else if ( isEgress ? !returned.empty() : returned.contains( flowName.stringValue() ) ) {
         untold_.insert( place );
      }
   }
}

void PolicyMemory::mark( Users const & before, Users const & after, char const * why ) {
   for ( auto const & [key, users] : after ) {
      auto all = users;
      if ( auto const old = before.find( key ); old != before.end() ) {
         all.insert( old->second.begin(), old->second.end() );
      }
      if ( all.size() > 1 ) {
         for ( std::string const & user : all ) {
            lasting_[user.substr( 0, user.find( '|' ) )].insert( why );
         }
      }
   }
}

std::string PolicyMemory::unsettled( std::string const & fragment ) const {
   std::string text;
   for ( Users const * reasons : { &lasting_, &present_ } ) {
      if ( auto const found = reasons->find( fragment ); found != reasons->end() ) {
         for ( std::string const & why : found->second ) {
            text += ( text.empty() ? "" : ", " ) + why;
         }
      }
   }
   return text;
}

}  // namespace Histories
