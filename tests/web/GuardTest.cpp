#include "web/Guard.h"

#include <gtest/gtest.h>

namespace {

using Web::Guard;
using Web::Place;
using Web::Request;

Place const loopback{ .host = "127.0.0.1", .port = 8080 };

/** 0 for a request that may be served. */
unsigned refusal( Guard const & guard, Request const & request ) {
   auto const answer = guard.refusal( request );
   return answer ? answer->status : 0;
}
unsigned ofHost( Guard const & guard, char const * host ) {
   return refusal( guard, { .path = "/", .host = host } );
}

TEST( GuardTest, ServesUnderItsOwnNamesAlone ) {
   Guard const local( loopback, { "Leaf1.example" }, "" );
   for ( char const * own : { "127.0.0.1:8080", "localhost:8080", "LocalHost:8080", "[::1]:8080",
                              "leaf1.example", "leaf1.example:443" } ) {
      EXPECT_EQ( ofHost( local, own ), 0U ) << own;
   }
   for ( char const * other :
         { "", "evil.example:8080", "127.evil.example:8080", "127.0.0.1", "127.0.0.1:80",
           "localhost.evil.example:8080", "127.0.0.1:8080@evil.example", "192.0.2.1:8080", "[::1",
           "[", ":8080", "leaf1.example.evil", "[::1].evil.example:8080" } ) {
      EXPECT_EQ( ofHost( local, other ), 421U ) << other;
   }
   Guard const everywhere( { .host = "0.0.0.0", .port = 8080 }, {}, "" );
   EXPECT_EQ( ofHost( everywhere, "192.0.2.1:8080" ), 0U );
   EXPECT_EQ( ofHost( { { .host = "::", .port = 80 }, {}, "" }, "[::1].evil.example" ), 421U );
   EXPECT_EQ( ofHost( everywhere, "evil.example:8080" ), 421U ) << "a name leads anywhere";
   EXPECT_EQ( ofHost( { { .socket = "/run/page" }, {}, "" }, "proxy.example" ), 0U );
   EXPECT_EQ( ofHost( { { .host = "10.0.0.1", .port = 80 }, {}, "" }, "10.0.0.1" ), 0U );
   EXPECT_EQ( ofHost( { { .host = "LOCALHOST", .port = 80 }, {}, "" }, "localhost" ), 0U );
   EXPECT_EQ( ofHost( { { .host = "2001:DB8::1", .port = 80 }, {}, "" }, "[2001:db8:0::1]" ), 0U );
   EXPECT_TRUE( ( Place{ .host = "0:0:0:0:0:0:0:1" }.isLocal() ) );
}

TEST( GuardTest, RefusesOtherPagesAndEveryChange ) {
   Guard const guard( loopback, {}, "" );
   Request request{ .host = "127.0.0.1:8080" };
   for ( char const * origin : { "http://127.0.0.1:8080", "https://127.0.0.1:8080", "" } ) {
      request.origin = origin;
      EXPECT_EQ( refusal( guard, request ), 0U ) << origin;
   }
   for ( char const * origin : { "null", "http://localhost:8080", "http://evil.example",
                                 "http://127.0.0.1:8080.evil.example", "127.0.0.1:8080" } ) {
      request.origin = origin;
      EXPECT_EQ( refusal( guard, request ), 403U ) << origin;
   }
   request.origin.clear();
   for ( char const * method : { "POST", "PUT", "DELETE", "OPTIONS", "CONNECT", "get", "" } ) {
      request.method = method;
      EXPECT_EQ( refusal( guard, request ), 405U ) << method;
   }
}

TEST( GuardTest, AsksForTheToken ) {
   Guard const guard( loopback, {}, "0123456789abcdef" );
   auto const with = [&]( std::string const & authorization ) {
      return refusal( guard, { .host = "localhost:8080", .authorization = authorization } );
   };
   EXPECT_EQ( with( "Bearer 0123456789abcdef" ), 0U );
   EXPECT_EQ( with( "bearer 0123456789abcdef" ), 0U );
   EXPECT_EQ( with( "Basic YW55OjAxMjM0NTY3ODlhYmNkZWY=" ), 0U ) << "any:0123456789abcdef";
   for ( char const * wrong :
         { "", "Bearer", "Bearer ", "Bearer 0123456789abcde", "Bearer 0123456789abcdef0", "Basic ",
           "Basic ****",
           "Basic MDEyMzQ1Njc4OWFiY2RlZg==", "Basic YW55Og==", "Digest 0123456789abcdef" } ) {
      EXPECT_EQ( with( wrong ), 401U ) << wrong;
   }
}

}  // namespace
