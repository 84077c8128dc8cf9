#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "histories/Generator.h"
#include "histories/Invariants.h"
#include "histories/PolicyMemory.h"
#include "histories/RoutedInvariants.h"
#include "histories/Scratch.h"
#include "platform/kel/Assert.h"

/*
 * Random histories, with what must always hold checked after each step. Each is played as it comes
 * and once more with restarts of the agent in between; at the end the state is compared with that
 * of an agent that knows nothing but the last inputs.
 *
 * QORCLIENT_HISTORIES=N plays N seeds, of which QORCLIENT_FIRST_SEED is the first (0);
 * QORCLIENT_SEED=N plays that one alone; QORCLIENT_HISTORY=FILE writes the scenario document of a
 * history that fails.
 */

namespace {

constexpr std::uint64_t batches = 20;
constexpr std::uint64_t histories = 10000;
/** Of so many; the others are shorter: what goes wrong, goes wrong early, or needs many seeds. */
constexpr std::uint64_t longHistories = 2000;

std::optional< std::uint64_t > numberOf( char const * variable ) {
   char const * const text = std::getenv( variable );
   return text ? std::optional( std::strtoull( text, nullptr, 10 ) ) : std::nullopt;
}

std::string describe( std::vector< std::string > const & broken ) {
   std::string text;
   for ( std::string const & line : broken ) {
      text += "\n  " + line;
   }
   return text;
}

/** The steps that were played, told when the process ends over one of them. */
class History {
 public:
   History( std::uint64_t seed, bool restarts )
      : seed_( seed ), restarts_( restarts ), generator_( seed ), restartRandom_( seed ) {}

   bool play() {
      std::size_t const length = seed_ % histories < longHistories ? 100 : 20 + seed_ % 21;
      std::optional< Scenarios::Switch > device( std::in_place );
      bool good = step( *device, generator_.first() );
      for ( std::size_t n = 1; good && n != length; ++n ) {
         good = step( *device, generator_.next( *device ) );
         if ( good && restarts_ && restartRandom_() % 3 == 0 ) {
            good = restart( *device );
         }
      }
      std::optional< Histories::Scratch > scratch;
      if ( good ) {
         scratch.emplace( *device, policy_, routed_ );
         good = step( *device, Histories::Generator::last() ) &&
                holds( Histories::leftovers( *device, policy_ ) );
      }
      device.reset();
      return good && holds( scratch->differences() );
   }

 private:
   bool step( Scenarios::Switch & device, Scenarios::Step next ) {
      steps_.push_back( std::move( next ) );
      Scenarios::Scenario one;
      one.steps = { steps_.back() };
      bool const started = std::holds_alternative< Scenarios::RestartStep >( steps_.back() );
      start_ = {};
      if ( started ) {
         device.outputObserverIs( [this]( auto const & change ) { note( change ); } );
      }
      Scenarios::playStep( device, one, 0 );
      device.outputObserverIs( {} );
      policy_.observe( device, steps_.back(), start_.placed );
      return holds( Histories::brokenInvariants( device, policy_ ) ) &&
             holds( routed_.broken( device, started ) );
   }
   /** What a start writes. */
   void note( Scenarios::OutputChange const & change ) {
      std::string const attribute = change.attribute;
      std::string const key = change.key.value_or( "" );
      if ( change.path == "qorclient/status" ) {
         start_.learns = start_.learns || attribute == "warmHost" || attribute == "vlanForVni";
         if ( attribute == "warmHost" ) {
            start_.placed.insert( key );
         }
      } else if ( change.path == "pinflow/dyninput/qor"
                     ? policy_.unsettled( key.substr( 0, 1 ) ).empty()
                     : change.path == "pinflow/dyninput/qorl3" && !routed_.isUnsettled( key ) ) {
         start_.writes.push_back( "a restart writes " + change.path + "/" + attribute + "/" + key );
      }
   }
   /**
    * A restart of a settled agent writes nothing into the flow tables. It is not settled when it
    * learns otherwise as it starts: of two VLANs with one VNI it uses neither, but the first after
    * a start, and where a host is, it looks up anew.
    */
   bool restart( Scenarios::Switch & device ) {
      auto const vlans = Histories::vlansOfVnis();
      bool const good = step( device, Scenarios::RestartStep{} );
      return good &&
             ( start_.learns || vlans != Histories::vlansOfVnis() || holds( start_.writes ) );
   }
   bool holds( std::vector< std::string > const & broken ) {
      if ( !broken.empty() ) {
         ADD_FAILURE() << "seed " << seed_ << ( restarts_ ? " with restarts" : "" ) << ", step "
                       << steps_.size() - 1 << ":" << describe( broken );
         write();
      }
      return broken.empty();
   }
   void write() const {
      if ( char const * const file = std::getenv( "QORCLIENT_HISTORY" ) ) {
         std::ofstream( file ) << Histories::scenarioText( "seed " + std::to_string( seed_ ),
                                                           steps_ );
      }
   }

   std::uint64_t const seed_;
   bool const restarts_;
   Histories::Generator generator_;
   std::mt19937_64 restartRandom_;
   Histories::RoutedInvariants routed_;
   Histories::PolicyMemory policy_;
   std::vector< Scenarios::Step > steps_;
   /** Of the last step, if it was a start. */
   struct Start {
      bool learns = false;
      /** Hosts whose place it has written. */
      std::set< std::string > placed;
      std::vector< std::string > writes;
   } start_;
   Kel::FlushHook const atAbort_{ [this] {
      fprintf( stderr, "seed %llu%s, step %zu\n", static_cast< unsigned long long >( seed_ ),
               restarts_ ? " with restarts" : "", steps_.size() - 1 );
      write();
   } };
};

class HistoriesTest : public testing::TestWithParam< std::uint64_t > {
 protected:
   static void SetUpTestSuite() {
      setenv( "FLASHLOG_DISABLE", "1", 1 );
      Kel::installTerminateHandler();
   }
};

TEST_P( HistoriesTest, InvariantsHold ) {
   auto const play = []( std::uint64_t seed ) {
      return History( seed, false ).play() && History( seed, true ).play();
   };
   if ( auto const alone = numberOf( "QORCLIENT_SEED" ) ) {
      if ( *alone % batches == GetParam() ) {
         play( *alone );
      }
      return;
   }
   std::uint64_t const first = numberOf( "QORCLIENT_FIRST_SEED" ).value_or( 0 );
   std::uint64_t const count = numberOf( "QORCLIENT_HISTORIES" ).value_or( histories );
   std::uint64_t played = 0;
   for ( std::uint64_t n = GetParam(); n < count && play( first + n ); n += batches ) {
      ++played;
   }
   RecordProperty( "histories", std::to_string( played ) );
}

INSTANTIATE_TEST_SUITE_P( Seeds, HistoriesTest, testing::Range( std::uint64_t{ 0 }, batches ) );

}  // namespace
