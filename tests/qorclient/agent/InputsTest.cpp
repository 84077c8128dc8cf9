#include <gmock/gmock.h>

#include <map>
#include <type_traits>

#include "documents/StatePatch.h"
#include "platform/corestore/ValueText.h"
#include "qorclient/agent/AgentFixture.h"
#include "records/catalog/Catalog.h"

namespace {

/** Where a machine's name for an input differs from the catalog's. */
std::map< std::string, std::string > const otherNames = {
   { "controllerClientStatus", "mgmtControllerStatus" },
   { "slabBrStatus", "slabBridgingStatus" },
   { "brConfig", "bridgingConfig" },
   { "qorClientPluginStateCopy", "mlagPluginStatus" },
   { "status", "agentStatus" },
};

/** The path of an input by its name; empty for one that stands below a place of the catalog. */
std::string pathFor( std::string_view machine, std::string input ) {
   if ( input == "qorTrunkGroup" ) {
      return pathFor( machine, "dynAllowedVlans" ) + "/trunkGroup/qor";
   }
   if ( auto const other = otherNames.find( input ); other != otherNames.end() ) {
      input = other->second;
   }
   // The routed side knows no other flow table than its own.
   if ( machine.starts_with( "QorClientL3::" ) && input.starts_with( "pfHw" ) ) {
      input += "L3";
   }
   for ( Catalog::Place const & place : Catalog::places() ) {
      if ( input == place.input ) {
         return place.path;
      }
   }
   return {};
}

class InputsTest : public AgentFixture {
 protected:
   /** Holds the inputs of a machine and of those below it against the catalog. */
   template < class Machine >
   void checkInputs( Machine const & machine ) {
      Kel::forEachAttribute< Machine >( [&]< class Attribute >( Attribute const & attribute ) {
         auto const & member = machine.*attribute.member;
         using Member = std::remove_cvref_t< decltype( member ) >;
         if constexpr ( requires { member.machine()->kelTakeNotificationsOff(); } ) {
            if ( auto const child = member.machine() ) {
               checkInputs( *child );
            }
         } else if constexpr ( Kel::isArgument< Attribute > ) {
            if constexpr ( Kel::ReactorMember< Member > ) {
               checkInput( machine, attribute.name, member.watched().ptr() );
            } else if constexpr ( requires { member->fullName(); } ) {
               checkInput( machine, attribute.name, member.ptr() );
            }
         }
      } );
   }

   void checkInput( Kel::StateMachine const & machine, char const * input,
                    Kel::Notifier const * held ) {
      std::string const path = pathFor( machine.fwkType().name, input );
      auto const * entity = dynamic_cast< Kel::Entity const * >( held );
      if ( path.empty() ) {
         others.push_back( std::string( machine.fwkType().name ) + " " + input );
      } else {
         ++checked[machine.fwkType().name];
         ASSERT_TRUE( entity ) << machine.fwkType().name << " " << input;
         EXPECT_EQ( entity->fullName(), path ) << machine.fwkType().name << " " << input;
      }
   }

   std::map< std::string, int > checked;
   std::vector< std::string > others;
};

TEST_F( InputsTest, AreTheEntitiesOfTheCatalog ) {
   start();
   enable();
   serviceIs( "QorL3", true );
   Documents::applyState( *em, Corestore::parseJson( R"({
      "pinflow/pfHwStatusDir/dyninputstatus/qor":{"supported":true},
      "features/pinflow/hwcapabilities/platformTableSupport":{"groupTable":{"1":true}},
      "mlag/config":{"peerLinkIntfId":"Port-Channel1"},
      "qor/version1/policy":{"policy":{}}})" ),
                          []( auto const & mutator ) { mutator(); } );
   scheduler->runReady();
   checkInputs( *agent->serviceMonitorRootSm() );
   checkInputs( *agent->launchSm() );

   EXPECT_THAT( others, testing::UnorderedElementsAre(
                           "QorClient::ServiceMonitorSm leaderServiceStatusDir",
                           "QorClient::DatapathV1::PolicyFragmentSm polFragConfig",
                           "QorClient::VlanHelperSm vtepInfo" ) );
   EXPECT_EQ( checked["QorClient::LaunchSm"], 33 );
   EXPECT_EQ( checked["QorClient::RootSm"], 19 );
   EXPECT_EQ( checked["QorClient::PolicyFragmentDirSm"], 17 );
   EXPECT_EQ( checked["QorClientL3::V1::RootSm"], 8 );
}

TEST( CatalogTest, KnowsWhichRowsAreTheAgents ) {
   for ( char const * own : { "qorclient/status", "qorclient/status/vlanForVni/7",
                              "vxlan/clientDir/qor", "vxlan/clientDir/qor/vtiVniConfig/x",
                              "qorclientl3/version1/global/groupSetStatus/red" } ) {
      EXPECT_TRUE( Catalog::isAgents( own ) ) << own;
   }
   for ( char const * other : { "", "qorclient", "qorclient/statusOf", "vxlan/clientDir",
                                "vxlan/clientDir/qor2", "qor/version1/policy/policy", "mlag/x" } ) {
      EXPECT_FALSE( Catalog::isAgents( other ) ) << other;
   }
}

}  // namespace
