#include "histories/L2RibMemory.h"

#include "histories/RoutedInvariants.h"
#include "platform/kel/Dir.h"
#include "qorclient/agent/Status.h"
#include "qorclient/datapath/HostFdbStatus.h"
#include "records/bridging/Config.h"
#include "records/l2rib/HostInput.h"
#include "records/qor/PolicyFragment.h"
#include "records/qor/PolicyFragmentStatus.h"
#include "records/slab/BridgingStatus.h"
#include "records/vxlancontroller/VniFdbStatusV2.h"

namespace Histories {

namespace {

constexpr char const * routersPreference = "64";

}  // namespace

L2RibMemory::Rows L2RibMemory::rowsOf( Scenarios::Switch const & device ) {
   Rows rows;
   auto const hosts = device.entity< L2Rib::HostInput >( "bridging/l2Rib/qor/hostInput" );
   for ( auto const & [key, row] : hosts->host() ) {
      rows[Kel::textOf( key )] = {
         std::to_string( row.preference ) + " on " + Kel::textOf( row.ciDest.intfId ),
         row.moveCount };
   }
   return rows;
}

/** Whether the controller names this switch for the host, and whether it is held back. */
L2RibMemory::Offer L2RibMemory::offerOf( Scenarios::Switch const & device,
                                         std::string const & key ) {
   auto const host = Kel::fromText< Bridging::MacVlanPair >( key );
   auto const status = device.entity< QorClient::Status >( "qorclient/status" );
   auto const tables = device.entity< Kel::Dir >( "vxlancontroller/version2/vni" );
   VxlanController::MacVtepV2 named;
   for ( auto const & [vni, vlan] : vlansOfVnis() ) {
      if ( vlan == Kel::textOf( host.vlanId ) ) {
         if ( auto const table = Kel::ptrCast< VxlanController::VniFdbStatusV2 const >(
                 tables->entity( vni.c_str() ) ) ) {
            named = table->macVtepTable( host.mac );
         }
      }
   }
   auto const learnt = QorClient::DatapathV1::getHostFdbStatus(
      host, device.entity< Bridging::Config >( "bridging/config" ),
      device.entity< Slab::Bridging::Status >( "bridging/status" ) );
   bool isHeldBack = Bridging::isEntryTypeLocal( learnt.entryType );
   auto const reports =
      device.entity< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" );
   for ( auto const & [fragment, info] : status->policyFragmentInfo() ) {
      auto const report = reports->policyFragment( fragment );
      for ( auto const & [name, flow] : info->flowInfo() ) {
         if ( report && flow->boundHostHas( host ) &&
              report->flowStatus( name ).flowState == Qor::FlowState::flowProgrammed ) {
            isHeldBack = false;
         }
      }
   }
   if ( named == VxlanController::MacVtepV2() || named.vtepAddr != status->myVtepAddr() ) {
      return Offer::none;
   }
   return isHeldBack ? Offer::heldBack : Offer::due;
}

void L2RibMemory::rememberSets( Scenarios::Switch const & device ) {
   auto const before = std::exchange( sets_, {} );
   auto const policy = Kel::ptrCast< Qor::V1::QorPolicyFragment const >(
      device.entity< Kel::Dir >( "qor/version1/policy" )->entity( "policy" ) );
   if ( !policy ) {
      return;
   }
   auto const vlans = vlansOfVnis();
   for ( auto const & [name, fragment] : policy->policyFragment() ) {
      for ( bool const isNear : { false, true } ) {
         auto const vlan =
            vlans.find( Kel::textOf( isNear ? fragment->serviceVni() : fragment->originalVni() ) );
         if ( vlan != vlans.end() ) {
            sets_[vlan->second].insert( name.stringValue() + ( isNear ? "|near" : "|far" ) );
         }
      }
   }
   for ( auto const & [vlan, sets] : sets_ ) {
      auto all = sets;
      if ( auto const old = before.find( vlan ); old != before.end() ) {
         all.insert( old->second.begin(), old->second.end() );
      }
      if ( all.size() > 1 ) {
         contested_.insert( vlan );
      }
   }
}

std::set< std::string > L2RibMemory::vlansOf( std::string const & vni ) const {
   auto const found = vlansByVni_.find( vni );
   return found == vlansByVni_.end() ? std::set< std::string >() : found->second;
}

void L2RibMemory::observe( Scenarios::Switch const & device, Scenarios::Step const & step ) {
   rememberSets( device );
   for ( auto const & [vni, vlan] : vlansOfVnis() ) {
      vlansByVni_[vni].insert( vlan );
   }
   auto const before = std::exchange( rows_, rowsOf( device ) );
   if ( auto const * damage = std::get_if< Scenarios::CorruptStep >( &step ) ) {
      for ( auto const & row : damage->rows ) {
         if ( row.table == "host" ) {
            rows_.erase( row.key );
            lost_.insert( row.key );
         } else {
            forgotten_.insert( row.key.substr( row.key.find( '|' ) + 1 ) );
         }
      }
   }
   // A start knows the router's MAC by its VLAN's original one, which may not be there yet.
   bool const started = std::holds_alternative< Scenarios::RestartStep >( step );
   for ( auto const & [key, row] : before ) {
      if ( started && row.offer.starts_with( routersPreference ) && !rows_.contains( key ) ) {
         lost_.insert( key );
      }
   }
   outdated_ = {};
   for ( auto const & [key, row] : rows_ ) {
      lost_.erase( key );
      heldBack_.erase( key );
      if ( !row.offer.starts_with( routersPreference ) && offerOf( device, key ) != Offer::due ) {
         outdated_.insert( key );
      }
   }
   auto const status = device.entity< QorClient::Status >( "qorclient/status" );
   for ( auto const & [fragment, info] : status->policyFragmentInfo() ) {
      for ( auto const & [name, flow] : info->flowInfo() ) {
         for ( auto const & host : flow->boundHostKeys() ) {
            std::string const key = Kel::textOf( host );
            if ( !rows_.contains( key ) && offerOf( device, key ) == Offer::heldBack ) {
               heldBack_.insert( key );
            }
         }
      }
   }
}

void L2RibMemory::compare( Complaints & complaints, Scenarios::Switch const & fresh,
                           std::set< std::string > const & leftOutVlans ) const {
   auto const scratch = rowsOf( fresh );
   auto describe = []( Rows const & rows, std::string const & key ) {
      auto const row = rows.find( key );
      return row == rows.end() ? "absent"
                               : row->second.offer + ", " + std::to_string( row->second.moveCount );
   };
   std::set< std::string > keys;
   for ( Rows const * rows : { &rows_, &scratch } ) {
      for ( auto const & [key, row] : *rows ) {
         keys.insert( key );
      }
   }
   for ( std::string const & key : keys ) {
      std::string const vlan = key.substr( key.find( '|' ) + 1 );
      bool const lives = rows_.contains( key );
      bool excused = leftOutVlans.contains( vlan );
      if ( !lives ) {
         excused = excused || lost_.contains( key ) || heldBack_.contains( key ) ||
                   contested_.contains( vlan ) ||
                   forgotten_.contains( key.substr( 0, key.find( '|' ) ) );
      } else if ( scratch.contains( key ) ) {
         Row const & row = rows_.at( key );
         excused = excused || ( row.offer == scratch.at( key ).offer &&
                                row.moveCount >= scratch.at( key ).moveCount );
      } else {
         excused = excused || outdated_.contains( key );
      }
      complaints.that( excused || describe( rows_, key ) == describe( scratch, key ), "L2 RIB row ",
                       key, " is ", describe( rows_, key ), ", from scratch ",
                       describe( scratch, key ) );
   }
}

}  // namespace Histories
