// What it costs that the state lives in Redis, where others write and read it.
//
// `allRulesWritten`: 100,000 rules, from the word that the agent is wanted until the last of their
// rows is with the server. `vs_bare` is the time against the agent's rows written bare into an
// equal state: their commands, prepared beforehand, in pipelines through hiredis.
//
// `restart`: a new agent on those rules, until it has nothing more to do. `vs_bare` is the time
// against a bare load: all keys by SCAN, then all values in pipelines, of which nothing is kept.
// `rows_written` is what it changed in the state.
//
// `oneFlowChanged`: another client writes one field of a flow of ten rules and waits until the
// changed rule can be read. Agents are processes of their own, with 100,000 rules and with 1,000,
// asked in turns.
//
// `fiftyAgents`: the same flow changed on 50 switches of 2,000 rules by one pipeline, until the
// last rule can be read, against one switch alone; and what memory they take.

#include <benchmark/benchmark.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Measure.h"
#include "ServedSwitch.h"
#include "live/RedisServer.h"
#include "platform/warden/CAgent.h"
#include "program/LiveState.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/catalog/Catalog.h"

namespace {

using Bench::enable;
using Bench::keyOf;
using Bench::Onlooker;
using Bench::part;
using Bench::RedisClient;
using Bench::Served;
using Bench::setUp;
using Bench::timed;
using Live::RedisServer;

constexpr std::uint32_t fragments = 100;
constexpr std::uint32_t rulesPerFragment = Bench::flowsPerFragment * Bench::interfacesPerSet;
/** Commands in a pipeline; the server and hiredis are at their fastest here. */
constexpr std::size_t pipelineSize = 10'000;

Program::LiveState::Setup agentsPart() {
   Program::LiveState::Setup setup;
   setup.role = "qorclient";
   setup.owns = Catalog::isAgents;
   return setup;
}

/** An agent in this process, as `qorclient serve` runs it. */
class Agent {
 public:
   Agent( RedisServer const & server, std::string const & switchName )
      : state_( { server.address(), switchName }, agentsPart() ) {
      state_.open();
      agent_ = Warden::startAgent( "QorClient::Agent", "QorClient", &state_.entityManager() );
   }
   ~Agent() {
      // What it writes at its end is no part of what a killed process leaves.
      state_.scheduler().turnEndIs( {} );
      state_.scheduler().postedDelAll();
      agent_ = nullptr;
      Kel::Entity::singletonsDel();
   }
   Agent( Agent const & ) = delete;
   Agent & operator=( Agent const & ) = delete;

   /** Until so many rules stand and all is with the server. */
   void settle( std::size_t rules ) {
      auto const table =
         state_.entityManager().entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" );
      Redis::RedisStore const & store = state_.store();
      state_.scheduler().run( [&] {
         return table->flowEntryCount() == rules && state_.scheduler().queue() == 0 &&
                store.isWritten() && store.takes() == Corestore::Store::Takes::now;
      } );
   }

