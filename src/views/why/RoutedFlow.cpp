#include <optional>

#include "platform/kel/Dir.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "qorclient/l3/FlowGroupConfigSm.h"
#include "qorclient/l3/TrafficEndPoint.h"
#include "records/catalog/Catalog.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupType.h"
#include "views/tables/Places.h"
#include "views/why/Flows.h"
#include "views/why/Links.h"

namespace Views {

namespace {

namespace MatchField = QorL3::V1::MatchField;

char const * const fragmentsPath = Catalog::pathOf( "fragmentConfigDir" );
char const * const typesPath = Catalog::pathOf( "groupTypeConfigDir" );
char const * const setsPath = Catalog::pathOf( "groupSetConfigDir" );

OpenFlowTable::Actions actionsOf( QorL3::V1::FlowConfig const & flow ) {
   return QorClientL3::V1::FlowGroupConfigSm::buildActions( flow.action, flow.actionFieldSet );
}

/** An entry of a directory; null when it isn't there. */
template < class T >
Kel::Ptr< T const > entryOf( Corestore::EntityManager const & em, char const * path,
                             Kel::Name const & name ) {
   return Kel::ptrCast< T const >( em.entity< Kel::Dir >( path )->entity( name ) );
}

/** A flow's configuration; absent if the flow is only reported. */
std::optional< QorL3::V1::FlowConfig > configOf( Corestore::EntityManager const & em,
                                                 FlowPlace const & place ) {
   auto const fragment = entryOf< QorL3::V1::FragmentConfig >( em, fragmentsPath, place.place );
   auto const group = fragment ? fragment->flowGroup( place.order ) : nullptr;
   return group && group->flowHas( place.flow ) ? std::optional( group->flow( place.flow ) )
                                                : std::nullopt;
}

class RoutedFlow {
 public:
   RoutedFlow( Corestore::EntityManager const & em, FlowPlace const & place )
      : em_( em ),
        place_( place ),
        table_( em.entity< OpenFlowTable::PinFlowHwConfig >( Catalog::pathOf( "pfHwConfigL3" ) ) ),
        answers_( em.entity< OpenFlowTable::HwStatus >( routedHardwarePath ) ),
        config_( configOf( em, place ) ) {
      for ( FlowPlace const & other : flowsNamed( em, place.flow.view() ) ) {
         if ( other.kind == FlowPlace::Kind::routed && other.flow == place.flow && other != place &&
              configOf( em, other ) ) {
            twins_.push_back( other );
         }
      }
   }

   Chain take() {
      Chain chain( flowPath( place_.place, place_.flow ),
                   config_ ? "routed flow" : "routed flow, not configured" );
      addGate( chain, em_, true );
      if ( addFlow( chain ) ) {
         addVni( chain );
         if ( config_->matchFieldSet & MatchField::srcGroup ) {
            addGroup( chain, config_->match.srcGroup );
         }
         if ( config_->matchFieldSet & MatchField::dstGroup ) {
            addGroup( chain, config_->match.dstGroup );
         }
      }
      addEntry( chain );
      addStatus( chain );
      return chain;
   }

 private:
   /** False if there is no configuration to follow. */
   bool addFlow( Chain & chain ) const {
      std::string const vrf = place_.place.stringValue();
      if ( !config_ ) {
         chain.missing( "flow",
                        "the policy of VRF " + vrf + " has no such flow: what follows is left over",
                        fragmentsPath );
         return false;
      }
      chain.good( "flow group", "VRF " + vrf + ", preference " +
                                   std::to_string( place_.order.preference ) + ", priority " +
                                   std::to_string( place_.order.priority ) );
      if ( !config_->enabled ) {
         chain.missing( "flow", "the controller has the flow disabled", fragmentsPath );
      } else if ( actionsOf( *config_ ) == OpenFlowTable::Actions{} ) {
         chain.rejected( "flow", "the flow has no action" );
      } else {
         chain.good( "flow", "enabled, priority " + std::to_string( config_->priority ) );
      }
      for ( FlowPlace const & twin : twins_ ) {
         chain.lacking( "flow", "VRF " + twin.place.stringValue() +
                                   " has a flow of this name (preference " +
                                   std::to_string( twin.order.preference ) + ", priority " +
                                   std::to_string( twin.order.priority ) +
                                   "), and the flow table one entry for both" );
      }
      return true;
   }

