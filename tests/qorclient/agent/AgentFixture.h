#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qorclient/agent/QorClientAgent.h"

/** The agent on a state database of its own. Entities that a test asks for before the start are
 *  what an earlier run has left. */
class AgentFixture : public testing::Test {
 protected:
   AgentFixture() { ::setenv( "FLASHLOG_DISABLE", "1", 1 ); }
   ~AgentFixture() override {
      observer.reset();
      agent = nullptr;
      Kel::Entity::singletonsDel();
   }

   template < class T >
   Kel::Ptr< T > at( char const * path ) {
      return Kel::ptrCast< T >( em->entityIs( path, T::kelType().name ) );
   }

   void start() {
      Kel::Ptr< Warden::CAgent > const started =
         Warden::startAgent( "QorClient::Agent", "QorClient", em );
      agent = Kel::ptrCast< QorClient::Agent >( started );
      scheduler->runReady();
   }

   /** Names the changes from now on, "entity attribute[key]", the entity by the path's last two. */
   void record() {
      observer.emplace( *em, [this]( Corestore::Change const & change ) {
         std::string const & path = change.rootPath;
         std::size_t const last = path.rfind( '/', path.rfind( '/' ) - 1 );
         std::string text =
            path.substr( last == std::string::npos ? 0 : last + 1 ) + ' ' + change.attribute.name();
         if ( change.key ) {
            text += '[' + change.attribute.keyText( change.key ) + ']';
         }
         changes.push_back( text );
      } );
   }

   Kel::Ptr< ControllerClient::Status > controller() {
      return at< ControllerClient::Status >( "mgmt/controller/status" );
   }
   void serviceIs( char const * name, bool enabled ) {
      controller()
         ->leaderServiceStatusDirIs( Kel::Name( "leader" ) )
         ->serviceIs( name )
         ->enabledIs( enabled );
   }
   /** Turns on what the gate asks for. */
   void enable() {
      serviceIs( "Qor", true );
      controller()->enabledIs( true );
   }

   Kel::Ptr< Orb::TaskScheduler > const scheduler{
      new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() ) };
   Kel::Ptr< Corestore::EntityManager > const em{ new Corestore::EntityManager( scheduler ) };
   Kel::Ptr< QorClient::Agent > agent;
   std::vector< std::string > changes;
   std::optional< Corestore::ChangeObserver > observer;
};