 private:
   Program::LiveState state_;
   Kel::Ptr< Warden::CAgent > agent_;
};

std::vector< std::string > keysIn( RedisClient & client ) {
   std::vector< std::string > keys;
   std::string cursor = "0";
   do {
      auto const reply = client.ask( { "SCAN", cursor, "COUNT", std::to_string( pipelineSize ) } );
      cursor = Bench::textOf( *reply->element[0] );
      for ( std::size_t i = 0; i != reply->element[1]->elements; ++i ) {
         keys.emplace_back( Bench::textOf( *reply->element[1]->element[i] ) );
      }
   } while ( cursor != "0" );
   return keys;
}

/** A command a row, for all rows of a server but those that stood `before`. */
std::vector< std::string > writesOf( RedisClient & client,
                                     std::set< std::string > const & before ) {
   std::vector< std::string > writes;
   for ( std::string const & key : keysIn( client ) ) {
      if ( before.contains( key ) || key.find( ":@" ) != key.npos ) {
         continue;
      }
      auto const type = client.ask( { "TYPE", key } );
      if ( Bench::textOf( *type ) == "string" ) {
         auto const value = client.ask( { "GET", key } );
         writes.push_back(
            Bench::formatted( { "SET", key, std::string( Bench::textOf( *value ) ) } ) );
         continue;
      }
      auto const fields = client.ask( { "HGETALL", key } );
      std::vector< std::string > words{ "HSET", key };
      bool const isBook = Bench::textOf( *fields->element[1] ).starts_with( '[' );
      for ( std::size_t i = 0; i != fields->elements; ++i ) {
         words.emplace_back( Bench::textOf( *fields->element[i] ) );
         if ( isBook && i % 2 == 1 ) {
            // Each of its entries is a row.
            writes.push_back( Bench::formatted( words ) );
            words.resize( 2 );
         }
      }
      if ( words.size() > 2 ) {
         writes.push_back( Bench::formatted( words ) );
      }
   }
   std::string const order = keyOf( "leaf1", "@order" );
   auto const places = client.ask( { "ZRANGE", order, "0", "-1", "WITHSCORES" } );
   for ( std::size_t i = 0; i + 1 < places->elements; i += 2 ) {
      std::string const path( Bench::textOf( *places->element[i] ) );
      if ( !before.contains( keyOf( "leaf1", path ) ) ) {
         writes.push_back( Bench::formatted(
            { "ZADD", order, std::string( Bench::textOf( *places->element[i + 1] ) ), path } ) );
      }
   }
   return writes;
}

/** The calls of commands that change rows, since the statistics began. */
double changesIn( RedisServer & server ) {
   double sum = 0;
   std::string const text = server.ask( { "INFO", "commandstats" } );
   for ( char const * command : { "hset", "hdel", "del", "zadd", "zrem" } ) {
      std::string const name = std::string( "cmdstat_" ) + command + ":calls=";
      if ( auto const at = text.find( name ); at != text.npos ) {
         sum += std::stod( text.substr( at + name.size() ) );
      }
   }
   return sum;
}

void allRulesWritten( benchmark::State & state ) {
   double ours = 0;
   double bare = 0;
   double rows = 0;
   double steps = 0;
   for ( auto _ : state ) {
      std::vector< std::string > writes;
      {
         RedisServer server( false );
         setUp( server, "leaf1", fragments );
         RedisClient client( server.address() );
         auto const keys = keysIn( client );
         Agent agent( server, "leaf1" );
         agent.settle( 0 );
         double const seconds = timed( [&] {
            enable( client, "leaf1" );
            agent.settle( fragments * rulesPerFragment );
         } );
         ours += seconds;
         state.SetIterationTime( seconds );
         writes = writesOf( client, { keys.begin(), keys.end() } );
         auto const turn = client.ask( { "GET", keyOf( "leaf1", "@turn/qorclient" ) } );
         steps = std::stod( std::string( Bench::textOf( *turn ) ) );
      }
      RedisServer const server( false );
      setUp( server, "leaf1", fragments );
      RedisClient client( server.address() );
      bare += timed( [&] { client.pipeline( writes, pipelineSize ); } );
      rows = static_cast< double >( writes.size() );
   }
   state.counters["vs_bare"] = ours / bare;
   state.counters["bare_ms"] = 1e3 * bare / static_cast< double >( state.iterations() );
   state.counters["commands"] = rows;
   state.counters["steps"] = steps;
}
BENCHMARK( allRulesWritten )->UseManualTime()->Unit( benchmark::kMillisecond )->Iterations( 2 );

void restart( benchmark::State & state ) {
   RedisServer server( false );
   setUp( server, "leaf1", fragments );
   RedisClient client( server.address() );
   enable( client, "leaf1" );
   // The second one tells of its flows what it can know of rules that it didn't write itself.
   for ( int i = 0; i != 2; ++i ) {
      Agent( server, "leaf1" ).settle( fragments * rulesPerFragment );
   }
   std::set< std::string > strings;
   for ( std::string const & key : keysIn( client ) ) {
      if ( Bench::textOf( *client.ask( { "TYPE", key } ) ) == "string" ) {
         strings.insert( key );
      }
   }
   double ours = 0;
   double bare = 0;
   double written = 0;
   for ( auto _ : state ) {
      bare += timed( [&] {
         std::vector< std::string > reads;
         for ( std::string const & key : keysIn( client ) ) {
            bool const isOther = key.find( ":@" ) != key.npos;
            reads.push_back( Bench::formatted( { isOther                   ? "TYPE"
                                                 : strings.contains( key ) ? "GET"
                                                                           : "HGETALL",
                                                 key } ) );
         }
         client.pipeline( reads, pipelineSize );
      } );
      server.ask( { "CONFIG", "RESETSTAT" } );
      std::unique_ptr< Agent > agent;
      double const seconds = timed( [&] {
         agent = std::make_unique< Agent >( server, "leaf1" );
         agent->settle( fragments * rulesPerFragment );
      } );
      ours += seconds;
      written += changesIn( server );
      state.SetIterationTime( seconds );
   }
   state.counters["vs_bare"] = ours / bare;
   state.counters["bare_ms"] = 1e3 * bare / static_cast< double >( state.iterations() );
   state.counters["rows_written"] = written;
   state.counters["keys"] = std::stod( server.ask( { "DBSIZE" } ) );
}
BENCHMARK( restart )->UseManualTime()->Unit( benchmark::kMillisecond )->Iterations( 2 );

void oneFlowChanged( benchmark::State & state ) {
   RedisServer server( false );
   Served large( server, "large", fragments );
   Served small( server, "small", 1 );
   Onlooker onlooker( server, { &large, &small } );
   RedisClient writer( server.address() );
   std::vector< double > ofLarge;
   std::vector< double > ofSmall;
   for ( auto _ : state ) {
      ofLarge.push_back( onlooker.change( writer, { &large } ) );
      ofSmall.push_back( onlooker.change( writer, { &small } ) );
      state.SetIterationTime( ofLarge.back() );
   }
   state.counters["median_us"] = 1e6 * part( ofLarge, 0.5 );
   state.counters["p99_us"] = 1e6 * part( ofLarge, 0.99 );
   state.counters["vs_1000_rules"] = part( ofLarge, 0.5 ) / part( ofSmall, 0.5 );
   state.counters["p99_us_of_1000_rules"] = 1e6 * part( ofSmall, 0.99 );
   state.counters["agent_bytes_a_rule"] = 1024 * ( large.memory() - small.memory() ) /
                                          ( fragments * rulesPerFragment - rulesPerFragment );
}
BENCHMARK( oneFlowChanged )->UseManualTime()->Unit( benchmark::kMicrosecond )->Iterations( 2000 );

void fiftyAgents( benchmark::State & state ) {
   constexpr std::size_t agents = 50;
   constexpr std::uint32_t fragmentsEach = 2;
   RedisServer server( false );
   auto const used = [&] {
      std::string const info = server.ask( { "INFO", "memory" } );
      std::string const name = "used_memory:";
      return std::stod( info.substr( info.find( name ) + name.size() ) );
   };
   double const atFirst = used();
   std::vector< std::unique_ptr< Served > > served;
   std::vector< Served * > all;
   for ( std::size_t i = 0; i != agents; ++i ) {
      served.push_back(
         std::make_unique< Served >( server, "leaf" + std::to_string( i ), fragmentsEach ) );
      all.push_back( served.back().get() );
   }
   double const engine = used() - atFirst;
   double resident = 0;
   for ( Served const * one : all ) {
      resident += one->memory();
   }
   Onlooker onlooker( server, { all.begin(), all.end() } );
   RedisClient writer( server.address() );
   std::vector< double > ofOne;
   std::vector< double > ofAll;
   for ( auto _ : state ) {
      ofOne.push_back( onlooker.change( writer, { all.front() } ) );
      ofAll.push_back( onlooker.change( writer, all ) );
      state.SetIterationTime( ofAll.back() );
   }
   state.counters["median_us"] = 1e6 * part( ofAll, 0.5 );
   state.counters["vs_one"] = part( ofAll, 0.5 ) / part( ofOne, 0.5 );
   state.counters["agent_kB"] = resident / agents;
   state.counters["engine_kB_an_agent"] = engine / agents / 1024;
   state.counters["engine_bytes_a_rule"] = engine / agents / ( fragmentsEach * rulesPerFragment );
}
BENCHMARK( fiftyAgents )->UseManualTime()->Unit( benchmark::kMicrosecond )->Iterations( 200 );

}  // namespace

int main( int argc, char ** argv ) {
   Bench::runBenchmarks( argc, argv );
}
