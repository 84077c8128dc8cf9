#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>

#include "histories/Generator.h"
#include "histories/Invariants.h"
#include "histories/RoutedInvariants.h"
#include "platform/kel/Assert.h"

/*
 * Long random histories, with what must always hold checked after each step.
 *
 * QORCLIENT_SEED=N plays the history of one seed alone, and QORCLIENT_HISTORY=FILE writes the
 * scenario document of a history that fails.
 */

namespace {

constexpr std::uint64_t batches = 8;
constexpr std::uint64_t seedsPerBatch = 250;
constexpr std::size_t stepsPerHistory = 100;

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
   explicit History( std::uint64_t seed ) : seed_( seed ), generator_( seed ) {}

   bool play() {
      Runner::Switch device;
      bool good = step( device, generator_.first() );
      while ( good && steps_.size() != stepsPerHistory ) {
         good = step( device, generator_.next( device ) );
      }
      if ( good ) {
         good = step( device, Histories::Generator::last() ) && nothingLeft( device );
      }
      return good;
   }

 private:
   bool step( Runner::Switch & device, Runner::Step next ) {
      steps_.push_back( std::move( next ) );
      Runner::Scenario one;
      one.steps = { steps_.back() };
      Runner::playStep( device, one, 0 );
      bool const started = std::holds_alternative< Runner::RestartStep >( steps_.back() );
      return holds( Histories::brokenInvariants( device ) ) &&
             holds( routed_.broken( device, started ) );
   }
   bool nothingLeft( Runner::Switch const & device ) {
      return holds( Histories::leftovers( device ) );
   }
   bool holds( std::vector< std::string > const & broken ) {
      if ( !broken.empty() ) {
         ADD_FAILURE() << "seed " << seed_ << ", step " << steps_.size() - 1 << ":"
                       << describe( broken );
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
   Histories::Generator generator_;
   Histories::RoutedInvariants routed_;
   std::vector< Runner::Step > steps_;
   Kel::FlushHook const atAbort_{ [this] {
      fprintf( stderr, "seed %llu, step %zu\n", static_cast< unsigned long long >( seed_ ),
               steps_.size() - 1 );
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
   std::uint64_t first = GetParam() * seedsPerBatch;
   std::uint64_t last = first + seedsPerBatch;
   if ( char const * const seed = std::getenv( "QORCLIENT_SEED" ) ) {
      first = GetParam() == 0 ? std::strtoull( seed, nullptr, 10 ) : 0;
      last = GetParam() == 0 ? first + 1 : 0;
   }
   for ( std::uint64_t seed = first; seed != last; ++seed ) {
      if ( !History( seed ).play() ) {
         break;
      }
   }
}

INSTANTIATE_TEST_SUITE_P( Seeds, HistoriesTest, testing::Range( std::uint64_t{ 0 }, batches ) );

}  // namespace
