#include "platform/flashlog/DualLog.h"

#include <algorithm>
#include <limits>

#include "platform/flashlog/FileFormat.h"

namespace DualLog {

namespace {

constexpr char fixedText = 0;

/** A point's arguments, with those that are fixed text told from the values. */
class Arguments {
 public:
   Arguments( Literals const & literals, std::initializer_list< Value > values )
      : values_( values ),
        literalBits_( literals.count == values.size() ? literals.bits : std::uint64_t{ 0 } ) {}

   std::size_t size() const { return values_.size(); }
   Value const & operator[]( std::size_t i ) const { return values_.begin()[i]; }
   char format( std::size_t i ) const {
      bool const literal = literalBits_ >> i & 1;
      return literal && ( *this )[i].charArray ? fixedText : ( *this )[i].format;
   }

 private:
   std::initializer_list< Value > values_;
   std::uint64_t literalBits_;
};

constexpr std::size_t leastSize( char format ) {
   switch ( format ) {
      case 'i':
         return sizeof( std::uint32_t );
      case 's':
      case 'p':
         return sizeof( std::uint16_t );
      case 'b':
         return 1;
      default:
         return 0;
   }
}

void describe( Flashlog::TraceFile & file, TracePoint & point, char const * function,
               Arguments const & arguments ) {
   Flashlog::MsgDesc desc( file, &point.id, point.unit->name, point.line, point.level );
   desc << function << ": ";
   for ( std::size_t i = 0; i < arguments.size(); ++i ) {
      if ( arguments.format( i ) == fixedText ) {
         desc << arguments[i].text;
      } else {
         desc.format().put( arguments.format( i ) );
      }
   }
   desc.finish();
}

void record( TracePoint & point, char const * function, Arguments const & arguments ) {
   auto * const handle = Flashlog::defaultFlashlogHandle;
   if ( !handle || !handle->mtTraceFile ) {
      return;
   }
   if ( point.id == 0 ) {
      describe( *handle->mtTraceFile, point, function, arguments );
   }
   if ( point.id == Flashlog::lostMsgId ) {
      return;
   }
   std::size_t later = 0;
   for ( std::size_t i = 0; i < arguments.size(); ++i ) {
      later += leastSize( arguments.format( i ) );
   }
   auto & ring = Flashlog::RingBuf::startMsg( *handle->mtTraceFile, point.id );
   for ( std::size_t i = 0; i < arguments.size(); ++i ) {
      auto const & value = arguments[i];
      char const format = arguments.format( i );
      later -= leastSize( format );
      if ( format == 'i' ) {
         constexpr std::uint64_t largest = std::numeric_limits< std::uint32_t >::max();
         Flashlog::put( ring, static_cast< std::uint32_t >( std::min( value.number, largest ) ) );
      } else if ( format == 's' ) {
         Flashlog::put( ring, static_cast< std::uint16_t >( value.number ) );
      } else if ( format == 'b' ) {
         Flashlog::put( ring, value.number != 0 );
      } else if ( format == 'p' ) {
         Flashlog::put( ring, value.text, later );
      }
   }
   ring.endMsg();
}

std::string textLine( char const * function, Arguments const & arguments ) {
   std::string line = function;
   line += ": ";
   for ( std::size_t i = 0; i < arguments.size(); ++i ) {
      auto const & value = arguments[i];
      if ( value.format == 'p' ) {
         line += value.text;
      } else if ( value.format == 'b' ) {
         line += value.number ? "true" : "false";
      } else {
         line += std::to_string( value.number );
      }
   }
   return line;
}

}  // namespace

void trace( TracePoint & point, char const * function, std::initializer_list< Value > values ) {
   Arguments const arguments( point.literals, values );
   // The mask is asked again: evaluating the arguments may have switched something.
   if ( point.unit->mask & Kel::TraceUnit::recordBit( point.level ) ) {
      record( point, function, arguments );
   }
   if ( point.unit->mask & Kel::TraceUnit::textBit( point.level ) ) {
      Kel::writeTextTrace( *point.unit->handle, point.level, textLine( function, arguments ) );
   }
}

void traceReturn( ScopePoint const & point ) {
   if ( point.entry.unit->mask & Kel::TraceUnit::textBit( Kel::traceReturn ) ) {
      Kel::writeTextTrace( *point.entry.unit->handle, Kel::traceReturn,
                           std::string( point.function ) + ": " + point.returnText );
   }
}

}  // namespace DualLog
