#include "qorclient/agent/QorClientAgent.h"

#include <cstdlib>
#include <string>
#include <type_traits>

#include "platform/flashlog/DualLog.h"
#include "platform/flashlog/Flashlog.h"
#include "platform/kel/Assert.h"
#include "platform/slab/KelSlab.h"
#include "records/catalog/Catalog.h"
#include "records/l2rib/SourceDirEntry.h"

KEL_TRACE_UNIT( "QorClientAgent", "QorClient" )

namespace QorClient {

namespace {

constexpr char trunkGroupName[] = "qor";

/** The entity of that input; null when its path is not mounted or holds another type. */
template < class T >
void fetch( Corestore::EntityManager const & em, char const * input, Kel::Ptr< T > & attribute ) {
   char const * const path = Catalog::placeOf( input ).path;
   if constexpr ( std::is_const_v< T > ) {
      attribute = Kel::ptrCast< T >( em.getEntity( path ) );
   } else {
      attribute = Kel::ptrCast< T >( em.getWritableEntity( path ) );
   }
}

}  // namespace

void Agent::doInit() {
   if ( !std::getenv( "FLASHLOG_DISABLE" ) ) {
      openTrace();
   }
   KEL_TRACE_SCOPE_ENDING( " return " );
   Kel::Ptr< Corestore::MountGroup > const group = entityManager().getMountGroup( this );
   for ( Catalog::Place const & place : Catalog::places() ) {
      if ( !place.isTable ) {
         group->doMount( { place.path, place.type, place.mode } );
      }
   }
   group->doClose( false, "", 0.0 );
}

void Agent::openTrace() const {
   std::string fileName = name().stringValue();
   // In a folder of its own the file has a fixed name; elsewhere the process id keeps those of
   // several runs apart.
   if ( !std::getenv( "FLASHLOGDIR" ) ) {
      fileName += "-%d";
   }
   fileName += ".fl";
   constexpr int ringKiB = 32;
   constexpr int descStepKiB = 24;
   constexpr int longestRecord = 512;
   Flashlog::SizeSpec sizes;
   sizes.fill( ringKiB );
   Flashlog::initialize( fileName, sizes, nullptr, 0, descStepKiB,
                         Flashlog::MultiThreading::singleWriter_, true, longestRecord );
}

void Agent::doMountsComplete( Corestore::MountStatus status,
                              Kel::Ptr< Corestore::EntityManager > em ) {
   KEL_TRACE_SCOPE();
   KEL_ASSERT_AT( status == Corestore::MountStatus::mountSuccess_,
                  "mountStatus == Corestore::mountSuccess_", "QorClientAgent", 116 );
   mountSlabTables( em );
   announceHostTable( *em );
   fetchEntities( *em );
   serviceMonitorRootSm_.is( *this, mgmtControllerStatus_ );
   launchSm_.is( *this, mgmtControllerStatus_, agentStatus_, vxlanClientDir_, polFragDir_,
                 slabBridgingStatus_, bridgingConfig_, switchIntfConfigDir_, polFragStatus_,
                 pfHwConfig_, pfHwStatus_, capability_, platformTableSupport_, vniSviConfig_,
                 vtiStatusDir_, dynAllowedVlans_, dynAllowedVlans_->trunkGroup( trunkGroupName ),
                 mlagConfig_, mlagHostTable_, platformInitConfig_, fhrpGlideMacStatus_,
                 nimbusVniBaseDir_, l2RibQorHostInput_, ofHwStatus_, mlagPluginStatus_, mlagStatus_,
                 scheduler(), groupTypeConfigDir_, groupTypeStatus_, groupSetConfigDir_,
                 groupSetStatusDir_, fragmentConfigDir_, fragmentStatusDir_, pfHwConfigL3_,
                 pfHwStatusL3_ );
}

void Agent::mountSlabTables( Kel::Ptr< Corestore::EntityManager > const & em ) {
   KelSlab::Mount slab( em );
   slab.handleInitialized();

   Catalog::Place const & forwardingTable = Catalog::placeOf( "slabBridgingStatus" );
   slab.doMount( forwardingTable.path, forwardingTable.type,
                 KelSlab::MountInfo( KelSlab::KelSlabType::reader_ ) );
   slabBridgingStatus_ =
      Kel::ptrCast< Slab::Bridging::Status const >( slab.getEntity( forwardingTable.path ) );

   KelSlab::MountInfo hostInput( KelSlab::KelSlabType::writer_ );
   hostInput.collectionInfoIs( { "host", l2RibQorHostTableLen_ } );
   slab.doMount( l2RibQorHostTableSlabPath_, Catalog::placeOf( "l2RibQorHostInput" ).type,
                 hostInput );
   l2RibQorHostInput_ =
      Kel::ptrCast< L2Rib::HostInput >( slab.getEntity( l2RibQorHostTableSlabPath_ ) );
}

/** The L2 RIB learns of the table on every start, whether or not the service is enabled. */
void Agent::announceHostTable( Corestore::EntityManager const & em ) const {
   Kel::Ptr< L2Rib::SourceDirEntry > source;
   fetch( em, "l2RibQorSourceDirEntry", source );
   source->hostTableSlabPathIs( l2RibQorHostTableSlabPath_ );
   source->hostTableLenIs( l2RibQorHostTableLen_ );
   source->sourceIs( L2Rib::Source::qor );
   source->initializedIs( true );
}

void Agent::fetchEntities( Corestore::EntityManager const & em ) {
   fetch( em, "polFragDir", polFragDir_ );
   fetch( em, "polFragStatus", polFragStatus_ );
   fetch( em, "agentStatus", agentStatus_ );
   fetch( em, "mlagPluginStatus", mlagPluginStatus_ );
   fetch( em, "bridgingConfig", bridgingConfig_ );
   fetch( em, "switchIntfConfigDir", switchIntfConfigDir_ );
   fetch( em, "pfHwConfig", pfHwConfig_ );
   fetch( em, "platformInitConfig", platformInitConfig_ );
   fetch( em, "pfHwStatus", pfHwStatus_ );
   fetch( em, "platformTableSupport", platformTableSupport_ );
   fetch( em, "vxlanClientDir", vxlanClientDir_ );
   fetch( em, "mgmtControllerStatus", mgmtControllerStatus_ );
   fetch( em, "vniSviConfig", vniSviConfig_ );
   fetch( em, "vtiStatusDir", vtiStatusDir_ );
   fetch( em, "dynAllowedVlans", dynAllowedVlans_ );
   dynAllowedVlans_->trunkGroupIs( trunkGroupName );
   fetch( em, "mlagConfig", mlagConfig_ );
   fetch( em, "mlagStatus", mlagStatus_ );
   fetch( em, "mlagHostTable", mlagHostTable_ );
   fetch( em, "fhrpGlideMacStatus", fhrpGlideMacStatus_ );
   fetch( em, "nimbusVniBaseDir", nimbusVniBaseDir_ );
   fetch( em, "ofHwStatus", ofHwStatus_ );
   fetch( em, "capability", capability_ );
   fetch( em, "groupTypeConfigDir", groupTypeConfigDir_ );
   fetch( em, "groupTypeStatus", groupTypeStatus_ );
   fetch( em, "groupSetConfigDir", groupSetConfigDir_ );
   fetch( em, "groupSetStatusDir", groupSetStatusDir_ );
   fetch( em, "fragmentConfigDir", fragmentConfigDir_ );
   fetch( em, "fragmentStatusDir", fragmentStatusDir_ );
   fetch( em, "pfHwConfigL3", pfHwConfigL3_ );
   fetch( em, "pfHwStatusL3", pfHwStatusL3_ );
}

Agent::~Agent() {
   // A process that is ending leaves its outputs as they are, for the next start to adopt.
   if ( Kel::Ptr< LaunchSm > gate = launchSm() ) {
      serviceMonitorRootSm()->kelMakeTreeZombie();
      gate->kelMakeTreeZombie();
   }
   serviceMonitorRootSm_.del();
   launchSm_.del();
}

}  // namespace QorClient
