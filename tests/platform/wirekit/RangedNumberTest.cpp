#include "platform/wirekit/RangedNumber.h"

#include <gtest/gtest.h>

#include <concepts>
#include <sstream>
#include <string>
#include <vector>

#include "qorclient/flowtable/Priority.h"
#include "records/bridging/VlanId.h"
#include "records/vxlan/Vni.h"

namespace {

using Bridging::VlanId, Bridging::VlanIdOrNone, OpenFlowTable::Priority;
using Vxlan::Vni, Vxlan::VniExt, Vxlan::VniExtOrNone, Vxlan::VniOrNone;

template < typename Make >
std::string failureOf( Make make ) {
   try {
      make();
   } catch ( Kel::RangeException const & e ) {
      return e.what();
   }
   return "";
}

template < typename T >
void expectRange( std::string const & text, typename T::Number initial,
                  std::vector< typename T::Number > valid,
                  std::vector< typename T::Number > invalid ) {
   SCOPED_TRACE( text );
   EXPECT_EQ( T().value(), initial );
   for ( auto number : valid ) {
      std::ostringstream out;
      out << T( number );
      EXPECT_EQ( T( number ).value(), number );
      EXPECT_EQ( out.str(), std::to_string( number ) );
   }
   for ( auto number : invalid ) {
      EXPECT_EQ( failureOf( [&] { T{ number }; } ), text ) << number;
   }
}

TEST( RangedNumber, limits ) {
   expectRange< VlanId >( "VlanId::value < 1 or > 4094 not allowed", 1, { 1, 4094 },
                          { 0, 4095, 65535 } );
   expectRange< VlanIdOrNone >( "VlanIdOrNone::value > 4094 not allowed", 0, { 0, 4094 },
                                { 4095, 65535 } );
   expectRange< Vni >( "Vni::value < Vni::min or > Vni::max not allowed", 0, { 0, 0xffffff },
                       { 0x1000000, 0xffffffff } );
   expectRange< VniOrNone >( "VniOrNone::value < 0 or > 0x1000000 not allowed", 0x1000000,
                             { 0, 0x1000000 }, { 0x1000001, 0xffffffff } );
   expectRange< VniExt >( "VniExt::value < VniExt::min or > VniExt::max not allowed", 0x1000000,
                          { 0, 0x1000000, 0xfffffffe }, { 0xffffffff } );
   expectRange< VniExtOrNone >( "", 0xffffffff, { 0, 0x1000000, 0xffffffff }, {} );
   expectRange< Priority >( "Priority::value < -1 or > Priority::max not allowed", 0,
                            { -1, 0, 65536 }, { -2, 65537 } );
}

TEST( RangedNumber, none ) {
   EXPECT_TRUE( VlanIdOrNone( 0 ).isNone() && VniOrNone( 0x1000000 ).isNone() &&
                VniExtOrNone( 0xffffffff ).isNone() );
   EXPECT_FALSE( VlanIdOrNone::none() || VniOrNone::none() || VniExtOrNone::none() );
   EXPECT_TRUE( VlanIdOrNone( 1 ) && VniOrNone( 0 ) && VniExtOrNone( 0x1000000 ) );
}

// What a caller may leave to the compiler, and what not even a cast may do.
template < typename From, typename To >
constexpr bool implicit = std::convertible_to< From, To >;
template < typename From, typename To >
constexpr bool checked = std::constructible_from< To, From > && !implicit< From, To >;
template < typename From, typename To >
constexpr bool impossible = !std::constructible_from< To, From >;

static_assert( implicit< VlanId, VlanIdOrNone > && implicit< Vni, VniOrNone > &&
               implicit< Vni, VniExt > && implicit< VniExt, VniExtOrNone > );
static_assert( checked< VlanIdOrNone, VlanId > && checked< VniOrNone, Vni > &&
               checked< VniExtOrNone, VniExt > && checked< VniExt, VniOrNone > &&
               checked< VniExt, Vni > );
static_assert( impossible< VniOrNone, VniExt > && impossible< VniOrNone, VniExtOrNone > &&
               impossible< VniExtOrNone, VniOrNone > && impossible< VlanId, Vni > );
static_assert( !implicit< int, VlanId > && !implicit< VlanId, int > );

TEST( RangedNumber, conversions ) {
   EXPECT_EQ( failureOf( [] { VlanId{ VlanIdOrNone::none() }; } ),
              "VlanId::value < 1 or > 4094 not allowed" );
   EXPECT_EQ( failureOf( [] { Vni{ VniOrNone::none() }; } ),
              "Vni::value < Vni::min or > Vni::max not allowed" );
   EXPECT_EQ( failureOf( [] { VniExt{ VniExtOrNone::none() }; } ),
              "VniExt::value < VniExt::min or > VniExt::max not allowed" );
   EXPECT_EQ( failureOf( [] { VniOrNone{ VniExt( 0x1000001 ) }; } ),
              "VniOrNone::value < 0 or > 0x1000000 not allowed" );
   EXPECT_EQ( VlanId( VlanIdOrNone( 7 ) ).value(), 7 );
   EXPECT_TRUE( VlanId( 7 ) == VlanIdOrNone( 7 ) && VlanIdOrNone() < VlanId( 1 ) );
}

}  // namespace