   void addVni( Chain & chain ) const {
      std::uint32_t const vni = config_->match.vni.value();
      std::string const words = "VNI " + std::to_string( vni );
      auto const vlan = tunnelVlan( em_, vni );
      // All else that installs the flow is there.
      bool const untold = chain.holds() && !table_->flowEntryHas( place_.flow );
      if ( !( config_->matchFieldSet & MatchField::vni ) ) {
         if ( untold && !vlan && config_->match.vni != QorL3::V1::Match().vni ) {
            chain.missing( "match VNI",
                           words + ", which the flow names and does not match, has " +
                              "lost its VLAN: the entry went with it",
                           Catalog::pathOf( "vtiStatusDir" ) );
         }
      } else if ( !vlan || untold ) {
         chain.missing( "match VNI", vniWaits( em_, words + " has no VLAN: ", vni ) );
      } else if ( auto const entry = ownEntry(); entry && entry->match.vlanId != vlan->value() ) {
         chain.missing( "match VNI", words + " is VLAN " + std::to_string( vlan->value() ) +
                                        " by now, and the entry matches VLAN " +
                                        std::to_string( entry->match.vlanId ) );
      } else {
         chain.good( "match VNI", words + " is VLAN " + std::to_string( vlan->value() ) );
      }
   }

   /** A group that the flow names, and its members in the VRF, VNI by VNI. */
   void addGroup( Chain & chain, Kel::String const & name ) const {
      std::string const group = "group " + name.stringValue();
      auto const types = entryOf< QorL3::V1::GroupTypeConfig >( em_, typesPath, "config" );
      auto const set = entryOf< QorL3::V1::GroupSetConfig >( em_, setsPath, place_.place );
      auto const members = set ? set->group( name ) : nullptr;
      auto const answer = answers_->trafficGroupStatus( name );
      if ( !types || types->group( name ) == QorL3::V1::GroupType{} ) {
         chain.lacking( "group", group + " is not configured", typesPath );
      } else if ( !members || isEmpty( *members ) ) {
         chain.lacking( "group", group + " has no member in VRF " + place_.place.stringValue(),
                        setsPath );
      } else if ( !table_->trafficGroupHas( name ) ) {
         chain.lacking( "group", group + " is not in the flow table" );
      } else if ( !answer ) {
         chain.lacking( "group", "the hardware has not answered for " + group, routedHardwarePath );
      } else if ( answer->status() != OpenFlowTable::TrafficStreamStatus::active ) {
         bool const pending = answer->status() == OpenFlowTable::TrafficStreamStatus::pending;
         chain.lacking( "group",
                        "the hardware " +
                           std::string( pending ? "is not done with " : "does not take " ) + group,
                        pending ? routedHardwarePath : nullptr );
      } else {
         chain.good( "group", group + ": active" );
      }
      if ( members ) {
         for ( auto const & memberSet : members->memberSet() ) {
            addMembers( chain, group, name, *memberSet.value );
         }
      }
   }

   static bool isEmpty( QorL3::V1::GroupMemberConfig const & group ) {
      for ( auto const & memberSet : group.memberSet() ) {
         if ( memberSet.value->memberCount() != 0 ) {
            return false;
         }
      }
      return true;
   }

