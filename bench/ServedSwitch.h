#pragma once

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "Measure.h"
#include "NearPolicy.h"
#include "RedisClient.h"
#include "live/RedisServer.h"
#include "program/LiveState.h"

/* Switches whose agents are processes, and whoever changes and reads their state. */

namespace Bench {

inline std::string keyOf( std::string const & switchName, std::string const & path ) {
   return "qor{" + switchName + "}:" + path;
}

/** A switch with its policy, and the VLANs of its VNIs, as a controller leaves it that has not yet
 *  told the agent to begin. */
inline void setUp( Live::RedisServer const & server, std::string const & switchName,
                   std::uint32_t count ) {
   RedisClient client( server.address() );
   client.ask( { "HSET", keyOf( switchName, "@state" ), "id", switchName, "created", "0" } );
   Program::LiveState state( { server.address(), switchName } );
   state.open();
   bool const isWritten = state.write( [&] {
      Corestore::EntityManager & em = state.entityManager();
      enable( em );
      writeNearPolicy( em, count );
      Kel::ptrCast< ControllerClient::Status >( em.standing( "mgmt/controller/status" ) )
         ->enabledIs( false );
   } );
   if ( !isWritten ) {
      std::abort();
   }
}

inline void enable( RedisClient & client, std::string const & switchName ) {
   client.ask( { "HSET", keyOf( switchName, "mgmt/controller/status" ), "enabled", "true" } );
}

/** The resident memory of a process. */
inline double residentBytes( pid_t process ) {
   std::ifstream in( "/proc/" + std::to_string( process ) + "/status" );
   for ( std::string line; std::getline( in, line ); ) {
      if ( line.starts_with( "VmRSS:" ) ) {
         return 1024 * std::stod( line.substr( 6 ) );
      }
   }
   return 0;
}

/** A switch that a process serves. */
class Served {
 public:
   Served( Live::RedisServer & server, std::string name, std::uint32_t count )
      : server_( server ), name_( std::move( name ) ) {
      setUp( server, name_, count );
      std::filesystem::path const output = folder_.path() / "output";
      agent_ = std::make_unique< Live::Process >(
         std::vector< std::string >{ QORCLIENT_PROGRAM, "serve", "--redis", server.address(),
                                     "--switch", name_ },
         output );
      RedisClient client( server.address() );
      enable( client, name_ );
      std::string const last = keyOf( name_, ruleOf( count - 1, flowsPerFragment - 1 ) );
      if ( !Live::eventually( [&] { return server.ask( { "EXISTS", last } ) == "1"; }, 60 ) ) {
         std::abort();
      }
   }

   static std::string ruleOf( std::uint32_t fragment, int flow ) {
      return "pinflow/dyninput/qor/flowEntry/fragment" + std::to_string( fragment ) + "_flow" +
             std::to_string( flow ) + "-from-Et1-to-any";
   }
   /** Of the flow that is changed. */
   std::string rule() const { return keyOf( name_, ruleOf( 0, 0 ) ); }
   /** The command that gives the flow another address to match, which it then has. */
   std::string change() {
      changes_ = ( changes_ + 1 ) % 100;
      std::string const key =
         keyOf( name_, "qor/version1/policy/policy/policyFragment/fragment0/flow/flow0" );
      std::string match = server_.ask( { "HGET", key, "match" } );
      match.replace( match.find( address ), address.size() + 5, shown() );
      return formatted( { "HSET", key, "match", match } );
   }
   bool isDone( RedisClient & client ) const {
      auto const match = client.ask( { "HGET", rule(), "match" } );
      return textOf( *match ).find( shown() ) != std::string_view::npos;
   }
   /** The resident memory of the process, in kB. */
   double memory() const {
      std::string const lease = server_.ask( { "GET", keyOf( name_, "@lease/qorclient" ) } );
      std::string const behindFence = lease.substr( lease.find( ' ' ) + 1 );
      return residentBytes( std::stoi( behindFence ) ) / 1024;
   }

 private:
   static constexpr std::string_view address = "02:00:00:00:";
   std::string shown() const {
      std::string const number = std::to_string( changes_ + 100 ).substr( 1 );
      return std::string( address ) + "f0:" + number;
   }

   Live::Folder folder_;
   Live::RedisServer & server_;
   std::string name_;
   std::unique_ptr< Live::Process > agent_;
   int changes_ = 0;
};

/** Hears of changed rules, and reads them. */
class Onlooker {
 public:
   Onlooker( Live::RedisServer const & server, std::vector< Served const * > const & watched )
      : listener_( server.address() ), reader_( server.address() ) {
      std::string const id = std::to_string( listener_.ask( { "CLIENT", "ID" } )->integer );
      listener_.ask( { "SUBSCRIBE", "__redis__:invalidate" } );
      std::vector< std::string > words{ "CLIENT", "TRACKING", "ON", "REDIRECT", id, "BCAST" };
      for ( Served const * one : watched ) {
         words.insert( words.end(), { "PREFIX", one->rule() } );
      }
      reader_.ask( words );
   }
   /** Makes a change on each of them, and yields the seconds until the last can be read. */
   double change( RedisClient & writer, std::vector< Served * > const & switches ) {
      std::vector< std::string > commands;
      for ( Served * one : switches ) {
         commands.push_back( one->change() );
      }
      return timed( [&] {
         writer.pipeline( commands, commands.size() );
         for ( auto waiting = switches; !waiting.empty(); ) {
            // Only those of which it is told are asked for.
            auto const message = listener_.next();
            redisReply const & keys = *message->element[2];
            for ( std::size_t k = 0; k != keys.elements; ++k ) {
               std::erase_if( waiting, [&]( Served * one ) {
                  return textOf( *keys.element[k] ) == one->rule() && one->isDone( reader_ );
               } );
            }
         }
      } );
   }

 private:
   RedisClient listener_;
   RedisClient reader_;
};

inline double part( std::vector< double > values, double share ) {
   std::ranges::sort( values );
   return values[static_cast< std::size_t >( share * static_cast< double >( values.size() - 1 ) )];
}

}  // namespace Bench
