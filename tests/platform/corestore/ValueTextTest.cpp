#include "platform/corestore/ValueText.h"

#include <gtest/gtest.h>

namespace Corestore {
namespace {

// Plain texts are read without the library, and nobody can tell which ones were.
TEST( ValueTextTest, WhatIsReadByHandIsWhatTheLibraryReads ) {
   for ( char const * text :
         { "true",
           "0",
           "7",
           "999999999999999999",
           "18446744073709551615",
           "-1",
           "0.5",
           "1e3",
           R"("")",
           R"("02:00|Et1/1")",
           R"("a\"b")",
           "\"\xc3\xa4\"",
           "null",
           "{}",
           "[]",
           R"({"a":1,"b":{"c":[true,"x",{}]}})",
           R"({"a":null})",
           R"([[1],[],["b\\"]])",
           "[[[[[[[[[[1]]]]]]]]]]",
           R"({"a":0,"b":0,"c":0,"d":0,"e":0,"f":0,"g":0,"h":0,"i":0,"j":0,"k":0,"l":0,"m":0,)"
           R"("n":0,"o":0,"p":0,"q":0})" } ) {
      Kel::Value const value = parseJson( text );
      EXPECT_EQ( value, parseJson( std::string( text ) + " " ) ) << text;
      EXPECT_EQ( value, parseJson( jsonLine( value ) ) ) << text;
   }
   for ( char const * text : { "",
                               "tru",
                               "truee",
                               "01",
                               "1 2",
                               "\"",
                               "\"a",
                               "\"a\"b\"",
                               "{",
                               "[",
                               "[1",
                               "[1,]",
                               "[,1]",
                               "[1 2]",
                               "{,}",
                               R"({"a"})",
                               R"({"a":})",
                               R"({"a":1,})",
                               R"({"a":1"b":2})",
                               "{1:2}",
                               R"({"a":1}})",
                               R"({"a":1,"a":1})",
                               R"({"a":{"b":1,"b":2}})",
                               "\"\x01\"",
                               "\"\xff\"" } ) {
      EXPECT_THROW( parseJson( text ), TextError ) << text;
   }
   // The library would take the first as 1, and the second as true.
   for ( std::string_view const text : { std::string_view( "1\0002", 3 ), { "true\0", 5 } } ) {
      EXPECT_THROW( parseJson( text ), TextError );
   }
}

}  // namespace
}  // namespace Corestore
