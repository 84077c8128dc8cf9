#include "switch/vxlanagent/VlanPool.h"

#include <charconv>

#include "platform/kel/Value.h"

namespace VxlanAgent {

namespace {

using Kel::ValueError;

constexpr std::uint16_t highestVlan = 4094;

std::uint16_t vlanOf( std::string_view text ) {
   std::uint16_t number = 0;
   auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
   if ( error != std::errc{} || end != text.data() + text.size() || number < 1 ||
        number > highestVlan ) {
      throw ValueError( "wants a range of VLANs, as \"1000-1999\"" );
   }
   return number;
}

}  // namespace

VlanPool readVlanPool( std::string_view text ) {
   std::size_t const dash = text.find( '-' );
   VlanPool pool;
   pool.first = vlanOf( text.substr( 0, dash ) );
   pool.last = dash == std::string_view::npos ? pool.first : vlanOf( text.substr( dash + 1 ) );
   if ( pool.last < pool.first ) {
      throw ValueError( "wants the lower VLAN of a range first" );
   }
   return pool;
}

}  // namespace VxlanAgent
