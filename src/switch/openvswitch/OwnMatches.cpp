#include "switch/openvswitch/OwnMatches.h"

#include <algorithm>

namespace OpenVSwitch {

OwnMatches::Owner OwnMatches::claim( Owner owner, std::span< Place const > places ) {
   for ( std::size_t i = 0; i != places.size(); ++i ) {
      auto const [place, isFree] = owners_.try_emplace( places[i], owner );
      if ( !isFree && place->second != owner ) {
         for ( Place const taken : places.first( i ) ) {
            owners_.erase( taken );
         }
         return place->second;
      }
   }
   if ( places.size() > 1 ) {
      further_.emplace( places[0], std::vector< Place >( places.begin() + 1, places.end() ) );
   }
   return 0;
}

void OwnMatches::await( Owner owner, std::span< Place const > places ) {
   for ( Place const place : places ) {
      auto const [first, last] = waiting_.equal_range( place );
      if ( std::none_of( first, last,
                         [owner]( auto const & waits ) { return waits.second == owner; } ) ) {
         waiting_.emplace( place, owner );
      }
   }
}

std::vector< OwnMatches::Owner > OwnMatches::release( Claim claim ) {
   std::vector< Owner > waited;
   if ( claim != 0 ) {
      release( claim, waited );
      if ( auto const further = further_.extract( claim ) ) {
         for ( Place const place : further.mapped() ) {
            release( place, waited );
         }
      }
   }
   return waited;
}

void OwnMatches::release( Place place, std::vector< Owner > & waited ) {
   owners_.erase( place );
   if ( waiting_.empty() ) {
      return;
   }
   auto const [first, last] = waiting_.equal_range( place );
   for ( auto at = first; at != last; ++at ) {
      waited.push_back( at->second );
   }
   waiting_.erase( first, last );
}

}  // namespace OpenVSwitch
