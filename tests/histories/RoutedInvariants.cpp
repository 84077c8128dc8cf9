#include "histories/RoutedInvariants.h"

#include "histories/Complaints.h"
#include "platform/kel/Dir.h"
#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/qorcommon/Capability.h"
#include "records/qorl3/FragmentConfig.h"
#include "records/qorl3/FragmentStatus.h"
#include "records/qorl3/GroupSetConfig.h"
#include "records/qorl3/GroupSetStatus.h"
#include "records/qorl3/GroupType.h"

namespace Histories {

using OpenFlowTable::TrafficStreamEndPointId;
using QorL3::V1::State;
using Names = std::set< std::string >;

namespace {

Names namesOf( auto const & keys ) {
   Names names;
   for ( auto const & key : keys ) {
      names.insert( Kel::textOf( key ) );
   }
   return names;
}

Names namesOf( Kel::Ptr< Kel::Dir const > const & dir ) {
   Names names;
   for ( auto const & member : dir->entity() ) {
      names.insert( member.key.stringValue() );
   }
   return names;
}

State stateFor( OpenFlowTable::FlowStatus answer ) {
   auto const number = static_cast< unsigned >( answer );
   return number == 0 ? State::pending : number == 1 ? State::active : State::error;
}

/** The hardware numbers its answers to groups and members otherwise than those to flows. */
State stateFor( OpenFlowTable::TrafficStreamStatus answer ) {
   auto const number = static_cast< unsigned >( answer );
   return number == 0 ? State::active : number == 1 ? State::pending : State::error;
}

}  // namespace

std::map< std::string, std::string > vlansOfVnis() {
   std::map< std::string, std::string > vlans;
   if ( auto const vtepInfo = QorClient::LocalData::singleton()->vtepInfo() ) {
      for ( auto const & [vni, vlan] : vtepInfo->vniToVlanMap() ) {
         vlans[Kel::textOf( vni )] = Kel::textOf( vlan );
      }
   }
   return vlans;
}

class RoutedInvariants::Check : public Complaints {
 public:
   Check( RoutedInvariants & past, Scenarios::Switch const & device )
      : past_( past ),
        entries_( device.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qorl3" ) ),
        answers_( device.entity< OpenFlowTable::HwStatus >(
           "pinflow/pfHwStatusDir/dyninputstatus/qorl3" ) ),
        flows_( device.entity< Kel::Dir >( "qorl3/version1/global/fragmentConfig" ) ),
        flowStatus_( device.entity< Kel::Dir >( "qorclientl3/version1/global/fragmentStatus" ) ),
        groupSets_( device.entity< Kel::Dir >( "qorl3/version1/global/groupSetConfig" ) ),
        groupSetStatus_(
           device.entity< Kel::Dir >( "qorclientl3/version1/global/groupSetStatus" ) ),
        types_( Kel::ptrCast< QorL3::V1::GroupTypeConfig const >(
           device.entity< Kel::Dir >( "qorl3/version1/global/groupTypeConfig" )
              ->entity( "config" ) ) ),
        typeStatus_( device.entity< QorL3::V1::GroupTypeStatus >(
           "qorclientl3/version1/global/groupTypeStatus" ) ) {
      auto const feature =
         device.entity< QorCommon::V1::Capability >( "qorclient/version1/capability" )->feature();
      up_ = feature & QorCommon::V1::FeatureBit::l3Policy;
   }

   void run( bool started ) {
      if ( !up_ ) {
         past_ = {};
         none();
         return;
      }
      collect();
      remember( started || !past_.up_ );
      checkFlowEntries();
      checkEndPoints();
      checkGroups();
      checkFlowStatus();
      checkMemberStatus();
   }

 private:
   /** While routed policy is off, nothing of it is told. */
   void none() {
      that( entries_->flowEntryCount() == 0, "routed flows are left" );
      that( entries_->trafficGroupCount() == 0, "groups are left" );
      that( entries_->trafficEndPointCount() == 0, "end points are left" );
      that( typeStatus_->groupCount() == 0, "groups' states are left" );
      that( groupSetStatus_->entityCount() == 0, "members' states are left" );
      that( flowStatus_->entityCount() == 0, "routed flows' states are left" );
   }

   /** The configured flows and end points, each with its users. */
   void collect() {
      vlans_ = vlansOfVnis();
      forEachFlow( [&]( std::string const & place, QorL3::V1::FlowConfig const & flow ) {
         users_[flow.name.stringValue()].insert( place );
      } );
      for ( auto const & [vrf, entity] : groupSets_->entity() ) {
         auto const set = Kel::ptrCast< QorL3::V1::GroupSetConfig const >( entity );
         for ( auto const & [name, group] : set->group() ) {
            for ( auto const & [vni, members] : group->memberSet() ) {
               auto const vlan = vlans_.find( Kel::textOf( vni ) );
               for ( auto const & key : members->memberKeys() ) {
                  if ( vlan != vlans_.end() ) {
                     std::string const id = vrf.stringValue() + "|" + Kel::textOf( key.ip ) + "|" +
                                            vlan->second + "|" + Kel::textOf( key.mac );
                     users_[id].insert( name.stringValue() + "|" + vlan->first );
                     groups_[id].insert( name.stringValue() );
                  }
               }
            }
         }
      }
   }

   void forEachFlow( auto const & act ) {
      for ( auto const & [vrf, entity] : flows_->entity() ) {
         auto const fragment = Kel::ptrCast< QorL3::V1::FragmentConfig const >( entity );
         for ( auto const & [order, group] : fragment->flowGroup() ) {
            for ( auto const & [name, flow] : group->flow() ) {
               act( vrf.stringValue() + "|" + Kel::textOf( order ), flow );
            }
         }
      }
   }

   void remember( bool started ) {
      Names const reported = namesOf( answers_->trafficGroupStatusKeys() );
      if ( started ) {
         past_ = {};
         past_.vlans_ = vlans_;
         past_.unheardGroups_ = reported;
         for ( auto const & name : groupNames() ) {
            past_.unheardGroups_.erase( name );
         }
      } else if ( types_ && !past_.hadTypes_ ) {
         past_.unheardGroups_ = reported;
      }
      std::erase_if( past_.unheardGroups_,
                     [&]( auto const & name ) { return !reported.contains( name ); } );
      for ( auto const & [key, users] : users_ ) {
         Names all = past_.users_[key];
         all.insert( users.begin(), users.end() );
         if ( all.size() > 1 ) {
            past_.contested_.insert( key );
         }
      }
      for ( auto const & vni : { "1", "2", "3", "4" } ) {
         if ( vlanOf( past_.vlans_, vni ) != vlanOf( vlans_, vni ) ) {
            past_.movedVnis_.insert( vni );
         }
      }
      auto const before = std::exchange( past_.reports_, {} );
      for ( auto const & [id, row] : answers_->trafficEndPointStatus() ) {
         std::string const text = id.stringValue();
         auto const old = before.find( text );
         if ( old == before.end() ) {
            past_.regrouped_.erase( text );
         } else if ( old->second != row->groupName() ) {
            past_.regrouped_.insert( text );
         }
         past_.reports_[text] = row->groupName();
      }
      past_.up_ = true;
      past_.hadTypes_ = bool( types_ );
      past_.users_ = users_;
      past_.vlans_ = vlans_;
   }

   static std::string vlanOf( auto const & vlans, std::string const & vni ) {
      auto const found = vlans.find( vni );
      return found == vlans.end() ? "" : found->second;
   }

   Names groupNames() const {
      Names names;
      if ( types_ ) {
         for ( auto const & [name, type] : types_->group() ) {
            if ( type != QorL3::V1::GroupType{} ) {
               names.insert( name.stringValue() );
            }
         }
      }
      return names;
   }

   /**
    * Each flow that is enabled and can be built has its entry, and no other has. A flow that names
    * a VNI without matching on it is the exception: it goes when the VNI loses its VLAN, but is
    * installed by a start.
    */
   void checkFlowEntries() {
      Names wanted;
      past_.unbound_ = {};
      forEachFlow( [&]( std::string const &, QorL3::V1::FlowConfig const & flow ) {
         std::string const name = flow.name.stringValue();
         bool const matchesVni = flow.matchFieldSet & QorL3::V1::MatchField::vni;
         bool const mapped = vlans_.contains( Kel::textOf( flow.match.vni ) );
         bool const named = flow.match.vni != Vxlan::VniExt{};
         if ( !flow.enabled || flow.actionFieldSet == 0 || ( matchesVni && !mapped ) ) {
            return;
         }
         wanted.insert( name );
         if ( named && !mapped ) {
            past_.unbound_.insert( name );
         }
         if ( past_.contested_.contains( name ) ) {
            return;
         }
         bool const stands = entries_->flowEntryHas( flow.name );
         that( stands || past_.unbound_.contains( name ), "routed flow ", name, " has no entry" );
         that( !stands || entries_->flowEntry( flow.name ).priority.value() ==
                             static_cast< std::int32_t >( flow.priority ),
               "routed flow ", name, " has another priority" );
      } );
      for ( auto const & name : entries_->flowEntryKeys() ) {
         that( wanted.contains( name.stringValue() ), "routed entry ", name, " has no flow" );
      }
   }

   /** Each member whose VNI is mapped has its end point, of a group that has it, and nobody else.
    */
   void checkEndPoints() {
      for ( auto const & [id, group] : entries_->trafficEndPoint() ) {
         that( groups_[id.stringValue()].contains( group.stringValue() ), "end point ",
               id.stringValue(), " of group ", group, " has no member" );
      }
      for ( auto const & [id, groups] : groups_ ) {
         that( past_.contested_.contains( id ) ||
                  entries_->trafficEndPointHas( Kel::fromText< TrafficStreamEndPointId >( id ) ),
               "member ", id, " has no end point" );
      }
   }

   /** Each configured group is in the table, and its state is what the hardware reports. */
   void checkGroups() {
      Names const groups = groupNames();
      same( namesOf( entries_->trafficGroupKeys() ), groups, "the groups" );
      for ( auto const & [name, status] : typeStatus_->group() ) {
         auto const answer = answers_->trafficGroupStatus( name );
         that( types_ && answer && status.state == stateFor( answer->status() ), "group ", name,
               " has state ", status.state );
      }
      for ( auto const & name : answers_->trafficGroupStatusKeys() ) {
         that( !types_ || past_.unheardGroups_.contains( name.stringValue() ) ||
                  typeStatus_->groupHas( name ),
               "group ", name, " has no state" );
      }
   }

   /** Each configured flow has a state, that which the hardware reports, and no other has. */
   void checkFlowStatus() {
      same( namesOf( flowStatus_ ), namesOf( flows_ ), "the VRFs' flow states" );
      for ( auto const & [vrf, entity] : flows_->entity() ) {
         auto const fragment = Kel::ptrCast< QorL3::V1::FragmentConfig const >( entity );
         auto const status =
            Kel::ptrCast< QorL3::V1::FragmentStatus const >( flowStatus_->entity( vrf ) );
         if ( !status ) {
            continue;
         }
         same( namesOf( status->flowGroupKeys() ), namesOf( fragment->flowGroupKeys() ),
               "the flow states of ", vrf );
         for ( auto const & [order, group] : status->flowGroup() ) {
            auto const config = fragment->flowGroup( order );
            if ( !config ) {
               continue;
            }
            same( namesOf( group->flowKeys() ), namesOf( config->flowKeys() ),
                  "the flow states of ", vrf, "|", Kel::textOf( order ) );
            for ( auto const & [name, row] : group->flow() ) {
               auto const answer = answers_->flowStats( name );
               that( row.state == ( answer ? stateFor( answer->status() ) : State::pending ) &&
                        ( row.detail == "No flow status" ) == !answer &&
                        row.enabled == config->flow( name ).enabled,
                     "routed flow ", name, " has state ", row.state, " ", row.detail );
            }
         }
      }
   }

   /** The same of members. */
   void checkMemberStatus() {
      same( namesOf( groupSetStatus_ ), namesOf( groupSets_ ), "the VRFs' member states" );
      for ( auto const & [vrf, entity] : groupSets_->entity() ) {
         auto const set = Kel::ptrCast< QorL3::V1::GroupSetConfig const >( entity );
         auto const status =
            Kel::ptrCast< QorL3::V1::GroupSetStatus const >( groupSetStatus_->entity( vrf ) );
         if ( !status ) {
            continue;
         }
         same( namesOf( status->groupKeys() ), namesOf( set->groupKeys() ), "the groups of ", vrf );
         for ( auto const & [name, group] : set->group() ) {
            auto const states = status->group( name );
            same( states ? namesOf( states->memberSetKeys() ) : Names{},
                  namesOf( group->memberSetKeys() ), "the member sets of ", vrf, "|", name );
            for ( auto const & [vni, members] : group->memberSet() ) {
               if ( auto const rows = states ? states->memberSet( vni ) : nullptr ) {
                  checkMembers( vrf, name, Kel::textOf( vni ), *members, *rows );
               }
            }
         }
      }
   }

   void checkMembers( Kel::Name const & vrf, Kel::String const & group, std::string const & vni,
                      QorL3::V1::MemberSetConfig const & members,
                      QorL3::V1::MemberSetStatus const & states ) {
      for ( auto const & [key, member] : members.member() ) {
         that( states.statusHas( key ), "member ", Kel::textOf( key ), " of ", vrf, "|", group, "|",
               vni, " has no state" );
      }
      if ( past_.movedVnis_.contains( vni ) ) {
         return;
      }
      TrafficStreamEndPointId id{ L3::VrfName( vrf.stringValue() ), {}, {}, {} };
      std::string const vlan = vlanOf( vlans_, vni );
      id.vlan = Kel::fromText< Bridging::VlanIdOrNone >( vlan.empty() ? "1" : vlan );
      for ( auto const & [key, row] : states.status() ) {
         id.ip = key.ip;
         id.mac = key.mac;
         auto answer = answers_->trafficEndPointStatus( id );
         if ( answer && answer->groupName() != group ) {
            answer = nullptr;
         }
         if ( past_.regrouped_.contains( id.stringValue() ) ) {
            continue;
         }
         that( members.memberHas( key ) &&
                  row.state == ( answer ? stateFor( answer->status() ) : State::pending ) &&
                  ( row.detail == "No member status" ) == !answer &&
                  row.flag == members.member( key ).flag,
               "member ", Kel::textOf( key ), " of ", vrf, "|", group, "|", vni, " has state ",
               row.state, " ", row.detail );
      }
   }

   RoutedInvariants & past_;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > const entries_;
   Kel::Ptr< OpenFlowTable::HwStatus const > const answers_;
   Kel::Ptr< Kel::Dir const > const flows_;
   Kel::Ptr< Kel::Dir const > const flowStatus_;
   Kel::Ptr< Kel::Dir const > const groupSets_;
   Kel::Ptr< Kel::Dir const > const groupSetStatus_;
   /** Null when there are none. */
   Kel::Ptr< QorL3::V1::GroupTypeConfig const > const types_;
   Kel::Ptr< QorL3::V1::GroupTypeStatus const > const typeStatus_;
   bool up_;

   std::map< std::string, std::string > vlans_;
   Users users_;
   Users groups_;
};

std::vector< std::string > RoutedInvariants::broken( Scenarios::Switch const & device,
                                                     bool started ) {
   Check check( *this, device );
   check.run( started );
   return check.broken;
}

}  // namespace Histories
