#pragma once

#include <algorithm>
#include <vector>

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
      std::vector< T > elements = copy();
      auto at = std::lower_bound( elements.begin(), elements.end(), element );
      if ( at == elements.end() || !( *at == element ) ) {
         elements.insert( at, element );
         elements_ = new Elements( std::move( elements ) );
      }
   }
   void erase( T const & element ) {
      std::vector< T > elements = copy();
      std::erase( elements, element );
      elements_ = elements.empty() ? nullptr : new Elements( std::move( elements ) );
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

   T const * begin() const { return elements_ ? elements_->list.data() : nullptr; }
   T const * end() const {
      return elements_ ? elements_->list.data() + elements_->list.size() : nullptr;
   }

   friend bool operator==( ValueSet const & a, ValueSet const & b ) {
      return a.elements_ == b.elements_ || std::equal( a.begin(), a.end(), b.begin(), b.end() );
   }

 private:
   struct Elements : PtrInterface {
      explicit Elements( std::vector< T > && elements ) : list( std::move( elements ) ) {}
      std::vector< T > const list;
   };

   std::vector< T > copy() const { return elements_ ? elements_->list : std::vector< T >(); }

   Ptr< Elements const > elements_;
};

}  // namespace Kel
