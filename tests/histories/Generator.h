#pragma once

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "scenario/Scenario.h"

namespace Histories {

/**
 * Makes the steps of one random history: what controllers, hardware and other agents do to a
 * switch, in no sensible order. The same seed makes the same history. It keeps away from what ends
 * the agent by design: unknown intercept points, a second tunnel interface, a resync begun by
 * another hand, a fid without VLAN, a routed flow's priority or a member's VNI out of range.
 *
 * Seeds differ in how much of their policy is routed: from none to three quarters; and in how
 * orderly it is: in half of them each fragment has VNIs of its own, each flow a host, and services
 * have interfaces to themselves. In a fifth of them the platform's need for ARP rules comes and
 * goes.
 */
class Generator {
 public:
   explicit Generator( std::uint64_t seed )
      : random_( seed ),
        routedQuarters_( seed % 4 ),
        orderly_( seed / 4 % 2 ),
        changesArpNeed_( seed % 5 == 1 ) {}

   /** The state before the agent's first step. */
   Scenarios::Step first();
   Scenarios::Step next( Scenarios::Switch const & device );
   /** All policy is withdrawn. */
   static Scenarios::Step last();

 private:
   using Value = Kel::Value;

   std::uint64_t below( std::uint64_t limit ) { return random_() % limit; }
   bool oneIn( std::uint64_t chances ) { return below( chances ) == 0; }
   std::string oneOf( std::initializer_list< char const * > choices );

   std::string fragment() { return oneOf( { "f", "g", "h" } ); }
   std::string intf() {
      return oneOf( { "Ethernet1", "Ethernet1", "Ethernet2", "Ethernet2", "Ethernet3", "Ethernet4",
                      "Port-Channel10" } );
   }
   std::string mac();
   std::string vlan() { return oneOf( { "100", "101", "200", "201" } ); }
   std::uint64_t vlanNumber() { return std::stoul( vlan() ); }
   /** A VNI of the pool; now and then none. */
   Value vni();
   Value orNull( Value value, std::uint64_t chances );

   Value policyChange();
   Value flow( std::string const & fragment, std::string const & name );
   /** The first of a fragment's two VNIs, when order is kept. */
   std::uint64_t firstVni( std::string const & fragment ) const;
   std::string hostIntf() {
      return orderly_ && !oneIn( 12 ) ? oneOf( { "Ethernet1", "Ethernet2", "Port-Channel10" } )
                                      : intf();
   }
   Value hostChange();
   Value bridgingChange();
   Value mlagChange();
   Value roleChange();
   Value macChange();
   Value vlanMapChange();
   /** The hardware answers for some of the rules that stand, and forgets those that went. */
   Value hardwareAnswer( Scenarios::Switch const & device );
   Value gateChange();
   Scenarios::Step damage( Scenarios::Switch const & device );

   // Routed policy, in RoutedGenerator.cpp.
   std::string vrf() { return oneOf( { "red", "blue" } ); }
   std::string group() { return oneOf( { "web", "db", "app" } ); }
   std::string order() { return oneOf( { "1|9", "1|10", "2|0" } ); }
   Value routedChange( Scenarios::Switch const & device );
   Value routedFlow();
   Value flowGroupChange();
   Value groupSetChange();
   Value groupTypeChange();
   Value routedAnswer( Scenarios::Switch const & device );
   static Value::Object noRoutedPolicy();

   std::mt19937_64 random_;
   std::uint64_t const routedQuarters_;
   bool const orderly_;
   bool const changesArpNeed_;
   bool gateOpen_ = true;
   bool secondary_ = false;
   bool capable_ = true;
};

/** `value` as a member of members. */
Kel::Value at( std::initializer_list< std::string > path, Kel::Value value );

/** The steps as a scenario document that plays the history again. */
std::string scenarioText( std::string const & name, std::vector< Scenarios::Step > const & steps );

}  // namespace Histories
