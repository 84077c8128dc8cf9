#include "switch/openvswitch/OwnMatches.h"

#include <algorithm>

namespace OpenVSwitch {

OwnMatches::Owner OwnMatches::ownerOf( std::span< Place const > places ) const {
   for ( Place const place : places ) {
      if ( auto const found = owners_.find( place ); found != owners_.end() ) {
         return found->second;
      }
   }
   return 0;
}

OwnMatches::Claim OwnMatches::claim( Owner owner, std::span< Place const > places ) {
   for ( Place const place : places ) {
      owners_.emplace( place, owner );
   }
   if ( places.size() > 1 ) {
      further_.emplace( places[0], std::vector< Place >( places.begin() + 1, places.end() ) );
   }
   return places[0];
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
