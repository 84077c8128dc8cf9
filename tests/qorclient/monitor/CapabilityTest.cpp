#include <gtest/gtest.h>

#include "qorclient/monitor/QorClientCommonCapabilitySm.h"

namespace {

TEST( CapabilityTest, EachSourceHasItsBitsAndTheRestIsKept ) {
   Kel::Ptr< OpenFlowTable::HwStatus > const hwStatus( new OpenFlowTable::HwStatus( "hw" ) );
   Kel::Ptr< OpenFlowTable::PlatformTableSupport > const tables(
      new OpenFlowTable::PlatformTableSupport( "tables" ) );
   Kel::Ptr< QorCommon::V1::Capability > const capability(
      new QorCommon::V1::Capability( "capability" ) );
   capability->featureIs( 1 | 4 );

   auto machine = QorClientCommon::V1::capabilitySmFactory( hwStatus, tables, capability );
   EXPECT_EQ( capability->feature(), 1u );
   hwStatus->supportedIs( true );
   EXPECT_EQ( capability->feature(), 1u | 2u | 8u );
   tables->groupTableIs( 3, false );
   tables->groupTableIs( 4, true );
   EXPECT_EQ( capability->feature(), 1u | 2u | 4u | 8u );
   hwStatus->supportedIs( false );
   EXPECT_EQ( capability->feature(), 1u | 4u );
   tables->groupTableDel( 4 );
   EXPECT_EQ( capability->feature(), 1u | 4u ) << "one table is left";
   tables->groupTableDel( 3 );
   EXPECT_EQ( capability->feature(), 1u );

   machine = nullptr;
   EXPECT_EQ( capability->feature(), 0u );
   hwStatus->supportedIs( true );
   EXPECT_EQ( capability->feature(), 0u );
}

}  // namespace
