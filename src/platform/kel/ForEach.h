#pragma once

// Applies a macro to each of its arguments, separated by commas.
#define KEL_EXPAND( ... ) \
   KEL_EXPAND_3( KEL_EXPAND_3( KEL_EXPAND_3( KEL_EXPAND_3( __VA_ARGS__ ) ) ) )
#define KEL_EXPAND_3( ... ) \
   KEL_EXPAND_2( KEL_EXPAND_2( KEL_EXPAND_2( KEL_EXPAND_2( __VA_ARGS__ ) ) ) )
#define KEL_EXPAND_2( ... ) \
   KEL_EXPAND_1( KEL_EXPAND_1( KEL_EXPAND_1( KEL_EXPAND_1( __VA_ARGS__ ) ) ) )
#define KEL_EXPAND_1( ... ) __VA_ARGS__
#define KEL_PARENS ()
#define KEL_FOR_EACH( macro, ... ) \
   __VA_OPT__( KEL_EXPAND( KEL_FOR_EACH_STEP( macro, __VA_ARGS__ ) ) )
#define KEL_FOR_EACH_STEP( macro, first, ... ) \
   macro( first ) __VA_OPT__(, KEL_FOR_EACH_AGAIN KEL_PARENS( macro, __VA_ARGS__ ) )
#define KEL_FOR_EACH_AGAIN() KEL_FOR_EACH_STEP
