#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

namespace OpenVSwitch {

/** Matches that only one may have: who has each, and who waits for it. A match goes by a hash of
 *  itself, its table and its priority; owners by their cookie. */
class OwnMatches {
 public:
   using Owner = std::uint64_t;
   using Place = std::uint64_t;
   /** What an owner keeps, to give it back; zero for nothing. */
   using Claim = std::uint64_t;

   /** Has them all, the first of which is the claim, unless another one has one of these already,
    *  who is yielded; zero for none. There is one at least. */
   Owner claim( Owner owner, std::span< Place const > places );
   /** It wants to have them when they are nobody's any more. */
   void await( Owner owner, std::span< Place const > places );
   /** Yields those that waited for what is given back. */
   std::vector< Owner > release( Claim claim );

 private:
   void release( Place place, std::vector< Owner > & waited );

   std::unordered_map< Place, Owner > owners_;
   /** Of claims to several places, those behind the first, which is the claim. */
   std::unordered_map< Claim, std::vector< Place > > further_;
   std::unordered_multimap< Place, Owner > waiting_;
};

}  // namespace OpenVSwitch
