#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <span>

#include "platform/kel/Ptr.h"

namespace Kel {

/**
 * A sorted set inside a value record. Copies share their elements until one of them changes, so
 * that a record with empty or equal sets is cheap to copy; an empty one costs a pointer.
 */
template < class T >
class ValueSet {
 public:
   using KelElement = T;

   void insert( T const & element ) {
      T const * const at = std::lower_bound( begin(), end(), element );
      if ( at == end() || !( *at == element ) ) {
         elements_ = Elements::joined( { { begin(), at }, { &element, 1 }, { at, end() } } );
      }
   }
   void erase( T const & element ) {
      T const * const at = std::find( begin(), end(), element );
      if ( at != end() ) {
         elements_ = Elements::joined( { { begin(), at }, { at + 1, end() } } );
      }
   }
   /** Puts an element in or takes it out. */
   void memberIs( T const & element, bool member ) {
      if ( member ) {
         insert( element );
      } else {
         erase( element );
      }
   }
   bool has( T const & element ) const { return std::find( begin(), end(), element ) != end(); }
   bool empty() const { return !elements_; }

   T const * begin() const { return elements_ ? elements_->list() : nullptr; }
   T const * end() const { return elements_ ? elements_->list() + elements_->size : nullptr; }

   friend bool operator==( ValueSet const & a, ValueSet const & b ) {
      return a.elements_ == b.elements_ || std::equal( a.begin(), a.end(), b.begin(), b.end() );
   }

 private:
   /** The header of one allocation; the elements follow it. */
   struct Elements : PtrInterface {
      using Parts = std::initializer_list< std::span< T const > >;

      /** Null for no elements. */
      static Ptr< Elements const > joined( Parts parts ) {
         std::size_t size = 0;
         for ( auto const & part : parts ) {
            size += part.size();
         }
         if ( size == 0 ) {
            return nullptr;
         }
         return ::new ( ::operator new( sizeof( Elements ) + size * sizeof( T ) ) )
            Elements( parts, size );
      }
      ~Elements() override { std::destroy_n( list(), size ); }
      static void operator delete( void * memory ) { ::operator delete( memory ); }

      T * list() { return reinterpret_cast< T * >( this + 1 ); }
      T const * list() const { return reinterpret_cast< T const * >( this + 1 ); }

      std::size_t const size;

    private:
      Elements( Parts parts, std::size_t size_ ) : size( size_ ) {
         static_assert( alignof( T ) <= alignof( Elements ) );
         T * to = list();
         for ( auto const & part : parts ) {
            to = std::uninitialized_copy( part.begin(), part.end(), to );
         }
      }
   };

   Ptr< Elements const > elements_;
};

}  // namespace Kel
