/*
 * What the object frame costs. Each benchmark runs its subject and a floor in alternating blocks
 * of one run and prints the median of each (nanoseconds per operation) with their ratio, so that
 * the ratio does not depend on the machine's mood between two runs.
 */

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef QORCLIENT_HAVE_ABSL
#include <absl/container/flat_hash_map.h>
#endif

#include "platform/kel/Entity.h"
#include "platform/kel/HashMap2018.h"
#include "platform/kel/StateMachine.h"

namespace {

/** The median time of one of `operations` operations that a call of `f` makes. */
class Stopwatch {
 public:
   template < class F >
   void run( F && f, std::size_t operations ) {
      auto begin = std::chrono::steady_clock::now();
      f();
      std::chrono::duration< double, std::nano > took = std::chrono::steady_clock::now() - begin;
      blocks_.push_back( took.count() / static_cast< double >( operations ) );
   }
   double median() {
      auto middle = blocks_.begin() + static_cast< std::ptrdiff_t >( blocks_.size() / 2 );
      std::ranges::nth_element( blocks_, middle );
      return *middle;
   }

 private:
   std::vector< double > blocks_;
};

// --- A notification against a virtual call ---

class Counter : public Kel::NamedEntity {
   KEL_ENTITY( Counter )
   KEL_SCALAR( std::uint64_t, value )
   KEL_SCALAR( std::uint64_t, other )
};

/** Adds up the values that its notifier takes. */
class AdderSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( AdderSm )
   KEL_REACTOR( KelCounter, Counter const, counter, KEL_ON( value, handleValue ) )
   KEL_OWN( std::uint64_t, sum )
   // As in the agent, where a handler stands in another source file than its trigger table.
   [[gnu::noinline]] void handleValue() { sum_ += counter()->value(); }
};

/** The same notifier, watched for its other attribute. */
class BystanderSm : public Kel::StateMachine {
   KEL_LOCAL_STATE_MACHINE( BystanderSm )
   KEL_REACTOR( KelCounter, Counter const, counter, KEL_ON( other, handleOther ) )
   void handleOther() {}
};

/**
 * The floor: what one would write by hand without a frame. A subject holds its observers in a
 * vector of base-class pointers; a write that changes the value calls each, and the target reads
 * the value from the subject and adds it up. Nothing is held, nobody may come or go.
 */
class Observer {
 public:
   virtual ~Observer() = default;
   virtual void valueChanged() = 0;
};
class Subject {
 public:
   std::uint64_t value() const { return value_; }
   void valueIs( std::uint64_t value ) {
      if ( value == value_ ) {
         return;
      }
      value_ = value;
      for ( Observer * observer : observers ) {
         observer->valueChanged();
      }
   }
   std::vector< Observer * > observers;

 private:
   std::uint64_t value_ = 0;
};
class Adder : public Observer {
 public:
   explicit Adder( Subject const & subject ) : subject_( subject ) {}
   [[gnu::noinline]] void valueChanged() override { sum += subject_.value(); }
   std::uint64_t sum = 0;

 private:
   Subject const & subject_;
};
/** With two kinds of observers the compiler cannot guess the target and call it directly. */
class Negator : public Observer {
 public:
   [[gnu::noinline]] void valueChanged() override { negated = !negated; }
   bool negated = false;
};

/** One write that runs one handler. Argument: reactors on the notifier that are not interested. */
void notification( benchmark::State & state ) {
   constexpr std::size_t writes = 2000;
   Kel::Ptr< Counter > counter( new Counter( "counter" ) );
   std::vector< Kel::Ptr< BystanderSm > > bystanders;
   auto bystander = [&] { bystanders.push_back( Kel::create< BystanderSm >( counter ) ); };
   for ( std::int64_t i = 0; i < state.range( 0 ) / 2; ++i ) {
      bystander();
   }
   Kel::Ptr< AdderSm > machine = Kel::create< AdderSm >( counter );
   while ( bystanders.size() < static_cast< std::size_t >( state.range( 0 ) ) ) {
      bystander();
   }
   Subject subject;
   Adder adder( subject );
   Negator negator;
   Observer * target = &negator;
   subject.observers.push_back( target );
   benchmark::DoNotOptimize( target );
   subject.observers.back() = &adder;

   Stopwatch frame, floor;
   std::uint64_t value = 0;
   for ( auto _ : state ) {
      std::uint64_t const from = value;
      frame.run(
         [&] {
            for ( value = from; value != from + writes; ++value ) {
               Counter * to = counter.ptr();
               benchmark::DoNotOptimize( to );
               to->valueIs( value + 1 );
            }
         },
         writes );
      floor.run(
         [&] {
            for ( value = from; value != from + writes; ++value ) {
               Subject * to = &subject;
               benchmark::DoNotOptimize( to );
               to->valueIs( value + 1 );
            }
         },
         writes );
   }
   if ( machine->sum() != adder.sum || adder.sum != value * ( value + 1 ) / 2 ) {
      state.SkipWithError( "the sums differ" );
   }
   state.counters["notification_ns"] = frame.median();
   state.counters["virtual_call_ns"] = floor.median();
   state.counters["ratio"] = frame.median() / floor.median();
}
BENCHMARK( notification )->Arg( 0 )->Arg( 9 )->Arg( 99 )->ArgName( "bystanders" );

}  // namespace

BENCHMARK_MAIN();
