#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/flashlog/Flashlog.h"
#include "platform/kel/TraceHandle.h"

/** Trace points. Each is one statement and leaves a Flashlog record and a text line:
 *
 *    KEL_TRACE_UNIT( "VlanHelperSm", "QorClientVlanHelper" )   // once, at file scope
 *    ...
 *    KEL_TRACE_SCOPE( " VNI: ", vni );   // the entry, and the return on every way out
 *    KEL_TRACE_INFO( " VNI add ", vni, " VLAN ", vlan );
 *
 * The text line is the function, ": " and the arguments as they follow each other. The arguments
 * are evaluated only if the level is on in one of the two; else the point costs the test of a
 * static word.
 *
 * Arguments are string literals and values: unsigned numbers, `bool` and anything that converts to
 * `std::string_view` go raw into the record, enumerations by number, everything else by its
 * `operator<<`. Numbers keep their width: a value class whose `value()` is an unsigned number, as a
 * VLAN or a VNI, is recorded as that. A size goes into four bytes, one beyond them as the largest
 * that they hold. */
namespace DualLog {

/** An argument as it goes into the record; `text` is borrowed. */
struct Value {
   char format;  // as MsgFormatString has them
   bool charArray;
   std::uint64_t number;
   std::string_view text;
};

struct TextValue {
   std::string text;
   Value value() const { return { 'p', false, 0, text }; }
};

struct NumberText {
   char digits[24];
   std::size_t length;
   Value value() const { return { 'p', false, 0, { digits, length } }; }
};

struct PlainValue {
   Value plain;
   Value value() const { return plain; }
};

/** A value class that is an unsigned number at heart. */
template < class T >
concept Numeric = requires( T const & v ) {
   requires std::unsigned_integral< std::remove_cvref_t< decltype( v.value() ) > >;
};
template < class T >
concept Streamable = requires( std::ostream & os, T const & v ) {
   os << v;
};

/** What an argument leaves to be recorded; owns text that had to be made. */
template < class T >
auto capture( T const & v ) {
   if constexpr ( Numeric< T > ) {
      return capture( v.value() );
   } else if constexpr ( std::is_same_v< T, bool > ) {
      return PlainValue{ { 'b', false, v, {} } };
   } else if constexpr ( std::is_enum_v< T > ) {
      return capture( static_cast< std::underlying_type_t< T > >( v ) );
   } else if constexpr ( std::is_same_v< T, char > ) {
      return TextValue{ std::string( 1, v ) };
   } else if constexpr ( std::integral< T > ) {
      if constexpr ( std::unsigned_integral< T > ) {
         return PlainValue{ { sizeof( T ) <= sizeof( std::uint16_t ) ? 's' : 'i', false, v, {} } };
      } else {
         NumberText number{};
         auto const end = std::to_chars( number.digits, std::end( number.digits ), v );
         number.length = static_cast< std::size_t >( end.ptr - number.digits );
         return number;
      }
   } else if constexpr ( std::is_bounded_array_v< T > &&
                         std::is_same_v< std::remove_extent_t< T >, char > ) {
      return PlainValue{ { 'p', true, 0, { v, ::strnlen( v, std::extent_v< T > ) } } };
   } else if constexpr ( std::is_same_v< T, char const * > || std::is_same_v< T, char * > ) {
      return PlainValue{ { 'p', false, 0, v ? std::string_view( v ) : "(null)" } };
   } else if constexpr ( std::is_convertible_v< T const &, std::string_view > ) {
      return PlainValue{ { 'p', false, 0, static_cast< std::string_view >( v ) } };
   } else {
      static_assert( Streamable< T >, "a trace argument needs operator<<( std::ostream & )" );
      std::ostringstream text;
      text << v;
      return TextValue{ std::move( text ).str() };
   }
}

/** Finds the string literals among a macro's arguments, from their spelling: their type alone
 * doesn't tell `on ? "yes" : "no!"`, which is no fixed text. A bit an argument; if the spelling
 * has another number of arguments than the compiler sees (commas in template arguments), some
 * bits are wrong, so `count` is to be compared. */
struct Literals {
   std::uint64_t bits = 0;
   std::size_t count = 0;

   constexpr explicit Literals( std::string_view spelling ) {
      int depth = 0;
      bool literal = false;
      bool empty = true;
      for ( std::size_t i = 0; i < spelling.size(); ++i ) {
         char const c = spelling[i];
         if ( c == ' ' ) {
            continue;
         }
         if ( c == ',' && depth == 0 ) {
            add( literal );
            literal = false;
            empty = true;
            continue;
         }
         bool const quoted = c == '"';
         literal = quoted && ( empty || literal );
         empty = false;
         // A quote after a digit separates digits.
         if ( quoted || ( c == '\'' && !( i > 0 && isAlnum( spelling[i - 1] ) ) ) ) {
            for ( ++i; i < spelling.size() && spelling[i] != c; ++i ) {
               i += spelling[i] == '\\';
            }
         }
         depth += c == '(' || c == '[' || c == '{';
         depth -= c == ')' || c == ']' || c == '}';
      }
      if ( !empty || count > 0 ) {
         add( literal );
      }
   }

 private:
   static constexpr bool isAlnum( char c ) {
      return ( c >= '0' && c <= '9' ) || ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' );
   }
   constexpr void add( bool literal ) {
      if ( count < 64 && literal ) {
         bits |= std::uint64_t{ 1 } << count;
      }
      ++count;
   }
};

/** The static part of one trace point. */
struct TracePoint {
   constexpr TracePoint( int level_, std::uint32_t line_, Kel::TraceUnit const & unit_,
                         std::string_view spelling )
      : level( level_ ), line( line_ ), unit( &unit_ ), literals( spelling ) {}

