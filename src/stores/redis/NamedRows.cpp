#include "stores/redis/NamedRows.h"

#include <algorithm>
#include <new>

#include "platform/kel/String.h"

namespace Redis {

namespace {

constexpr std::size_t smallest = 4;

}  // namespace

NamedRows::~NamedRows() {
   for ( std::size_t at = 0; at != size_; ++at ) {
      ::operator delete( slots_[at] );
   }
   delete[] slots_;
}

std::size_t NamedRows::homeOf( std::string_view name ) const {
   return Kel::hashBytes( name ) & ( size_ - 1 );
}

std::size_t NamedRows::placeOf( std::string_view name ) const {
   std::size_t at = homeOf( name );
   while ( slots_[at] && slots_[at]->name() != name ) {
      at = next( at );
   }
   return at;
}

Standing * NamedRows::find( std::string_view name ) const {
   Named * const row = count_ == 0 ? nullptr : slots_[placeOf( name )];
   return row ? &row->standing : nullptr;
}

Standing & NamedRows::add( std::string_view name, Standing const & standing ) {
   // At most three quarters full.
   if ( 4 * ( count_ + 1 ) > 3 * size_ ) {
      sizeIs( size_ == 0 ? smallest : 2 * size_ );
   }
   constexpr std::size_t head = offsetof( Named, size ) + sizeof( Named::size );
   void * const memory = ::operator new( std::max( head + name.size(), sizeof( Named ) ) );
   auto * const row = new ( memory ) Named{ standing, static_cast< std::uint32_t >( name.size() ) };
   name.copy( row->bytes(), name.size() );
   slots_[placeOf( name )] = row;
   ++count_;
   return row->standing;
}

std::optional< Standing > NamedRows::take( std::string_view name ) {
   std::size_t gap = count_ == 0 ? 0 : placeOf( name );
   if ( count_ == 0 || !slots_[gap] ) {
      return std::nullopt;
   }
   Standing const taken = slots_[gap]->standing;
   ::operator delete( std::exchange( slots_[gap], nullptr ) );
   // What stands behind comes up, so that no search ends before it.
   for ( std::size_t at = next( gap ); slots_[at]; at = next( at ) ) {
      std::size_t const home = homeOf( slots_[at]->name() );
      if ( ( ( at - home ) & ( size_ - 1 ) ) >= ( ( at - gap ) & ( size_ - 1 ) ) ) {
         slots_[gap] = std::exchange( slots_[at], nullptr );
         gap = at;
      }
   }
   --count_;
   if ( size_ > smallest && 8 * count_ < size_ ) {
      sizeIs( size_ / 2 );
   }
   return taken;
}

void NamedRows::sizeIs( std::size_t size ) {
   Named ** const old = std::exchange( slots_, new Named *[size]() );
   std::size_t const before = std::exchange( size_, size );
   for ( std::size_t from = 0; from != before; ++from ) {
      if ( old[from] ) {
         slots_[placeOf( old[from]->name() )] = old[from];
      }
   }
   delete[] old;
}

}  // namespace Redis
