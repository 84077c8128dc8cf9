#include "switch/openflow/Match.h"

#include <functional>

#include "platform/kel/Assert.h"
#include "switch/openflow/Bytes.h"

namespace OpenFlow {

namespace {

constexpr std::uint16_t oxmMatch = 1;
constexpr std::uint16_t experimenterClass = 0xffff;

/** One field of a match, as it stands there. */
struct Entry {
   std::uint32_t header;
   std::string_view body;
   /** With its header. */
   std::size_t size;

   bool isMasked() const { return ( header & 0x100 ) != 0; }
   std::uint16_t oxmClass() const { return static_cast< std::uint16_t >( header >> 16 ); }
   /** Of a field whose body is value and mask alone. */
   std::size_t valueSize() const { return isMasked() ? body.size() / 2 : body.size(); }
   std::string_view value() const { return body.substr( 0, valueSize() ); }
   std::string_view mask() const { return body.substr( valueSize() ); }
   Field field() const {
      return { oxmClass(), static_cast< std::uint8_t >( header >> 9 & 0x7f ),
               static_cast< std::uint8_t >( valueSize() ) };
   }
};

Entry entryAt( std::string_view fields ) {
   Reader in( fields );
   std::uint32_t const header = in.u32();
   std::string_view const body = in.take( header & 0xff );
   return { header, body, 4 + body.size() };
}

/** What a field needs comes before it in the first class, which the others build on. */
std::uint32_t orderOf( std::uint32_t header ) {
   std::uint32_t const type = header >> 9;
   return type >> 7 == Fields::inPort.oxmClass ? type & 0x7f : type + 0x80;
}

std::string bytesOf( std::uint64_t value, std::size_t size ) {
   Writer out;
   out.number( value, size );
   return out.take();
}

template < class Address >
std::string bytesOf( Address const & address ) {
   auto const bytes = address.bytes();
   return { bytes.begin(), bytes.end() };
}

bool isAll( std::string_view bytes, char value ) {
   return bytes.find_first_not_of( value ) == std::string_view::npos;
}

/** In the two bytes of `vlanVid` that mean something. */
constexpr std::uint16_t vlanBits = 0x1fff;

/** All bits of a field that mean something. */
std::string wholeMask( Field field ) {
   return field == Fields::vlanVid ? bytesOf( vlanBits, 2 ) : std::string( field.size, '\xff' );
}

}  // namespace

std::size_t Match::placeOf( Field field ) const {
   std::size_t at = 0;
   while ( at != fields_.size() ) {
      Entry const entry = entryAt( std::string_view( fields_ ).substr( at ) );
      if ( orderOf( entry.header ) >= orderOf( field.header() ) ) {
         break;
      }
      at += entry.size;
   }
   return at;
}

Match & Match::set( Field field, std::string_view value, std::string_view mask ) {
   std::size_t const at = placeOf( field );
   if ( at != fields_.size() ) {
      Entry const entry = entryAt( std::string_view( fields_ ).substr( at ) );
      if ( orderOf( entry.header ) == orderOf( field.header() ) ) {
         fields_.erase( at, entry.size );
      }
   }
   std::string const whole = wholeMask( field );
   std::string kept;
   std::string bits;
   for ( std::size_t i = 0; i != whole.size(); ++i ) {
      kept.push_back( static_cast< char >( mask[i] & whole[i] ) );
      bits.push_back( static_cast< char >( value[i] & kept[i] ) );
   }
   if ( isAll( kept, '\0' ) ) {
      return *this;
   }
   bool const isMasked = kept != whole;
   fields_.insert( at, bytesOf( field.header( isMasked ), 4 ) + bits + ( isMasked ? kept : "" ) );
   return *this;
}

Match & Match::number( Field field, std::uint64_t value, std::uint64_t mask ) {
   KEL_ASSERT( field.size <= 8, "Match" );
   return set( field, bytesOf( value, field.size ), bytesOf( mask, field.size ) );
}

Match & Match::inPort( std::uint32_t port ) {
   return number( Fields::inPort, port );
}

Match & Match::vlan( std::uint16_t vid ) {
   return number( Fields::vlanVid, vlanPresent | vid );
}

Match & Match::tagged() {
   return number( Fields::vlanVid, vlanPresent, vlanPresent );
}

Match & Match::untagged() {
   return number( Fields::vlanVid, 0 );
}

Match & Match::priorityTagged() {
   return vlan( 0 );
}

Match & Match::ethSrc( Wirekit::EthAddr const & address, Wirekit::EthAddr const & mask ) {
   return set( Fields::ethSrc, bytesOf( address ), bytesOf( mask ) );
}

Match & Match::ethDst( Wirekit::EthAddr const & address, Wirekit::EthAddr const & mask ) {
   return set( Fields::ethDst, bytesOf( address ), bytesOf( mask ) );
}

Match & Match::ethType( std::uint16_t type ) {
   return number( Fields::ethType, type );
}

Match & Match::ip( Field field, std::uint16_t type, std::string_view value,
                   std::string_view mask ) {
   KEL_ASSERT( number( Fields::ethType ) == ( Masked{ type, 0xffff } ), "Match" );
   return set( field, value, mask );
}

Match & Match::ip4Src( Wirekit::Ip4Addr address, Wirekit::Ip4Addr mask ) {
   return ip( Fields::ip4Src, 0x0800, bytesOf( address.bits(), 4 ), bytesOf( mask.bits(), 4 ) );
}

Match & Match::ip4Dst( Wirekit::Ip4Addr address, Wirekit::Ip4Addr mask ) {
   return ip( Fields::ip4Dst, 0x0800, bytesOf( address.bits(), 4 ), bytesOf( mask.bits(), 4 ) );
}

Match & Match::ip6Src( Wirekit::Ip6Addr const & address, Wirekit::Ip6Addr const & mask ) {
   return ip( Fields::ip6Src, 0x86dd, bytesOf( address ), bytesOf( mask ) );
}

Match & Match::ip6Dst( Wirekit::Ip6Addr const & address, Wirekit::Ip6Addr const & mask ) {
   return ip( Fields::ip6Dst, 0x86dd, bytesOf( address ), bytesOf( mask ) );
}

Match & Match::ipProtocol( std::uint8_t protocol ) {
   auto const type = number( Fields::ethType );
   KEL_ASSERT( type == ( Masked{ 0x0800, 0xffff } ) || type == ( Masked{ 0x86dd, 0xffff } ),
               "Match" );
   return number( Fields::ipProtocol, protocol );
}

Match & Match::l4Port( Field tcp, Field udp, std::uint16_t port, std::uint16_t mask ) {
   auto const protocol = number( Fields::ipProtocol );
   bool const isTcp = protocol == Masked{ 6, 0xff };
   KEL_ASSERT( isTcp || protocol == ( Masked{ 17, 0xff } ), "Match" );
   return number( isTcp ? tcp : udp, port, mask );
}

Match & Match::l4SrcPort( std::uint16_t port, std::uint16_t mask ) {
   return l4Port( Fields::tcpSrc, Fields::udpSrc, port, mask );
}

Match & Match::l4DstPort( std::uint16_t port, std::uint16_t mask ) {
   return l4Port( Fields::tcpDst, Fields::udpDst, port, mask );
}

Match & Match::reg( unsigned n, std::uint32_t value, std::uint32_t mask ) {
   KEL_ASSERT( n < 16, "Match" );
   return number( Fields::reg( n ), value, mask );
}

Match & Match::tunId( std::uint64_t id ) {
   return number( Fields::tunId, id );
}

std::optional< Match::Masked > Match::number( Field field ) const {
   std::size_t const at = placeOf( field );
   if ( at == fields_.size() || field.size > 8 ) {
      return std::nullopt;
   }
   Entry const entry = entryAt( std::string_view( fields_ ).substr( at ) );
   if ( entry.oxmClass() == experimenterClass || entry.field() != field ) {
      return std::nullopt;
   }
   std::string const all( field.size, '\xff' );
   return Masked{ Reader( entry.value() ).number( field.size ),
                  Reader( entry.isMasked() ? entry.mask() : all ).number( field.size ) };
}

std::optional< std::uint16_t > Match::vlanId() const {
   auto const said = number( Fields::vlanVid );
   bool const isWhole = said && ( said->mask & 0xfff ) == 0xfff;
   bool const isUntagged = said && ( said->mask & vlanPresent ) && !( said->value & vlanPresent );
   if ( !isWhole || isUntagged ) {
      return std::nullopt;
   }
   return static_cast< std::uint16_t >( said->value & 0xfff );
}

namespace {

std::optional< Wirekit::EthAddr > addressIn( std::optional< Match::Masked > const & said ) {
   if ( !said || said->mask != 0xffffffffffff ) {
      return std::nullopt;
   }
   Wirekit::EthAddr::Bytes bytes{};
   for ( std::size_t i = 0; i != bytes.size(); ++i ) {
      bytes[i] = static_cast< std::uint8_t >( said->value >> ( 40 - 8 * i ) );
   }
   return Wirekit::EthAddr( bytes );
}

}  // namespace

std::optional< Wirekit::EthAddr > Match::ethDst() const {
   return addressIn( number( Fields::ethDst ) );
}

std::optional< Wirekit::EthAddr > Match::ethSrc() const {
   return addressIn( number( Fields::ethSrc ) );
}

std::size_t Match::hash() const {
   return std::hash< std::string >()( fields_ );
}

void Match::encode( Writer & out ) const {
   std::size_t const begin = out.size();
   out.u16( oxmMatch ).u16( static_cast< std::uint16_t >( 4 + fields_.size() ) );
   out.put( fields_ ).pad( begin );
}

Match Match::decode( Reader & in ) {
   std::uint16_t const type = in.u16();
   std::size_t const size = in.u16();
   if ( type != oxmMatch || size < 4 ) {
      throw DecodeError( "match of kind " + std::to_string( type ) + " with " +
                         std::to_string( size ) + " bytes" );
   }
   std::string_view fields = in.take( size - 4 );
   in.skip( padded( size ) - size );
   Match match;
   while ( !fields.empty() ) {
      Entry const entry = entryAt( fields );
      Field const field = entry.field();
      // Those of experimenters have more in front of their values.
      bool const isOpaque = entry.oxmClass() == experimenterClass;
      std::size_t const at = match.placeOf( field );
      bool const stands =
         at != match.fields_.size() &&
         orderOf( entryAt( std::string_view( match.fields_ ).substr( at ) ).header ) ==
            orderOf( entry.header );
      if ( entry.body.empty() || ( entry.isMasked() && entry.body.size() % 2 != 0 && !isOpaque ) ) {
         throw DecodeError( "match with " + std::to_string( entry.body.size() ) + " bytes of " +
                            nameOf( field ) );
      }
      if ( stands && !isOpaque ) {
         throw DecodeError( "match with " + nameOf( field ) + " twice" );
      }
      if ( isOpaque ) {
         match.fields_.append( fields.substr( 0, entry.size ) );
      } else if ( bool const isWhole = !entry.isMasked() || isAll( entry.mask(), '\xff' );
                  // Of an Ethernet frame nobody says that it is one.
                  field != Fields::packetType || !isWhole || !isAll( entry.value(), '\0' ) ) {
         match.set( field, entry.value(),
                    entry.isMasked() ? std::string( entry.mask() )
                                     : std::string( entry.body.size(), '\xff' ) );
      }
      fields.remove_prefix( entry.size );
   }
   return match;
}

}  // namespace OpenFlow
