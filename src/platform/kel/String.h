#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

namespace Kel {

/** A stable hash of bytes. */
std::size_t hashBytes( std::string_view bytes );

/**
 * An immutable text that is cheap to copy: the bytes and their hash are shared and counted.
 * Used by one thread, as everything in the agent.
 */
class String {
 public:
   constexpr String() = default;
   String( char const * text ) : String( std::string_view( text ) ) {}
   String( std::string const & text ) : String( std::string_view( text ) ) {}
   String( std::string_view text ) : String( concat( { text } ) ) {}
   String( String const & other ) noexcept : rep_( other.rep_ ) {
      if ( rep_ ) {
         ++rep_->references;
      }
   }
   String( String && other ) noexcept : rep_( std::exchange( other.rep_, nullptr ) ) {}
   ~String() {
      if ( rep_ && --rep_->references == 0 ) {
         release( rep_ );
      }
   }
   String & operator=( String other ) noexcept {
      std::swap( rep_, other.rep_ );
      return *this;
   }

   /** One text made of several, with one allocation. */
   static String concat( std::initializer_list< std::string_view > parts );
   static std::optional< String > parse( std::string_view text ) { return String( text ); }

   bool empty() const { return rep_ == nullptr; }
   std::size_t size() const { return rep_ ? rep_->size : 0; }
   char const * charPtr() const { return rep_ ? rep_->bytes() : ""; }
   std::string_view view() const { return { charPtr(), size() }; }
   operator std::string_view() const { return view(); }
   std::string stringValue() const { return std::string( view() ); }
   /** Zero for the empty text. */
   std::size_t hash() const { return rep_ ? rep_->hash : 0; }

   friend bool operator==( String const & a, String const & b ) {
      return a.rep_ == b.rep_ || ( a.hash() == b.hash() && a.view() == b.view() );
   }
   friend bool operator==( String const & a, std::string_view b ) { return a.view() == b; }
   friend bool operator==( String const & a, char const * b ) { return a.view() == b; }
   friend std::strong_ordering operator<=>( String const & a, String const & b ) {
      return a.view() <=> b.view();
   }
   friend std::ostream & operator<<( std::ostream & out, String const & text ) {
      return out << text.view();
   }

 private:
   /** Header of one allocation; the bytes and a closing NUL follow it. */
   struct Rep {
      std::uint32_t references;
      std::uint32_t size;
      std::size_t hash;
      char * bytes() { return reinterpret_cast< char * >( this + 1 ); }
   };
   static void release( Rep * rep ) noexcept;

   Rep * rep_ = nullptr;
};

using Name = String;

}  // namespace Kel
