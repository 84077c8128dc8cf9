// How long the agent takes to turn policy into rules, against writing the same records bare.
//
// The policy is that of NearPolicy.h. The floor is what no agent could do without: the final
// records of a converged agent, collected beforehand, written into fresh entities of the same types
// that nobody watches. Each benchmark takes both in one run and prints the ratio as `vs_bare`.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "Measure.h"
#include "NearPolicy.h"
#include "platform/corestore/EntityManager.h"
#include "platform/warden/CAgent.h"
#include "qorclient/agent/QorClientAgent.h"
#include "qorclient/agent/Status.h"
#include "qorclient/flowtable/PinFlowHwConfig.h"
#include "records/catalog/Catalog.h"
#include "records/qor/PolicyFragmentStatus.h"

namespace {

using Bench::flowsPerFragment;
using Bench::heapBytes;
using Bench::interfacesPerSet;
using Bench::timed;

/** Inputs in a state database, and an agent that may be started on them any number of times. */
class World {
 public:
   explicit World( int fragments )
      : scheduler_( new Orb::TaskScheduler( std::make_unique< Orb::VirtualTime >() ) ),
        em_( new Corestore::EntityManager( scheduler_ ) ) {
      Bench::enable( *em_ );
      Bench::writeNearPolicy( *em_, static_cast< std::uint32_t >( fragments ) );
   }
   ~World() { stop(); }

   void start() {
      agent_ = Warden::startAgent( QorClient::Agent::kelType().name, "QorClient", em_ );
      scheduler_->runReady();
   }
   void stop() {
      agent_ = nullptr;
      Kel::Entity::singletonsDel();
   }
   /** Leaves the state as a killed agent does, of which nothing is taken back. What was freed is
    *  merged here: the heap would put that off to the next start, whose process hasn't freed it. */
   void kill() {
      {
         Corestore::MemoryStore state;
         em_->saveTo( state );
         stop();
         em_ = new Corestore::EntityManager( scheduler_ );
         Catalog::createPlaces( *em_ );
         em_->loadFrom( state );
      }
      ::malloc_trim( 0 );
   }

   template < class T >
   Kel::Ptr< T > entity( char const * path ) const {
      return Kel::ptrCast< T >( em_->entityIs( path, T::kelType().name ) );
   }
   Kel::Ptr< Qor::V1::ServicePolicyFragment > fragment( int number ) const {
      auto policy = entity< Kel::Dir >( "qor/version1/policy" )->entity( "policy" );
      return Kel::ptrCast< Qor::V1::QorPolicyFragment >( policy )->policyFragment(
         "fragment" + std::to_string( number ) );
   }
   std::size_t rules() const {
      return entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )->flowEntryCount();
   }

 private:
   Kel::Ptr< Orb::TaskScheduler > scheduler_;
   Kel::Ptr< Corestore::EntityManager > em_;
   Kel::Ptr< Warden::CAgent > agent_;
};

/** The final records of a converged agent, ready to be written bare. */
class FinalRecords {
 public:
   explicit FinalRecords( World const & world ) {
      for ( auto const & [name, entry] :
            world.entity< OpenFlowTable::PinFlowHwConfig >( "pinflow/dyninput/qor" )
               ->flowEntry() ) {
         entries_.emplace_back( name, entry );
      }
      for ( auto const & [name, fragment] :
            world.entity< Qor::V1::QorPolicyFragmentStatus >( "qorclient/version1/policystatus" )
               ->policyFragment() ) {
         for ( auto const & [flow, status] : fragment->flowStatus() ) {
            statuses_.emplace_back( name, status );
         }
      }
      auto status = world.entity< QorClient::Status >( "qorclient/status" );
      for ( auto const & [rule, flow] : status->flowNameForRuleName() ) {
         names_.emplace_back( rule, flow, status->fragmentNameForRuleName( rule ),
                              status->ruleStateForRuleName( rule ) );
      }
      for ( auto const & [key, bound] : status->boundVni() ) {
         bindings_.push_back( key );
      }
      for ( auto const & [fragment, info] : status->policyFragmentInfo() ) {
         for ( auto const & [flow, flowInfo] : info->flowInfo() ) {
            flows_.push_back( { fragment, flow, flowInfo, {} } );
            for ( auto const & [key, rule] : flowInfo->ruleInfo() ) {
               flows_.back().rules.push_back( rule );
            }
         }
      }
   }

