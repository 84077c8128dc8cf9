#pragma once

#include <cstdint>
#include <ostream>

#include "platform/kel/ValueMap.h"
#include "platform/kel/ValueSet.h"
#include "platform/kel/ValueTraits.h"
#include "platform/wirekit/IntfId.h"
#include "platform/wirekit/IpGenAddr.h"

namespace OpenFlowTable {

/** The bits of `Actions::actionFieldSet`. */
namespace ActionField {
/** Rewrite of the VLAN. */
inline constexpr std::uint64_t vlanId = 0x8;
inline constexpr std::uint64_t outputIntf = 0x400000;
/** The normal pipeline goes on; has no field. */
inline constexpr std::uint64_t outputNormal = 0x2000000;
inline constexpr std::uint64_t outputNexthop = 0x10000000;
/** The leading flag of a routed flow's action; has no field. */
inline constexpr std::uint64_t routedFlag = std::uint64_t{ 1 } << 32;
/** The frame leaves untagged; has no field. */
inline constexpr std::uint64_t dropTag = std::uint64_t{ 1 } << 34;
}  // namespace ActionField

struct ActionMpls {
   std::uint32_t label = 0;

   KEL_RECORD( ActionMpls, label )
};

/** What a flow entry does. A field counts only if its bit is set in `actionFieldSet`. */
struct Actions {
   std::uint64_t actionFieldSet = 0;
   Kel::ValueSet< Wirekit::IntfId > outputIntf;
   Kel::ValueSet< Wirekit::IpGenAddr > outputNexthop;
   // Without a bit of their own.
   Kel::ValueSet< Wirekit::IntfId > ingrMirrorIntf;
   Kel::ValueSet< Wirekit::IntfId > egrMirrorIntf;
   Kel::ValueMap< std::uint32_t, ActionMpls > actionMpls;
   /** The new VLAN. */
   std::uint16_t vlanId = 0;

   /** These put a member into the set or take it out. They leave the mask alone. */
   void outputIntfIs( Wirekit::IntfId intf, bool member );
   void outputNexthopIs( Wirekit::IpGenAddr const & nexthop, bool member );

   using KelRecord = Actions;
   template < class F >
   static constexpr auto kelFields( F && f ) {
      using Kel::field;
      return f( field( "actionFieldSet", &Actions::actionFieldSet ),
                field( "outputIntf", &Actions::outputIntf, ActionField::outputIntf ),
                field( "outputNexthop", &Actions::outputNexthop, ActionField::outputNexthop ),
                field( "vlanId", &Actions::vlanId, ActionField::vlanId ),
                field( "ingrMirrorIntf", &Actions::ingrMirrorIntf ),
                field( "egrMirrorIntf", &Actions::egrMirrorIntf ),
                field( "actionMpls", &Actions::actionMpls ) );
   }
   std::uint64_t kelMask() const { return actionFieldSet; }
   friend bool operator==( Actions const &, Actions const & ) = default;
   /** The mask and the fields whose bit is set. */
   friend std::ostream & operator<<( std::ostream & out, Actions const & actions );
};

}  // namespace OpenFlowTable
