#pragma once

#include "platform/kel/Entity.h"
#include "platform/orb/TaskScheduler.h"
#include "platform/wirekit/IpAddr.h"
#include "records/bridging/VlanId.h"
#include "records/vxlan/Vni.h"

/*
 * What state machines that don't own each other share, in memory alone: it is gone with the
 * process. What must survive stands in QorClient::Status.
 */

namespace QorClient {

/** The priority of the agent's tasks. */
inline constexpr Orb::TaskPriority agentTaskPriority = 2;

/** The local tunnel end point. */
class VtepInfo : public Kel::Notifier {
   KEL_NOTIFIER( QorClient::VtepInfo )
   /** The VLAN that carries each VNI. */
   KEL_MAP( Vxlan::VniExt, Bridging::VlanId, vniToVlanMap )
   KEL_SCALAR( Wirekit::IpAddr, address )
};

/** The blackboard of the agent, one for the process. Whoever asks first makes it. */
class LocalData : public Kel::NamedEntity {
   KEL_SHARED_ENTITY( QorClient::LocalData )

   static Kel::Ptr< LocalData > singleton();

   /** The scheduler for machines that aren't given one; null until the L2 side is up. */
   Kel::Ptr< Orb::TaskScheduler > scheduler() const { return scheduler_; }
   void schedulerIs( Kel::Ptr< Orb::TaskScheduler > const & scheduler ) { scheduler_ = scheduler; }

   KEL_MAP( Bridging::VlanId, Bridging::VlanId, serviceToOriginalVlan )

   /** The names of the services. */
   Kel::String qorL2Service() const { return "Qor"; }
   Kel::String qorL3Service() const { return "QorL3"; }

   /** One of the services is enabled. */
   KEL_SCALAR( bool, qorEnabled )

   /** Null unless the part that both sides of the policy share is up. */
   Kel::Ptr< VtepInfo > vtepInfo() const { return vtepInfo_; }
   /** The one that stands, or a new one. */
   Kel::Ptr< VtepInfo > vtepInfoIs();
   void vtepInfoDel();

   KEL_NEXT_ATTRIBUTE( vtepInfoId )
   using Kel_vtepInfo = Kel::AttributeTag< vtepInfoId, void >;
   // Not an entity, so documents see nothing of it.
   static auto kelAttribute( Kel::Index< vtepInfoId > ) {
      return Kel::AttributeRecord( "vtepInfo", Kel::AttributeKind::Reference );
   }

 private:
   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Kel::Ptr< VtepInfo > vtepInfo_;
};
KEL_FACTORY( localDataFactory, LocalData )

}  // namespace QorClient
