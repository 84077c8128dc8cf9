#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "platform/kel/Value.h"

namespace Live {

/** Documents as a controller sends them one after the other, by a seed: flows and
 *  interfaces of services with VNIs of their own come, change and go. The services stay: rules of
 *  one that goes while there is no agent stay by design, until an audit takes them out. */
class PolicyDocuments {
 public:
   explicit PolicyDocuments( std::uint64_t seed ) : random_( seed ) {}

   /** The switch before all policy. It has VLANs for all VNIs but one, since whoever gives them
    * gives the next to the first that asks. */
   static Kel::Value device() {
      using Kel::Value;
      Value::Object vlans;
      for ( std::uint64_t service = 0; service != services; ++service ) {
         for ( std::uint64_t vni : { originalVni( service ), serviceVni( service ) } ) {
            if ( vni != serviceVni( 0 ) ) {
               vlans.emplace_back( std::to_string( vni ), Value::Object{ { "vni", vni } } );
            }
         }
      }
      Value::Object const tunnel{ { "addr", "192.0.2.1" }, { "vlanToVniMap", vlans } };
      Value::Object const qor{ { "Qor", Value::Object{ { "enabled", true } } } };
      return Value::Object{
         { "pinflow/pfHwStatusDir/dyninputstatus/qor", Value::Object{ { "supported", true } } },
         { "interface/status/eth/vxlan",
           Value::Object{ { "vtiStatus", Value::Object{ { "Vxlan1", tunnel } } } } },
         { "mgmt/controller/status",
           Value::Object{ { "enabled", true },
                          { "leaderServiceStatusDir", Value::Object{ { "service", qor } } } } } };
   }
   Kel::Value next() {
      using Kel::Value;
      Value::Object fragments;
      for ( std::uint64_t service = 0; service != services; ++service ) {
         fragments.emplace_back( "f" + std::to_string( service ), fragment( service ) );
      }
      return Value::Object{
         { "qor/version1/policy",
           Value::Object{ { "policy", Value::Object{ { "policyFragment", fragments } } } } } };
   }

 private:
   static constexpr std::uint64_t services = 4;
   static std::uint64_t originalVni( std::uint64_t service ) { return 100 + service; }
   static std::uint64_t serviceVni( std::uint64_t service ) { return 200 + service; }

   bool oneIn( std::uint64_t chances ) { return random_() % chances == 0; }
   Kel::Value orNull( Kel::Value value, std::uint64_t chances ) {
      return oneIn( chances ) ? Kel::Value() : value;
   }
   /** One that has left does not come back: it comes under another name. */
   Kel::Value interfaces( std::uint64_t first ) {
      Kel::Value::Object members;
      for ( std::uint64_t i = first; i != first + 4; ++i ) {
         std::string const slot = "Ethernet" + std::to_string( i ) + "/";
         std::uint64_t & left = left_[i];
         members.emplace_back( slot + std::to_string( left ), orNull( true, 3 ) );
         if ( members.back().second.isNull() ) {
            ++left;
         }
      }
      return Kel::Value::Object{ { "intf", members } };
   }
   Kel::Value flow( std::string const & side, std::uint64_t from, std::uint64_t to ) {
      using Kel::Value;
      return Value::Object{ { "interceptPoint", std::uint64_t{ oneIn( 4 ) } },
                            { "serviceIntfKey", side },
                            { "match", Value::Object{ { "vni", from } } },
                            { "action", Value::Object{ { "vni", to } } } };
   }
   Kel::Value fragment( std::uint64_t service ) {
      using Kel::Value;
      std::uint64_t const original = originalVni( service );
      std::uint64_t const vni = serviceVni( service );
      return Value::Object{
         { "originalVni", original },
         { "serviceVni", vni },
         { "serviceIntfSet", Value::Object{ { "near", interfaces( 8 * service + 1 ) },
                                            { "far", interfaces( 8 * service + 5 ) } } },
         { "flow", Value::Object{ { "there", orNull( flow( "near", vni, original ), 4 ) },
                                  { "back", orNull( flow( "far", original, vni ), 4 ) } } } };
   }

   std::mt19937_64 random_;
   /** How many have left, by slot. */
   std::map< std::uint64_t, std::uint64_t > left_;
};

}  // namespace Live
