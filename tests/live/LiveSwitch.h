#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "live/RedisServer.h"

namespace Live {

/** A switch whose state is in a server of its own, and the programs around it. */
class LiveSwitch {
 public:
   /** A policy whose one flow, "web" of the fragment "f", redirects what comes from Ethernet5. */
   static constexpr char const * policy = R"({
      "pinflow/pfHwStatusDir/dyninputstatus/qor": { "supported": true },
      "interface/status/eth/vxlan": { "vtiStatus": { "Vxlan1": { "addr": "192.0.2.1" } } },
      "mgmt/controller/status": { "enabled": true,
         "leaderServiceStatusDir": { "service": { "Qor": { "enabled": true } } } },
      "qor/version1/policy": { "policy": { "policyFragment": { "f": {
         "originalVni": 100, "serviceVni": 200,
         "serviceIntfSet": { "near": { "intf": { "Ethernet5": true } } },
         "flow": { "web": { "interceptPoint": "ingress", "serviceIntfKey": "near",
            "match": { "vni": 200 }, "action": { "vni": 100 } } } } } } } })";

   explicit LiveSwitch( bool durable = true, std::vector< std::string > options = {} )
      : server_( durable, std::move( options ) ) {}

   RedisServer & server() { return server_; }
   /** Where programs find the state, if it isn't the server of its own. */
   void addressIs( std::string const & address ) { address_ = address; }
   std::string key( std::string const & path ) const { return "qor{leaf1}:" + path; }

   void init() { EXPECT_EQ( run( { "init" } ), 0 ) << said(); }
   std::unique_ptr< Process > serve( std::vector< std::string > const & options = {} ) {
      return start( "serve", options );
   }
   std::unique_ptr< Process > simulate() {
      return start( "simulate", { "--vlan-pool", "1000-1999" } );
   }
   /** An Open vSwitch bridge for hardware. */
   std::unique_ptr< Process > steer( std::vector< std::string > const & options ) {
      return start( "openvswitch", options );
   }
   std::unique_ptr< Process > web( std::vector< std::string > const & options ) {
      return start( "web", options );
   }
   std::unique_ptr< Process > watch() { return start( "watch", {} ); }
   /** Runs a command to its end and yields its exit code; `said` has what it printed. */
   int run( std::vector< std::string > const & command ) {
      std::filesystem::remove( folder_.path() / "command" );
      Process process( wordsOf( QORCLIENT_PROGRAM, command ), folder_.path() / "command" );
      int const code = process.ended().value_or( -1 );
      said_ = process.output();
      return code;
   }
   std::string const & said() const { return said_; }
   int apply( std::string const & document ) { return run( { "apply", fileOf( document ) } ); }
   /** Begins to, in a process of its own. */
   std::unique_ptr< Process > startApply( std::string const & document ) {
      return std::make_unique< Process >(
         wordsOf( QORCLIENT_PROGRAM, { "apply", fileOf( document ) } ), folder_.path() / "apply" );
   }
   /** The state as a document. */
   std::string dump() { return run( { "get" } ) == 0 ? said_ : ""; }
   /** In words. */
   std::string state( std::string const & flow ) {
      if ( run( { "why", flow } ) != 0 ) {
         return {};
      }
      // The last line says it.
      said_.pop_back();
      return said_.substr( said_.rfind( '\n' ) + 1 );
   }
   /** How many rules stand in the flow table. */
   std::size_t rules() {
      std::string const keys = server_.ask( { "KEYS", key( "pinflow/dyninput/qor/flowEntry/*" ) } );
      return keys.empty() ? 0 : static_cast< std::size_t >( std::ranges::count( keys, ' ' ) ) + 1;
   }

 private:
   std::string fileOf( std::string const & document ) const {
      std::string const file = folder_.path() / "document.json";
      std::ofstream( file, std::ios::trunc ) << document;
      return file;
   }
   std::vector< std::string > wordsOf( std::string const & program,
                                       std::vector< std::string > const & words ) const {
      std::vector< std::string > all{ program };
      all.insert( all.end(), words.begin(), words.end() );
      for ( char const * word : { "--switch", "leaf1", "--redis" } ) {
         all.emplace_back( word );
      }
      all.push_back( address_.empty() ? server_.address() : address_ );
      return all;
   }
   std::unique_ptr< Process > start( std::string const & command,
                                     std::vector< std::string > const & options ) {
      std::vector< std::string > words{ command };
      words.insert( words.end(), options.begin(), options.end() );
      return std::make_unique< Process >(
         wordsOf( command == "simulate" || command == "openvswitch" ? QORSWITCH_PROGRAM
                                                                    : QORCLIENT_PROGRAM,
                  words ),
         folder_.path() / ( command + std::to_string( ++started_ ) ) );
   }

   Folder folder_;
   RedisServer server_;
   std::string address_;
   std::string said_;
   int started_ = 0;
};

}  // namespace Live
