#include "platform/kel/String.h"

#include <cstring>
#include <new>

namespace Kel {

std::size_t hashBytes( std::string_view bytes ) {
   constexpr std::uint64_t factor = 0x9e3779b97f4a7c15;
   std::uint64_t hash = bytes.size() * factor;
   auto mix = [&hash]( std::uint64_t word ) {
      hash = ( hash ^ word ) * factor;
      hash ^= hash >> 32;
   };
   char const * at = bytes.data();
   std::size_t left = bytes.size();
   for ( ; left >= sizeof( std::uint64_t ); left -= sizeof( std::uint64_t ) ) {
      std::uint64_t word;
      std::memcpy( &word, at, sizeof( word ) );
      mix( word );
      at += sizeof( word );
   }
   if ( left ) {
      std::uint64_t word = 0;
      std::memcpy( &word, at, left );
      mix( word );
   }
   return hash;
}

String String::concat( std::initializer_list< std::string_view > parts ) {
   std::size_t size = 0;
   for ( std::string_view part : parts ) {
      size += part.size();
   }
   String text;
   if ( size == 0 ) {
      return text;
   }
   void * memory = ::operator new( sizeof( Rep ) + size + 1 );
   Rep * rep = new ( memory ) Rep{ 1, static_cast< std::uint32_t >( size ), 0 };
   char * at = rep->bytes();
   for ( std::string_view part : parts ) {
      at += part.copy( at, part.size() );
   }
   *at = '\0';
   rep->hash = hashBytes( { rep->bytes(), size } );
   text.rep_ = rep;
   return text;
}

void String::release( Rep * rep ) noexcept {
   ::operator delete( rep );
}

}  // namespace Kel