   /** Entities that hold what was written, so that its end is not part of what is timed. */
   struct Written {
      Kel::Ptr< OpenFlowTable::PinFlowHwConfig > table{ new OpenFlowTable::PinFlowHwConfig( "t" ) };
      Kel::Ptr< Qor::V1::QorPolicyFragmentStatus > policy{
         new Qor::V1::QorPolicyFragmentStatus( "p" ) };
      Kel::Ptr< QorClient::Status > status{ new QorClient::Status( "s" ) };
   };

   Written writeBare() const {
      Written out;
      for ( auto const & [name, entry] : entries_ ) {
         out.table->flowEntryIs( name, entry );
      }
      for ( auto const & [fragment, status] : statuses_ ) {
         out.policy->policyFragmentIs( fragment )->flowStatusIs( status );
      }
      for ( auto const & [rule, flow, fragment, state] : names_ ) {
         out.status->flowNameForRuleNameIs( rule, flow );
         out.status->fragmentNameForRuleNameIs( rule, fragment );
         out.status->ruleStateForRuleNameIs( rule, state );
      }
      for ( auto const & key : bindings_ ) {
         out.status->boundVniIs( key, true );
      }
      for ( Flow const & flow : flows_ ) {
         auto info = out.status->policyFragmentInfoIs( flow.fragment )->flowInfoIs( flow.name );
         info->flowConfigIs( flow.info->flowConfig() );
         info->serviceIntfKeyIs( flow.info->serviceIntfKey() );
         info->isInterceptIngressIs( flow.info->isInterceptIngress() );
         info->rulePrefixIs( flow.info->rulePrefix() );
         info->matchVlanIs( flow.info->matchVlan() );
         info->rewriteVlanIs( flow.info->rewriteVlan() );
         for ( auto const & key : flow.info->boundVniKeys() ) {
            info->boundVniIs( key, true );
         }
         for ( auto const & rule : flow.rules ) {
            auto copy = info->ruleInfoIs( rule->ruleKey() );
            copy->ruleNameIs( rule->ruleName() );
            copy->refCountIs( rule->refCount() );
            copy->publishedIs( true );
            copy->ruleStateIs( rule->ruleState() );
         }
      }
      return out;
   }

   /** What one flow's removal and return, or one interface's leaving, must write at least. */
   void rewriteBare( Written const & out, std::size_t first, std::size_t count, bool again ) const {
      for ( std::size_t i = first; i != first + count; ++i ) {
         auto const & [rule, flow, fragment, state] = names_[i];
         out.table->flowEntryDel( rule );
         out.status->flowNameForRuleNameDel( rule );
         out.status->fragmentNameForRuleNameDel( rule );
         out.status->ruleStateForRuleNameDel( rule );
         auto info = out.status->policyFragmentInfo( fragment )->flowInfo( flow );
         auto const & [name, entry] = entries_[i];
         QorClient::RuleKey key;
         key.inIntf = *entry.match.inIntf.begin();
         info->ruleInfoDel( key );
         if ( again ) {
            out.table->flowEntryIs( name, entry );
            out.status->flowNameForRuleNameIs( rule, flow );
            out.status->fragmentNameForRuleNameIs( rule, fragment );
            out.status->ruleStateForRuleNameIs( rule, state );
            auto copy = info->ruleInfoIs( key );
            copy->ruleNameIs( rule );
            copy->refCountIs( 1 );
            copy->publishedIs( true );
            copy->ruleStateIs( 1 );
         }
      }
   }

 private:
   struct Flow {
      Kel::String fragment;
      Kel::String name;
      Kel::Ptr< QorClient::FlowInfo > info;
      std::vector< Kel::Ptr< QorClient::RuleInfo > > rules;
   };

   std::vector< std::pair< Kel::String, OpenFlowTable::FlowEntry > > entries_;
   std::vector< std::pair< Kel::String, Qor::V1::PolicyFlowStatus > > statuses_;
   std::vector< std::tuple< Kel::String, Kel::String, Kel::String, std::uint32_t > > names_;
   std::vector< QorClient::VniAndIntfForPolicyFragment > bindings_;
   std::vector< Flow > flows_;
};

void report( benchmark::State & state, double ours, double bare, double rules ) {
   state.counters["vs_bare"] = ours / bare;
   state.counters["ns_per_rule"] = ours / rules * 1e9;
   state.counters["bare_ns_per_rule"] = bare / rules * 1e9;
}

