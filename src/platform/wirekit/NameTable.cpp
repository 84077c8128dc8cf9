#include "platform/wirekit/NameTable.h"

#include <bit>

namespace Wirekit {

namespace {

constexpr std::uint64_t firstChunkSize = 64;

struct Place {
   std::size_t chunk;
   std::size_t offset;

   explicit constexpr Place( NameTable::Index index )
      : chunk( static_cast< std::size_t >( std::bit_width( index / firstChunkSize + 1 ) - 1 ) ),
        offset( index + firstChunkSize - ( firstChunkSize << chunk ) ) {}
};
static_assert( Place( 63 ).chunk == 0 && Place( 63 ).offset == 63 );
static_assert( Place( 64 ).chunk == 1 && Place( 64 ).offset == 0 );
static_assert( Place( 191 ).chunk == 1 && Place( 192 ).chunk == 2 );

}  // namespace

NameTable::NameTable( Abbreviate abbreviate ) : abbreviate_( abbreviate ) {
   chunks_[0] = std::make_unique< Entry[] >( firstChunkSize );
   indexOf_.emplace( std::string_view(), 0 );
}

NameTable::Entry & NameTable::entry( Index index ) const {
   Place const place( index );
   return chunks_[place.chunk][place.offset];
}

NameTable::Index NameTable::intern( std::string_view name ) {
   if ( name.empty() ) {
      return 0;
   }
   std::lock_guard const lock( mutex_ );
   if ( auto const found = indexOf_.find( name ); found != indexOf_.end() ) {
      return found->second;
   }
   auto const index = static_cast< Index >( indexOf_.size() );
   Place const place( index );
   auto & chunk = chunks_.at( place.chunk );
   if ( !chunk ) {
      chunk = std::make_unique< Entry[] >( firstChunkSize << place.chunk );
   }
   Entry & added = chunk[place.offset];
   added.name = name;
   if ( abbreviate_ != nullptr ) {
      added.abbreviation = abbreviate_( name );
   }
   indexOf_.emplace( added.name, index );
   return index;
}

}  // namespace Wirekit