   Flashlog::MsgId id = 0;
   int level;
   std::uint32_t line;
   Kel::TraceUnit const * unit;
   Literals literals;
};

/** Records and writes what is on for the point's level. */
void trace( TracePoint & point, char const * function, std::initializer_list< Value > values );

/** Out of line and cold, so that a trace point that is off is but a test and a branch over the
 * call of this. */
template < class... Args >
[[gnu::noinline, gnu::cold]] void hit( TracePoint & point, char const * function,
                                       Args const &... args ) {
   static_assert( sizeof...( Args ) <= 64, "a trace point takes at most 64 arguments" );
   trace( point, function, { capture( args ).value()... } );
}

/** The static part of a scope. */
struct ScopePoint {
   TracePoint entry;
   char const * function;
   char const * returnText;
};

[[gnu::cold]] void traceReturn( ScopePoint const & point );

/** Writes the return line when it ends, if its entry was met with that line on. It leads to static
 * storage alone, and so may outlive the machine whose handler it stands in. */
class Scope {
 public:
   Scope() = default;
   Scope( Scope const & ) = delete;
   Scope & operator=( Scope const & ) = delete;
   ~Scope() {
      if ( open_ ) [[unlikely]] {
         traceReturn( *open_ );
      }
   }

   // Inline, as the destructor: a scope whose address is known nowhere is kept in a register.
   void open( ScopePoint const & point ) { open_ = &point; }
   /** @return whether its return line is still to be written; it isn't its own matter any more. */
   bool close() { return std::exchange( open_, nullptr ) != nullptr; }

 private:
   ScopePoint const * open_ = nullptr;
};

}  // namespace DualLog

#define KEL_TRACE_POINT_( level, spelling, ... )                                                \
   do {                                                                                         \
      if ( kelTraceUnit_.mask & ::Kel::TraceUnit::anyBit( level ) ) [[unlikely]] {              \
         static_assert( ( level ) >= 0 && ( level ) < ::Kel::traceLevels );                     \
         static constinit ::DualLog::TracePoint kelTracePoint_( level, __LINE__, kelTraceUnit_, \
                                                                spelling );                     \
         ::DualLog::hit( kelTracePoint_, __PRETTY_FUNCTION__ __VA_OPT__(, ) __VA_ARGS__ );      \
      }                                                                                         \
   } while ( false )

/** `KEL_TRACE( level, args... )`; the level is a constant. */
#define KEL_TRACE( level, ... ) KEL_TRACE_POINT_( level, #__VA_ARGS__, __VA_ARGS__ )
/** At a handler's start: its entry line, with the arguments, and the line " return", text only, on
 * every way out. Off, it costs the test of a static word. Not for the body of an `if`: it declares
 * something. */
#define KEL_TRACE_SCOPE( ... ) \
   KEL_TRACE_SCOPE_( " return", #__VA_ARGS__ __VA_OPT__(, ) __VA_ARGS__ )
/** The same with another return line, a literal. */
#define KEL_TRACE_SCOPE_ENDING( returnText, ... ) \
   KEL_TRACE_SCOPE_( returnText, #__VA_ARGS__ __VA_OPT__(, ) __VA_ARGS__ )
#define KEL_TRACE_SCOPE_( returnText, spelling, ... )                                             \
   ::DualLog::Scope kelTraceScope_;                                                               \
   if ( kelTraceUnit_.mask & ( ::Kel::TraceUnit::anyBit( ::Kel::traceEntry ) |                    \
                               ::Kel::TraceUnit::textBit( ::Kel::traceReturn ) ) ) [[unlikely]] { \
      static constinit ::DualLog::ScopePoint kelScopePoint_{                                      \
         { ::Kel::traceEntry, __LINE__, kelTraceUnit_, spelling },                                \
         __PRETTY_FUNCTION__,                                                                     \
         returnText };                                                                            \
      if ( kelTraceUnit_.mask & ::Kel::TraceUnit::textBit( ::Kel::traceReturn ) ) {               \
         kelTraceScope_.open( kelScopePoint_ );                                                   \
      }                                                                                           \
      if ( kelTraceUnit_.mask & ::Kel::TraceUnit::anyBit( ::Kel::traceEntry ) ) {                 \
         ::DualLog::hit( kelScopePoint_.entry,                                                    \
                         kelScopePoint_.function __VA_OPT__(, ) __VA_ARGS__ );                    \
      }                                                                                           \
   }                                                                                              \
   static_assert( true )
/** Before a `return` that has words of its own: the scope's return line, now and with them. */
#define KEL_TRACE_RETURN( ... )                        \
   do {                                                \
      if ( kelTraceScope_.close() ) [[unlikely]] {     \
         KEL_TRACE( ::Kel::traceReturn, __VA_ARGS__ ); \
      }                                                \
   } while ( false )
/** What happened. */
#define KEL_TRACE_INFO( ... ) \
   KEL_TRACE_POINT_( ::Kel::traceInfo, #__VA_ARGS__ __VA_OPT__(, ) __VA_ARGS__ )
/** Rare and worrying events. */
#define KEL_TRACE_ALERT( ... ) \
   KEL_TRACE_POINT_( ::Kel::traceAlert, #__VA_ARGS__ __VA_OPT__(, ) __VA_ARGS__ )
