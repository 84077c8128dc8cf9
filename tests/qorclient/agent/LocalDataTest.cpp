#include <gtest/gtest.h>

#include "qorclient/agent/QorClientLocalTypes.h"
#include "qorclient/agent/QorClientUtils.h"

using QorClient::LocalData;

namespace {

struct Counter : Kel::ChangeSink {
   Counter() { Kel::Notifier::changeSinkIs( this ); }
   ~Counter() override { Kel::Notifier::changeSinkIs( nullptr ); }
   void changed( Kel::Notifier const & notifier, Kel::AttributeId attribute,
                 void const * ) override {
      names.push_back( notifier.fwkType().attributes()[attribute]->name() );
   }
   std::vector< std::string > names;
};

TEST( LocalData, TellsOfItsTunnelEndPointOnce ) {
   Kel::Ptr< LocalData > const data = LocalData::singleton();
   EXPECT_EQ( data, LocalData::singleton() );
   EXPECT_EQ( data, Kel::Entity::singletonExists( "QorClient::LocalData" ) );
   {
      Counter seen;
      data->vtepInfoDel();
      auto const info = data->vtepInfoIs();
      EXPECT_EQ( data->vtepInfoIs(), info );
      info->vniToVlanMapIs( Vxlan::VniExt( 0x1000000 ), Bridging::VlanId( 10 ) );
      data->qorEnabledIs( true );
      data->vtepInfoDel();
      EXPECT_FALSE( data->vtepInfo() );
      EXPECT_EQ( seen.names, ( std::vector< std::string >{ "vtepInfo", "vniToVlanMap", "qorEnabled",
                                                           "vtepInfo" } ) );
   }
   Kel::Entity::singletonsDel();
   EXPECT_FALSE( LocalData::singleton()->qorEnabled() );
   Kel::Entity::singletonsDel();
}

TEST( Utils, TunnelNamesAndVnis ) {
   EXPECT_TRUE( QorClient::isVti( "vxlan" ) && QorClient::isVti( "VxLan1" ) );
   EXPECT_FALSE( QorClient::isVti( "vxla" ) || QorClient::isVti( "" ) ||
                 QorClient::isVti( "xvxlan1" ) );
   using QorClientUtils::convertVniToVniExt;
   EXPECT_EQ( convertVniToVniExt( Vxlan::VniOrNone() ).value(), 0xffffffff );
   EXPECT_EQ( convertVniToVniExt( Vxlan::VniOrNone( 0xffffff ) ).value(), 0xffffffu );
   EXPECT_EQ( convertVniToVniExt( Vxlan::VniOrNone( 0 ) ).value(), 0u );
}

}  // namespace
