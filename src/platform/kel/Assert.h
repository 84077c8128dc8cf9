#pragma once

#include <functional>
#include <list>
#include <string>

namespace Kel {

/** Says on standard error which invariant broke and where, runs the flush hooks and aborts. */
[[noreturn]] void assertFail( char const * expression, char const * sourceUnit, unsigned line,
                              char const * prettyFunction );

/** Says a line on standard error, runs the flush hooks and aborts. */
[[noreturn]] void endWithText( std::string const & text );

/** From now on an uncaught exception is told on standard error with its type and text, then the
 * flush hooks run and the process aborts. Memory that is used up is nobody's fault: it is told in
 * one line, and the process exits with status 2. */
void installTerminateHandler();

/** An action that is to run before the process aborts, for as long as this object lives: saves
 * what would be lost otherwise. What it throws is swallowed; a failure inside a hook doesn't
 * start the hooks again. */
class FlushHook {
 public:
   explicit FlushHook( std::function< void() > action );
   ~FlushHook();
   FlushHook( FlushHook const & ) = delete;
   FlushHook & operator=( FlushHook const & ) = delete;

 private:
   std::list< std::function< void() > >::iterator position_;
};

}  // namespace Kel

/** Ends the process by `assertFail` unless `expr` holds; always compiled in. The report shows the
 * expression as written and `unit`, the source unit's name. */
#define KEL_ASSERT( expr, unit ) KEL_ASSERT_AT( expr, #expr, unit, __LINE__ )

/** The same with text and line of its own, where the report must not depend on the source. */
#define KEL_ASSERT_AT( expr, text, unit, line ) \
   ( static_cast< bool >( expr ) ? void( 0 )    \
                                 : ::Kel::assertFail( text, unit, line, __PRETTY_FUNCTION__ ) )
