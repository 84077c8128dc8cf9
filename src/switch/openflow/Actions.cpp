#include "switch/openflow/Actions.h"

#include <functional>
#include <string_view>

#include "platform/kel/Assert.h"
#include "platform/kel/Hash.h"
#include "switch/openflow/Bytes.h"
#include "switch/openflow/Wire.h"

namespace OpenFlow {

namespace {

/** An action: `body` writes what stands behind its kind and length. */
template < class Body >
std::string action( std::uint16_t type, Body const & body ) {
   Writer out;
   out.u16( type ).u16( 0 );
   body( out );
   out.pad();
   out.u16At( 2, static_cast< std::uint16_t >( out.size() ) );
   return out.take();
}

/** One of the switch's own. */
template < class Body >
std::string extension( std::uint16_t subtype, Body const & body ) {
   return action( Wire::experimenter, [&]( Writer & out ) {
      out.u32( Wire::nicira ).u16( subtype );
      body( out );
   } );
}

/** Position and number of bits in two bytes. */
std::uint16_t packed( Bits const & bits ) {
   KEL_ASSERT( bits.count >= 1 && bits.count <= 64 && bits.first + bits.count <= bits.field.bits(),
               "Actions" );
   return static_cast< std::uint16_t >( bits.first << 6 | ( bits.count - 1 ) );
}

void writeStep( Writer & out, Learn::Step const & step ) {
   auto const * const from = std::get_if< Bits >( &step.from );
   unsigned const kind = ( step.to == Learn::Step::To::load ? Wire::learnLoad : 0U ) |
                         ( from ? 0U : Wire::learnNumber );
   KEL_ASSERT( from ? from->count == step.into.count : step.into.count <= 64, "Actions" );
   out.u16( static_cast< std::uint16_t >( kind | step.into.count ) );
   if ( from ) {
      out.u32( from->field.header() ).u16( from->first );
   } else {
      out.number( std::get< std::uint64_t >( step.from ),
                  Wire::learnNumberSize( step.into.count ) );
   }
   out.u32( step.into.field.header() ).u16( step.into.first );
}

}  // namespace

Actions & Actions::set( Field field, std::string_view value ) {
   actions_ +=
      action( Wire::setField, [&]( Writer & out ) { out.u32( field.header() ).put( value ); } );
   return *this;
}

Actions & Actions::pushVlan() {
   actions_ += action( Wire::pushVlan, []( Writer & out ) { out.u16( 0x8100 ); } );
   return *this;
}

Actions & Actions::popVlan() {
   actions_ += action( Wire::popVlan, []( Writer & ) {} );
   return *this;
}

Actions & Actions::setVlan( std::uint16_t vid ) {
   return set( Fields::vlanVid, Writer().u16( vlanPresent | vid ).bytes() );
}

Actions & Actions::setReg( unsigned n, std::uint32_t value ) {
   return set( Fields::reg( n ), Writer().u32( value ).bytes() );
}

Actions & Actions::setEthDst( Wirekit::EthAddr const & address ) {
   auto const bytes = address.bytes();
   return set( Fields::ethDst, std::string( bytes.begin(), bytes.end() ) );
}

Actions & Actions::decrementTtl() {
   actions_ += action( Wire::decrementTtl, []( Writer & ) {} );
   return *this;
}

Actions & Actions::setTunId( std::uint64_t id ) {
   return set( Fields::tunId, Writer().u64( id ).bytes() );
}

Actions & Actions::setTunDst( Wirekit::Ip4Addr address ) {
   return set( Fields::tunDst, Writer().u32( address.bits() ).bytes() );
}

Actions & Actions::load( Bits into, std::uint64_t value ) {
   actions_ += extension( Wire::regLoad, [&]( Writer & out ) {
      out.u16( packed( into ) ).u32( into.field.header() ).u64( value );
   } );
   return *this;
}

Actions & Actions::move( Bits from, Bits into ) {
   KEL_ASSERT( from.count == into.count, "Actions" );
   actions_ += extension( Wire::regMove, [&]( Writer & out ) {
      out.u16( into.count ).u16( from.first ).u16( into.first );
      out.u32( from.field.header() ).u32( into.field.header() );
   } );
   return *this;
}

Actions & Actions::outputPort( std::uint32_t port ) {
   actions_ += action( Wire::output, [&]( Writer & out ) { out.u32( port ).u16( 0 ).zeros( 6 ); } );
   return *this;
}

Actions & Actions::outputReg( unsigned n ) {
   Bits const port{ Fields::reg( n ), 0, 16 };
   actions_ += extension( Wire::outputReg, [&]( Writer & out ) {
      out.u16( packed( port ) ).u32( port.field.header() ).u16( 0 ).zeros( 6 );
   } );
   return *this;
}

Actions & Actions::resubmit( std::uint8_t table ) {
   actions_ += extension( Wire::resubmitTable,
                          [&]( Writer & out ) { out.u16( Wire::inPort ).u8( table ).zeros( 3 ); } );
   return *this;
}

Actions & Actions::clone( Actions const & nested ) {
   KEL_ASSERT( nested.others_.empty(), "Actions" );
   actions_ +=
      extension( Wire::clone, [&]( Writer & out ) { out.zeros( 6 ).put( nested.actions_ ); } );
   return *this;
}

Actions & Actions::learn( Learn const & learn ) {
   actions_ += extension( Wire::learn, [&]( Writer & out ) {
      out.u16( learn.idleTimeout ).u16( learn.hardTimeout ).u16( learn.priority );
      out.u64( learn.cookie ).u16( 0 ).u8( learn.table ).u8( 0 ).u16( 0 ).u16( 0 );
      for ( Learn::Step const & step : learn.steps ) {
         writeStep( out, step );
      }
   } );
   return *this;
}

std::optional< std::uint64_t > Actions::loaded( Field field ) const {
   std::optional< std::uint64_t > found;
   for ( Reader in( actions_ ); !in.isEmpty(); ) {
      Reader kind( in );
      std::uint16_t const type = kind.u16();
      Reader body( in.take( kind.u16() ) );
      body.skip( 4 );
      if ( type == Wire::setField && body.u32() == field.header() ) {
         found = body.number( field.size );
      } else if ( type == Wire::experimenter && body.u32() == Wire::nicira &&
                  body.u16() == Wire::regLoad ) {
         bool const isAtFirst = body.u16() >> 6 == 0;
         if ( body.u32() == field.header() && isAtFirst ) {
            found = body.u64();
         }
      }
   }
   return found;
}

std::size_t Actions::hash() const {
   std::hash< std::string > const hash;
   return Kel::combineHash( hash( actions_ ), hash( others_ ) );
}

void Actions::encode( Writer & out ) const {
   if ( !actions_.empty() ) {
      out.u16( Wire::applyActions ).u16( static_cast< std::uint16_t >( 8 + actions_.size() ) );
      out.zeros( 4 ).put( actions_ );
   }
   out.put( others_ );
}

namespace {

/** The least that an action takes which begins with `head`. */
std::size_t leastSize( std::uint16_t type, Reader head ) {
   if ( type == Wire::setField ) {
      return 8 + ( head.u32() & 0xff );
   }
   bool const isLoad =
      type == Wire::experimenter && head.u32() == Wire::nicira && head.u16() == Wire::regLoad;
   return isLoad ? 24 : 8;
}

/** Whether they are actions one behind the other, and whole as far as they are looked into here. */
void checkActions( std::string_view actions ) {
   for ( Reader in( actions ); !in.isEmpty(); ) {
      Reader head( in );
      std::uint16_t const type = head.u16();
      std::uint16_t const size = head.u16();
      bool const fits = size >= 8 && size % 8 == 0 && size <= in.size();
      if ( !fits || size < leastSize( type, head ) ) {
         throw DecodeError( "action " + std::to_string( type ) + " of " + std::to_string( size ) +
                            " bytes" );
      }
      in.skip( size );
   }
}

}  // namespace

Actions Actions::decode( Reader & in ) {
   Actions actions;
   while ( !in.isEmpty() ) {
      Reader head( in );
      std::uint16_t const type = head.u16();
      std::uint16_t const size = head.u16();
      if ( size < 8 || size % 8 != 0 ) {
         throw DecodeError( "instruction " + std::to_string( type ) + " of " +
                            std::to_string( size ) + " bytes" );
      }
      std::string_view const instruction = in.take( size );
      if ( type == Wire::applyActions && actions.actions_.empty() ) {
         checkActions( instruction.substr( 8 ) );
         actions.actions_ = instruction.substr( 8 );
      } else {
         actions.others_ += instruction;
      }
   }
   return actions;
}

}  // namespace OpenFlow