   void addMembers( Chain & chain, std::string const & group, Kel::String const & name,
                    QorL3::V1::MemberSetConfig const & members ) const {
      std::uint32_t const vni = members.vni().value();
      std::string const words = group + ", VNI " + std::to_string( vni );
      auto const vlan = tunnelVlan( em_, vni );
      if ( !vlan ) {
         chain.lacking( "members", vniWaits( em_, words + " has no VLAN: ", vni ) );
         return;
      }
      std::size_t active = 0;
      std::string waiting;
      for ( auto const & member : members.member() ) {
         auto const status = answers_->trafficEndPointStatus(
            QorClientL3::V1::endPointIdOf( L3::VrfName( place_.place ), member.key, *vlan ) );
         if ( status && status->groupName() == name &&
              status->status() == OpenFlowTable::TrafficStreamStatus::active ) {
            ++active;
         } else if ( waiting.empty() ) {
            waiting = ", not " + member.key.ip.stringValue();
         }
      }
      std::string const counted = words + " in VLAN " + std::to_string( vlan->value() ) + ": " +
                                  std::to_string( active ) + " of " +
                                  std::to_string( members.memberCount() ) + " active" + waiting;
      if ( waiting.empty() ) {
         chain.good( "members", counted );
      } else {
         chain.lacking( "members", counted, routedHardwarePath );
      }
   }

   /** The flow's entry; absent if there is none or if it shows that another flow has written it. */
   std::optional< OpenFlowTable::FlowEntry > ownEntry() const {
      if ( !table_->flowEntryHas( place_.flow ) || ( !config_ && !twins_.empty() ) ) {
         return std::nullopt;
      }
      auto const entry = table_->flowEntry( place_.flow );
      return !config_ || isBuiltFrom( *config_, entry ) ? std::optional( entry ) : std::nullopt;
   }
   /** Of the match only whether there is a VLAN: which one may be out of date. */
   static bool isBuiltFrom( QorL3::V1::FlowConfig const & config,
                            OpenFlowTable::FlowEntry const & entry ) {
      bool const matchesVni = config.matchFieldSet & MatchField::vni;
      bool const matchesVlan = entry.match.matchFieldSet & OpenFlowTable::MatchField::vlanId;
      return config.enabled && matchesVni == matchesVlan && entry.actions == actionsOf( config ) &&
             entry.priority.value() == static_cast< std::int32_t >( config.priority );
   }

   void addEntry( Chain & chain ) const {
      std::string const name = place_.flow.stringValue();
      if ( !table_->flowEntryHas( place_.flow ) ) {
         chain.missing( "entry", "the flow table has no entry " + name );
      } else if ( !ownEntry() ) {
         chain.missing( "entry", "the entry " + name + " is not as this flow would have it" );
      } else {
         chain.good( "entry", name );
         addAnswer( chain, name, routedAnswer( *answers_, place_.flow ), routedHardwarePath );
      }
   }

   void addStatus( Chain & chain ) const {
      auto const fragment = entryOf< QorL3::V1::FragmentStatus >(
         em_, Catalog::pathOf( "fragmentStatusDir" ), place_.place );
      auto const group = fragment ? fragment->flowGroup( place_.order ) : nullptr;
      if ( !group || !group->flowHas( place_.flow ) ) {
         chain.missing( "status", "the agent reports no state" );
         return;
      }
      auto const row = group->flow( place_.flow );
      std::string const words = "the agent reports it as " + stateWord( row.state ) +
                                ( row.detail.empty() ? "" : ": " + row.detail.stringValue() );
      if ( row.state == QorL3::V1::State::active ) {
         chain.good( "status", words );
      } else if ( row.state == QorL3::V1::State::error ) {
         chain.rejected( "status", words );
      } else {
         chain.missing( "status", words );
      }
   }

   Corestore::EntityManager const & em_;
   FlowPlace const & place_;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > table_;
   Kel::Ptr< OpenFlowTable::HwStatus const > answers_;
   std::optional< QorL3::V1::FlowConfig > config_;
   /** The other configured flows of this name. */
   std::vector< FlowPlace > twins_;
};

}  // namespace

Chain routedChain( Corestore::EntityManager const & em, FlowPlace const & flow ) {
   return RoutedFlow( em, flow ).take();
}

}  // namespace Views