/** From the start of the agent, on inputs alone, until all rules stand. */
void coldConvergence( benchmark::State & state ) {
   double ours = 0;
   double bare = 0;
   double rules = 0;
   for ( auto _ : state ) {
      World world( static_cast< int >( state.range( 0 ) ) );
      double const before = heapBytes();
      double const seconds = timed( [&] { world.start(); } );
      state.counters["bytes_per_rule"] =
         ( heapBytes() - before ) / static_cast< double >( world.rules() );
      FinalRecords const records( world );
      FinalRecords::Written written;
      double const bareBefore = heapBytes();
      bare += timed( [&] { written = records.writeBare(); } );
      state.counters["bare_bytes_per_rule"] =
         ( heapBytes() - bareBefore ) / static_cast< double >( world.rules() );
      rules += static_cast< double >( world.rules() );
      ours += seconds;
      state.SetIterationTime( seconds );
   }
   report( state, ours, bare, rules );
}
BENCHMARK( coldConvergence )
   ->Arg( 1 )
   ->Arg( 100 )
   ->UseManualTime()
   ->Iterations( 3 )
   ->Unit( benchmark::kMillisecond );

/** From the start of a second agent, on the state that a kill has left, until it has settled. */
void unchangedRestart( benchmark::State & state ) {
   double restarts = 0;
   double cold = 0;
   for ( auto _ : state ) {
      World world( static_cast< int >( state.range( 0 ) ) );
      cold += timed( [&] { world.start(); } );
      std::size_t const rules = world.rules();
      world.kill();
      double const seconds = timed( [&] { world.start(); } );
      restarts += seconds;
      if ( world.rules() != rules ) {
         Bench::wrong( "the restart changes the rules" );
      }
      state.SetIterationTime( seconds );
   }
   state.counters["vs_cold"] = restarts / cold;
}
BENCHMARK( unchangedRestart )
   ->Arg( 1 )
   ->Arg( 100 )
   ->UseManualTime()
   ->Iterations( 3 )
   ->Unit( benchmark::kMillisecond );

double changeOneFlow( World const & world, int round ) {
   auto fragment = world.fragment( 0 );
   Qor::V1::PolicyFlowInfo flow = fragment->flow( "flow50" );
   flow.match.text = "round " + std::to_string( round );
   return timed( [&] { fragment->flowIs( flow ); } );
}

/** One flow of ten rules changes: removed whole and read afresh, among few and among many. */
void oneChangedFlow( benchmark::State & state ) {
   World few( 1 );
   few.start();
   double fewSeconds = 0;
   int round = 0;
   for ( ; round != 2000; ++round ) {
      fewSeconds += changeOneFlow( few, round );
   }
   fewSeconds /= round;
   few.stop();

   World many( static_cast< int >( state.range( 0 ) ) );
   many.start();
   FinalRecords const records( many );
   FinalRecords::Written const written = records.writeBare();
   double ours = 0;
   double bare = 0;
   for ( auto _ : state ) {
      double const seconds = changeOneFlow( many, ++round );
      bare += timed( [&] { records.rewriteBare( written, 500, interfacesPerSet, true ); } );
      ours += seconds;
      state.SetIterationTime( seconds );
   }
   report( state, ours, bare, interfacesPerSet * static_cast< double >( state.iterations() ) );
   state.counters["many_over_few"] =
      ours / static_cast< double >( state.iterations() ) / fewSeconds;
}
BENCHMARK( oneChangedFlow )
   ->Arg( 100 )
   ->UseManualTime()
   ->Iterations( 2000 )
   ->Unit( benchmark::kMicrosecond );

/** One interface leaves the set of one fragment, and with it one rule of each of its 100 flows. */
void oneInterfaceLeaving( benchmark::State & state ) {
   World world( static_cast< int >( state.range( 0 ) ) );
   world.start();
   FinalRecords const records( world );
   FinalRecords::Written const written = records.writeBare();
   double ours = 0;
   double bare = 0;
   int next = 0;
   for ( auto _ : state ) {
      auto near = world.fragment( next )->serviceIntfSet( "near" );
      double const seconds = timed( [&] { near->intfDel( "Ethernet5" ); } );
      std::size_t const first = static_cast< std::size_t >( next ) * 1000;
      bare += timed( [&] { records.rewriteBare( written, first, flowsPerFragment, false ); } );
      ours += seconds;
      state.SetIterationTime( seconds );
      ++next;
   }
   report( state, ours, bare, flowsPerFragment * static_cast< double >( state.iterations() ) );
}
BENCHMARK( oneInterfaceLeaving )
   ->Arg( 100 )
   ->UseManualTime()
   ->Iterations( 50 )
   ->Unit( benchmark::kMicrosecond );

}  // namespace

int main( int argc, char ** argv ) {
   Bench::runBenchmarks( argc, argv );
}
