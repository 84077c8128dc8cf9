#pragma once

#include <algorithm>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <ostream>

#include "platform/kel/Exceptions.h"
#include "platform/kel/Hash.h"

namespace Wirekit {

/**
 * A number that can't hold a value outside its range.
 *
 * Range is a tag that describes it:
 * - `Number`, the integer type that stores it; `min`, `max`; `initial`, the default value;
 * - `text`, the message of the range exception; left out where every Number is valid;
 * - `none`, the number that stands for "no value", in an or-none type only, and with it `Plain`,
 *   the tag of the type without it;
 * - `Family`, a type that all numbers of one meaning share: only those convert into each other.
 *
 * Conversion from a type without none is implicit where its whole range fits, and explicit and
 * checked otherwise. From an or-none type it goes to its plain type only, explicit and checked:
 * a none would turn into an ordinary number anywhere else.
 */
template < typename Range >
class RangedNumber {
   template < typename Other >
   static consteval bool convertsFrom() {
      if constexpr ( std::same_as< Other, Range > ||
                     !std::same_as< typename Other::Family, typename Range::Family > ) {
         return false;
      } else if constexpr ( RangedNumber< Other >::hasNone ) {
         return std::same_as< typename Other::Plain, Range >;
      } else {
         return true;
      }
   }
   template < typename Other >
   static consteval bool mustCheck() {
      return RangedNumber< Other >::hasNone || Other::min < Range::min || Other::max > Range::max;
   }

 public:
   using Number = typename Range::Number;
   static constexpr Number min = Range::min;
   static constexpr Number max = Range::max;
   static constexpr bool hasNone = requires { Range::none; };

   constexpr RangedNumber() = default;

   /** Throws RangeException with the text of the range for a value outside it. */
   constexpr explicit RangedNumber( Number value ) : value_( value ) {
      if constexpr ( requires { Range::text; } ) {
         if ( std::clamp( value, min, max ) != value ) {
            Kel::throwRangeException( Range::text );
         }
      }
   }

   template < typename Other >
   requires( convertsFrom< Other >() ) constexpr explicit( mustCheck< Other >() )
      RangedNumber( RangedNumber< Other > other )
      : RangedNumber( other.value() ) {}

   constexpr Number value() const { return value_; }
   constexpr std::size_t hash() const {
      return Kel::mixHash( static_cast< std::uint64_t >( value_ ) );
   }

   static constexpr RangedNumber none() requires hasNone { return RangedNumber( Range::none ); }
   constexpr bool isNone() const requires hasNone { return value_ == Range::none; }
   /** False for none. */
   constexpr explicit operator bool() const requires hasNone { return value_ != Range::none; }

   friend constexpr bool operator==( RangedNumber, RangedNumber ) = default;
   friend constexpr auto operator<=>( RangedNumber, RangedNumber ) = default;
   friend std::ostream & operator<<( std::ostream & out, RangedNumber number ) {
      return out << number.value_;
   }

 private:
   Number value_ = Range::initial;
};

}  // namespace Wirekit
