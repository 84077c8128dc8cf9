#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Kel {

/**
 * The neutral form of any attribute's value, as documents, the journal and the store use it.
 * Objects keep the order of their members.
 */
class Value {
 public:
   using Array = std::vector< Value >;
   using Object = std::vector< std::pair< std::string, Value > >;

   Value() = default;
   Value( bool v ) : data_( v ) {}
   Value( std::uint64_t v ) : data_( v ) {}
   Value( std::int64_t v ) : data_( v ) {}
   Value( double v ) : data_( v ) {}
   Value( std::string v ) : data_( std::move( v ) ) {}
   Value( char const * v ) : data_( std::string( v ) ) {}
   Value( Array v ) : data_( std::move( v ) ) {}
   Value( Object v ) : data_( std::move( v ) ) {}

   bool isNull() const { return std::holds_alternative< std::monostate >( data_ ); }
   /** Null when the value is of another kind. */
   template < class T >
   T const * as() const {
      return std::get_if< T >( &data_ );
   }
   template < class T >
   T * as() {
      return std::get_if< T >( &data_ );
   }
   /** "a number", "an object", …: for messages. */
   char const * kindName() const;
   /** The member of an object; null when this is no object or has no such member. */
   Value const * member( std::string_view name ) const;

   friend bool operator==( Value const &, Value const & ) = default;

   auto const & variant() const { return data_; }

 private:
   std::variant< std::monostate, bool, std::uint64_t, std::int64_t, double, std::string, Array,
                 Object >
      data_;
};

/** A value that does not fit: the reason, and the place below the value that was given. */
class ValueError : public std::runtime_error {
 public:
   /** The reason is shown on one line. */
   explicit ValueError( std::string const & reason );
   /** The same error, seen from one level up. */
   [[nodiscard]] ValueError below( std::string_view member ) const;
   /** A JSON pointer; empty for the value itself. */
   std::string const & pointer() const { return pointer_; }

 private:
   std::string pointer_;
};

/** One step of a JSON pointer, escaped, with its leading slash. */
std::string pointerStep( std::string_view member );

}  // namespace Kel
