#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace OpenFlow {

/** Bytes that are no message, with what is wrong about them. */
class DecodeError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

/** Reads numbers as they stand on the wire, the most significant byte first, and never beyond what
 *  it was given: it throws DecodeError. What it hands out are views of that. */
class Reader {
 public:
   explicit Reader( std::string_view bytes ) : bytes_( bytes ) {}

   std::size_t size() const { return bytes_.size(); }
   bool isEmpty() const { return bytes_.empty(); }
   std::uint8_t u8() { return static_cast< std::uint8_t >( number( 1 ) ); }
   std::uint16_t u16() { return static_cast< std::uint16_t >( number( 2 ) ); }
   std::uint32_t u32() { return static_cast< std::uint32_t >( number( 4 ) ); }
   std::uint64_t u64() { return number( 8 ); }
   /** Of up to eight bytes. */
   std::uint64_t number( std::size_t size );
   std::string_view take( std::size_t size );
   void skip( std::size_t size ) { take( size ); }
   /** All that is left. */
   std::string_view rest() { return take( bytes_.size() ); }

 private:
   std::string_view bytes_;
};

/** Appends numbers as they stand on the wire. */
class Writer {
 public:
   Writer & u8( std::uint8_t value ) { return number( value, 1 ); }
   Writer & u16( std::uint16_t value ) { return number( value, 2 ); }
   Writer & u32( std::uint32_t value ) { return number( value, 4 ); }
   Writer & u64( std::uint64_t value ) { return number( value, 8 ); }
   /** Of up to eight bytes. */
   Writer & number( std::uint64_t value, std::size_t size );
   Writer & put( std::string_view bytes );
   Writer & zeros( std::size_t count );
   /** Fills up what was written since `begin` to a multiple of eight bytes. */
   Writer & pad( std::size_t begin = 0 );
   /** Writes over what stands there. */
   void u16At( std::size_t at, std::uint16_t value );

   std::size_t size() const { return bytes_.size(); }
   std::string const & bytes() const { return bytes_; }
   std::string take() { return std::move( bytes_ ); }

 private:
   std::string bytes_;
};

/** The next multiple of eight. */
constexpr std::size_t padded( std::size_t size ) {
   return ( size + 7 ) / 8 * 8;
}

}  // namespace OpenFlow
