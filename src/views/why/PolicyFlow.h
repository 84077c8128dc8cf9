#pragma once

#include <optional>
#include <string>
#include <vector>

#include "qorclient/agent/Status.h"
#include "qorclient/flowtable/HwStatus.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/bridging/SwitchIntfConfig.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragment.h"
#include "views/why/Chain.h"
#include "views/why/Flows.h"

namespace Views {

/**
 * A flow of the policy on its way to the hardware. Its source is one file a subject: its own (the
 * flow, its VNIs, what is reported), Places (the interfaces and hosts that it hangs on) and Rules.
 */
class PolicyFlow {
 public:
   PolicyFlow( Corestore::EntityManager const & em, FlowPlace const & place );

   Chain take() const;

 private:
   static inline char const * const policyPath = Catalog::pathOf( "polFragDir" );

   bool isIngress() const {
      return config_->interceptPoint == Qor::V1::InterceptPoint::interceptIngress;
   }
   static std::string vniWord( Vxlan::VniOrNone vni ) {
      return vni.isNone() ? "none" : std::to_string( vni.value() );
   }
   std::optional< Bridging::VlanId > vlanOf( Vxlan::VniOrNone vni ) const;
   bool isHostEgress() const { return config_->serviceIntfKey.empty() && !isIngress(); }
   bool isHostIngress() const { return config_->serviceIntfKey.empty() && isIngress(); }
   Kel::Ptr< Bridging::Input::SwitchIntfConfig const > portOf( Wirekit::IntfId intf ) const;
   bool isNative( Wirekit::IntfId intf, Bridging::VlanId vlan ) const;

   /** The configuration, and whether the agent acts on it. False if there is none to follow. */
   bool addFlow( Chain & chain ) const;
   void addVni( Chain & chain, char const * name, Vxlan::VniOrNone vni ) const;
   bool isOfFragment( Vxlan::VniOrNone vni ) const {
      return vni == fragment_->originalVni() || vni == fragment_->serviceVni();
   }
   std::string notOfFragment( Vxlan::VniOrNone vni ) const;
   /** ": " and why the fragment did not learn that a VNI has got a VLAN; empty if it did, as far as
    *  the state tells, or if there is no VLAN. */
   std::string whyNotTold( Vxlan::VniOrNone vni ) const;
   void addStatus( Chain & chain ) const;

   // Places. The three that add what a kind of flow hangs on yield the rules that it wants then.
   std::vector< QorClient::RuleKey > addServiceSet( Chain & chain ) const;
   std::vector< QorClient::RuleKey > addHost( Chain & chain ) const;
   std::vector< QorClient::RuleKey > addHostIntfs( Chain & chain ) const;
   /** What keeps new rules for a host from an interface; empty if nothing does. */
   std::string whyNotCaught( Wirekit::IntfId intf ) const;
   std::vector< std::string > otherCatchers( Bridging::MacVlanPair const & host ) const;
   bool isServiceIntf( Wirekit::IntfId intf ) const;
   /** Frames reach a service interface in the VLANs that are bound there. The rules don't wait for
    *  that, so that it comes after them. */
   void addBinding( Chain & chain, std::vector< QorClient::RuleKey > const & wanted ) const;

   // Rules.
   /** The wanted rules in order, then whatever else stands for the flow. */
   void addRules( Chain & chain, std::vector< QorClient::RuleKey > const & wanted ) const;
   void addNoRule( Chain & chain, QorClient::RuleKey const & key ) const;
   /** ": " and why a rule is missing though its VLANs are there; empty if the state doesn't tell.
    */
   std::string whyNoRule() const;
   void addRule( Chain & chain, QorClient::RuleInfo const & rule ) const;
   /** The other flow to which the entry of that name belongs; empty if there is none: names of
    *  fragments and flows may join to the same rule name. */
   std::string otherOwner( Kel::String const & rule ) const;
   /** What an entry has that the switch has changed since, in words that go on after its name;
    *  empty if it is as it would be built now. */
   std::string whyOutdated( QorClient::RuleKey const & key,
                            OpenFlowTable::FlowEntry const & entry ) const;
   /** The rule that lets ARP through to the service, where the platform needs one. */
   void addArp( Chain & chain ) const;
   Kel::Ptr< OpenFlowTable::PinFlowHwConfig const > flowTable() const;
   Kel::Ptr< OpenFlowTable::HwStatus const > hardware() const;

   Corestore::EntityManager const & em_;
   FlowPlace const & place_;
   Kel::Ptr< QorClient::Status const > agent_;
   Kel::Ptr< Qor::V1::QorPolicyFragment const > policy_;
   Kel::Ptr< Qor::V1::ServicePolicyFragment const > fragment_;
   Kel::Ptr< QorClient::PolicyFragmentInfo const > fragmentInfo_;
   Kel::Ptr< QorClient::FlowInfo const > info_;
   std::optional< Qor::V1::PolicyFlowInfo > config_;
};

}  // namespace Views
