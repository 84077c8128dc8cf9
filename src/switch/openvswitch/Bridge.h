#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "platform/kel/Ptr.h"
#include "platform/kel/Value.h"
#include "records/bridging/MacVlanPair.h"
#include "switch/openvswitch/FlowBook.h"
#include "switch/openvswitch/Topology.h"

namespace OpenVSwitch {

/** What the switch's agents share: what is wanted of the bridge, and what it is like. */
class Bridge : public Kel::PtrInterface {
 public:
   /** What an operator should hear of; the fields are for programs. */
   struct Event {
      bool isTrouble = false;
      std::string text;
      Kel::Value::Object fields = { { "event", "bridge" } };
   };
   using Log = std::function< void( Event const & event ) >;

   /** The connection outlives it. */
   Bridge( Kel::Ptr< Orb::TaskScheduler > scheduler, OpenFlow::Connection & connection,
           std::uint16_t ageing, Log log )
      : scheduler_( scheduler ),
        connection_( connection ),
        book_( std::move( scheduler ), connection ),
        ageing_( ageing ),
        log_( std::move( log ) ) {}

   FlowBook & book() { return book_; }
   Topology const & topology() const { return topology_; }
   /** Tells whoever follows it, when it is another one. */
   void topologyIs( Topology topology );
   /** `changed` takes the topology as it was. Followers stay as long as the bridge. */
   void follow( std::function< void( Topology const & before ) > changed ) {
      followers_.push_back( std::move( changed ) );
   }
   /** A host is no longer where the bridge has learnt it; a bridge that is not there hears of it
    *  when it is. */
   void forgetLearnt( Bridging::MacVlanPair const & host );
   /** Whoever tells what is learnt: the bridge has no news of what is taken out for us. */
   void forgottenIs( std::function< void( Bridging::MacVlanPair const & ) > forgotten ) {
      forgotten_ = std::move( forgotten );
   }
   /** It has learnt this before, and is to know it again. */
   void learn( Bridging::MacVlanPair const & host, PortNumber port );
   void learn( OpenFlow::Flow flow );
   /** A flow is of another hand, or gone by it: of what it learns the switch would not have done so
    *  itself. */
   static bool isAnothers( OpenFlow::FlowUpdate const & update );
   /** Both are sent at the end of a turn, or now. */
   void sendLearnt();
   /** The bridge is not there any more. */
   void lost();
   /** The tunnel end points of each VNI, as the topology takes them up when it is put together. */
   using EndPoints = std::map< std::uint32_t, std::set< Wirekit::Ip4Addr > >;
   EndPoints const & endPoints() const { return endPoints_; }
   void endPointIs( std::uint32_t vni, Wirekit::Ip4Addr endPoint, bool isKnown );
   /** Whoever puts the topology together. */
   void endPointsChangedIs( std::function< void() > changed ) {
      endPointsChanged_ = std::move( changed );
   }
   /** How long a silent host stays learnt, in seconds. */
   std::uint16_t ageing() const { return ageing_; }
   void log( std::string text ) const { log_( { .text = std::move( text ) } ); }
   /** Trouble. */
   void warn( std::string text ) const { log_( { .isTrouble = true, .text = std::move( text ) } ); }
   void log( Event const & event ) const { log_( event ); }
   /** Tells of flows that the bridge does not take, unless they wait for a port or a VLAN. */
   void logRefused( char const * what, Kel::String const & key, Answer const & answer ) const;

 private:
   void changeLearnt( OpenFlow::FlowChange change );

   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   OpenFlow::Connection & connection_;
   FlowBook book_;
   Topology topology_;
   std::vector< std::function< void( Topology const & ) > > followers_;
   EndPoints endPoints_;
   std::function< void() > endPointsChanged_;
   std::function< void( Bridging::MacVlanPair const & ) > forgotten_;
   /** Of hosts learnt and forgotten, in order. */
   std::vector< OpenFlow::FlowChange > learnt_;
   bool sending_ = false;
   std::uint16_t ageing_;
   Log log_;
};

}  // namespace OpenVSwitch
