#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/corestore/EntityManager.h"
#include "switch/openflow/Connection.h"
#include "switch/openvswitch/Bridge.h"
#include "switch/openvswitch/GroupsSm.h"
#include "switch/openvswitch/LearntHosts.h"
#include "switch/openvswitch/LearntNexthops.h"
#include "switch/openvswitch/OfferedHostsSm.h"
#include "switch/openvswitch/RemoteHostsSm.h"
#include "switch/openvswitch/RulesSm.h"
#include "switch/openvswitch/TopologySm.h"
#include "switch/ovsdb/Client.h"
#include "switch/vxlanagent/VlanGiverSm.h"

namespace OpenVSwitch {

/** Which bridge is steered, and with what. */
struct Settings {
   std::string bridge;
   /** The switch's folder of sockets: its database's "db.sock", and the bridge's own. */
   std::string runFolder = "/var/run/openvswitch";
   VxlanAgent::VlanPool vlanPool;
   /** The address of this switch's tunnel end point; nothing for a bridge without one of ours. */
   std::optional< Wirekit::Ip4Addr > vtep;
   /** Seconds for which a silent host stays learnt. */
   std::uint16_t ageing = 300;
};

/**
 * The other agents of a switch, on an Open vSwitch bridge: the hardware's agent for the flow
 * tables, the bridging agent, which tells ports, VLANs and hosts, and the VXLAN agent. They go on
 * from what state and bridge have, and leave both as they are when they go.
 */
class Agents : private Orb::Timer {
 public:
   /** The entities of the mount plan stand. `log` takes what an operator should hear of. */
   Agents( Corestore::EntityManager & em, Settings const & settings, Bridge::Log log );
   ~Agents() override;
   Agents( Agents const & ) = delete;
   Agents & operator=( Agents const & ) = delete;

   /** Whether a row of the state (Corestore::Row) is written by these agents. */
   static bool owns( std::string_view rowPath );
   /** Whether these agents have a use for a row; their own are among them. */
   static bool follows( std::string_view rowPath );

 private:
   void databaseChanged();
   /** Of what an operator may not have meant. */
   void tellOddities( Ovsdb::Bridge const & bridge );
   /** The tunnel interface has the address of this switch. */
   void tellEndPoint();
   void bridgeUp();
   void flowChanged( OpenFlow::FlowUpdate const & update );
   void readSoon();
   /** It is time to read what others have changed. */
   void due() override;

   Corestore::EntityManager & em_;
   Settings settings_;
   std::optional< Ovsdb::Client > database_;
   std::optional< OpenFlow::Connection > connection_;
   Kel::Ptr< Bridge > bridge_;
   Kel::Ptr< TopologySm > topology_;
   Kel::Ptr< RulesSm > rules_;
   Kel::Ptr< RulesSm > routedRules_;
   Kel::Ptr< GroupsSm > groups_;
   Kel::Ptr< OfferedHostsSm > offeredHosts_;
   Kel::Ptr< RemoteHostsSm > remoteHosts_;
   std::optional< LearntHosts > learntHosts_;
   std::optional< LearntNexthops > learntNexthops_;
   Kel::Ptr< VxlanAgent::VlanGiverSm > vlanGiver_;
   bool isReadDue_ = false;
   bool hasPorts_ = false;
   bool isFollowed_ = false;
   bool isTold_ = false;
   bool isTunnelAsked_ = false;
   std::set< std::string > oddities_;
};

}  // namespace OpenVSwitch
