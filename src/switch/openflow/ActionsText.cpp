// In the words of the switch's own tools, so that what is printed can be given to them.

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "switch/openflow/Actions.h"
#include "switch/openflow/Bytes.h"
#include "switch/openflow/Match.h"
#include "switch/openflow/Wire.h"

namespace OpenFlow {

namespace {

std::string hexOf( std::uint64_t value ) {
   std::array< char, 32 > text{};
   std::snprintf( text.data(), text.size(), "%#llx", static_cast< unsigned long long >( value ) );
   return value == 0 ? "0" : text.data();
}

Field fieldOf( std::uint32_t header ) {
   return { static_cast< std::uint16_t >( header >> 16 ),
            static_cast< std::uint8_t >( header >> 9 & 0x7f ),
            static_cast< std::uint8_t >( header & 0xff ) };
}

/** "NXM_NX_REG0[0..15]"; all bits are "[]", one is "[3]". */
std::string bitsText( Field field, unsigned first, unsigned count ) {
   bool const isRegister = field.oxmClass == 1 && field.number < 16;
   std::string const name =
      isRegister ? "NXM_NX_REG" + std::to_string( field.number ) : nameOf( field );
   if ( first == 0 && count == field.bits() ) {
      return name + "[]";
   }
   std::string const last = count == 1 ? "" : ".." + std::to_string( first + count - 1 );
   return name + "[" + std::to_string( first ) + last + "]";
}

std::string setFieldText( Reader body ) {
   Field const field = fieldOf( body.u32() );
   std::string_view const value = body.take( field.size );
   if ( field == Fields::vlanVid ) {
      return "set_field:" + std::to_string( Reader( value ).u16() ) + "->vlan_vid";
   }
   if ( field == Fields::ethDst || field == Fields::ethSrc ) {
      Wirekit::EthAddr::Bytes bytes{};
      std::copy( value.begin(), value.end(), bytes.begin() );
      return "set_field:" + Wirekit::EthAddr( bytes ).stringValue() +
             ( field == Fields::ethDst ? "->eth_dst" : "->eth_src" );
   }
   if ( field == Fields::tunDst ) {
      return "set_field:" + Wirekit::Ip4Addr( Reader( value ).u32() ).stringValue() + "->tun_dst";
   }
   // Wider fields are no numbers here.
   return "set_field:" +
          ( field.size <= 8 ? hexOf( Reader( value ).number( field.size ) ) : "..." ) + "->" +
          nameOf( field );
}

std::string learnText( Reader body ) {
   std::uint16_t const idleTimeout = body.u16();
   std::uint16_t const hardTimeout = body.u16();
   std::uint16_t const priority = body.u16();
   std::uint64_t const cookie = body.u64();
   body.skip( 2 );
   std::string text = "learn(table=" + std::to_string( body.u8() );
   body.skip( 5 );
   text += idleTimeout != 0 ? ",idle_timeout=" + std::to_string( idleTimeout ) : "";
   text += hardTimeout != 0 ? ",hard_timeout=" + std::to_string( hardTimeout ) : "";
   text += ",priority=" + std::to_string( priority );
   text += cookie != 0 ? ",cookie=" + hexOf( cookie ) : "";
   while ( body.size() >= 2 ) {
      std::uint16_t const head = body.u16();
      if ( head == 0 ) {
         break;
      }
      unsigned const count = head & Wire::learnBits;
      std::string from;
      if ( head & Wire::learnNumber ) {
         std::string_view const number = body.take( Wire::learnNumberSize( count ) );
         from = number.size() <= 8 ? hexOf( Reader( number ).number( number.size() ) ) : "...";
      } else {
         Field const field = fieldOf( body.u32() );
         from = bitsText( field, body.u16(), count );
      }
      std::string into;
      if ( ( head & Wire::learnToMask ) != Wire::learnOutput ) {
         Field const field = fieldOf( body.u32() );
         into = bitsText( field, body.u16(), count );
      }
      switch ( head & Wire::learnToMask ) {
         case 0:
            text.append( "," ).append( into );
            if ( from != into ) {
               text.append( "=" ).append( from );
            }
            break;
         case Wire::learnLoad:
            text.append( ",load:" ).append( from ).append( "->" ).append( into );
            break;
         default:
            text.append( ",output:" ).append( from );
      }
   }
   return text + ")";
}

/** Nobody nests deeper. */
constexpr int mostNested = 16;

std::string listText( std::string_view actions, int depth );

std::string extensionText( Reader body, int depth ) {
   std::uint32_t const experimenter = body.u32();
   std::uint16_t const subtype = body.u16();
   if ( experimenter != Wire::nicira ) {
      return "experimenter(" + hexOf( experimenter ) + ")";
   }
   switch ( subtype ) {
      case Wire::regLoad: {
         unsigned const place = body.u16();
         Field const field = fieldOf( body.u32() );
         std::uint64_t const value = body.u64();
         return "load:" + ( value == 0 ? "0" : hexOf( value ) ) + "->" +
                bitsText( field, place >> 6, ( place & 0x3f ) + 1 );
      }
      case Wire::regMove: {
         unsigned const count = body.u16();
         unsigned const from = body.u16();
         unsigned const into = body.u16();
         Field const source = fieldOf( body.u32() );
         Field const destination = fieldOf( body.u32() );
         return "move:" + bitsText( source, from, count ) + "->" +
                bitsText( destination, into, count );
      }
      case Wire::outputReg: {
         unsigned const place = body.u16();
         return "output:" + bitsText( fieldOf( body.u32() ), place >> 6, ( place & 0x3f ) + 1 );
      }
      case Wire::resubmitTable: {
         std::uint16_t const port = body.u16();
         std::string const table = std::to_string( body.u8() );
         return "resubmit(" + ( port == Wire::inPort ? "" : std::to_string( port ) ) + "," + table +
                ")";
      }
      case Wire::learn:
         return learnText( body );
      case Wire::clone:
         body.skip( 6 );
         return "clone(" + listText( body.rest(), depth + 1 ) + ")";
      default:
         return "extension(" + std::to_string( subtype ) + ")";
   }
}

std::string actionText( std::uint16_t type, Reader body, int depth ) {
   switch ( type ) {
      case Wire::output: {
         std::uint32_t const port = body.u32();
         return port == Ports::inPort  ? "IN_PORT"
                : port == Ports::local ? "LOCAL"
                                       : "output:" + std::to_string( port );
      }
      case Wire::pushVlan:
         return "push_vlan:" + hexOf( body.u16() );
      case Wire::popVlan:
         return "pop_vlan";
      case Wire::decrementTtl:
         return "dec_ttl";
      case Wire::setField:
         return setFieldText( body );
      case Wire::experimenter:
         return extensionText( body, depth );
      default:
         return "action(" + std::to_string( type ) + ")";
   }
}

std::string listText( std::string_view actions, int depth ) {
   if ( depth > mostNested ) {
      return "...";
   }
   std::string text;
   for ( Reader in( actions ); !in.isEmpty(); ) {
      Reader head( in );
      std::uint16_t const type = head.u16();
      Reader body( in.take( head.u16() ) );
      body.skip( 4 );
      text += ( text.empty() ? "" : "," ) + actionText( type, body, depth );
   }
   return text;
}

}  // namespace

std::string Actions::text() const {
   if ( isDrop() ) {
      return "drop";
   }
   try {
      std::string const text = listText( actions_, 0 );
      return others_.empty() ? text : text + ( text.empty() ? "" : "," ) + "more instructions";
   } catch ( DecodeError const & ) {
      // Made by others, and beyond what is known here.
      return "actions of " + std::to_string( actions_.size() ) + " bytes";
   }
}

}  // namespace OpenFlow
