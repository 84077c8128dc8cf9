/*
 * What the object frame costs. Each benchmark runs its subject and a floor in alternating blocks
 * of one run and prints the median of each (nanoseconds per operation) with their ratio, so that
 * the ratio does not depend on the machine's mood between two runs.
 */

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#ifdef QORCLIENT_HAVE_ABSL
#include <absl/container/flat_hash_map.h>
#endif

#include "Measure.h"
#include "platform/flashlog/DualLog.h"
#include "platform/kel/Entity.h"
#include "platform/kel/HashMap2018.h"
#include "platform/kel/StateMachine.h"

KEL_TRACE_UNIT( "BenchFrame", "BenchFrame" )

namespace {

/** The median time of one of `operations` operations that a call of `f` makes. */
class Stopwatch {
 public:
   template < class F >
   void run( F && f, std::size_t operations ) {
      blocks_.push_back( Bench::timed( f ) * 1e9 / static_cast< double >( operations ) );
   }
   double median() const { return Bench::median( blocks_ ); }

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
      Bench::wrong( "the sums differ" );
   }
   state.counters["notification_ns"] = frame.median();
   state.counters["virtual_call_ns"] = floor.median();
   state.counters["ratio"] = frame.median() / floor.median();
}
BENCHMARK( notification )->Arg( 0 )->Arg( 9 )->Arg( 99 )->ArgName( "bystanders" );

// --- The map against others ---

struct KeyHash {
   template < class K >
   std::size_t operator()( K const & key ) const {
      return Kel::hashOf( key );
   }
};

/** One shape over the three maps. */
template < class Map >
struct Ops {
   using K = typename Map::key_type;
   static void insert( Map & map, K const & key ) { map.emplace( key, 1 ); }
   static bool has( Map const & map, K const & key ) { return map.find( key ) != map.end(); }
   static void erase( Map & map, K const & key ) { map.erase( key ); }
   static int sum( Map const & map ) {
      int total = 0;
      for ( auto const & [key, value] : map ) {
         total += value;
      }
      return total;
   }
};
template < class Key >
struct Ops< Kel::HashMap2018< Key, int > > {
   using Map = Kel::HashMap2018< Key, int >;
   static void insert( Map & map, Key const & key ) { map.set( key, 1 ); }
   static bool has( Map const & map, Key const & key ) { return map.has( key ); }
   static void erase( Map & map, Key const & key ) { map.erase( key ); }
   static int sum( Map const & map ) {
      int total = 0;
      for ( typename Map::Cursor cursor( map ); cursor; cursor.advance() ) {
         total += cursor.member()->value;
      }
      return total;
   }
};

template < class K >
std::vector< K > keys( std::size_t count ) {
   std::vector< K > list;
   for ( std::size_t i = 0; i != count; ++i ) {
      if constexpr ( std::is_integral_v< K > ) {
         list.push_back( static_cast< K >( i * 7 ) );
      } else {
         list.push_back( K( "Ethernet" + std::to_string( i ) ) );
      }
   }
   return list;
}

enum class MapOp { Insert, Find, Erase, Iterate };

/** One operation per key of a map of that many, in random order; half of the look-ups miss. */
template < class Map, MapOp op, class K >
void runMap( Stopwatch & watch, std::vector< K > const & in, std::vector< K > const & out ) {
   using O = Ops< Map >;
   Map map;
   auto fill = [&] {
      for ( K const & key : in ) {
         O::insert( map, key );
      }
   };
   if constexpr ( op == MapOp::Insert ) {
      watch.run( fill, in.size() );
   } else if constexpr ( op == MapOp::Find ) {
      fill();
      watch.run(
         [&] {
            for ( std::size_t i = 0; i != in.size(); ++i ) {
               benchmark::DoNotOptimize( O::has( map, in[i] ) );
               benchmark::DoNotOptimize( O::has( map, out[i] ) );
            }
         },
         2 * in.size() );
   } else if constexpr ( op == MapOp::Erase ) {
      fill();
      watch.run(
         [&] {
            for ( K const & key : in ) {
               O::erase( map, key );
            }
         },
         in.size() );
   } else {
      fill();
      watch.run( [&] { benchmark::DoNotOptimize( O::sum( map ) ); }, in.size() );
   }
   benchmark::DoNotOptimize( &map );
}

template < class K, MapOp op >
void mapAgainstOthers( benchmark::State & state ) {
   auto const count = static_cast< std::size_t >( state.range( 0 ) );
   std::vector< K > in = keys< K >( 2 * count );
   std::ranges::shuffle( in, std::mt19937( 1 ) );
   std::vector< K > const out( in.begin() + static_cast< std::ptrdiff_t >( count ), in.end() );
   in.resize( count );
   Stopwatch kel, standard;
#ifdef QORCLIENT_HAVE_ABSL
   Stopwatch abseil;
#endif
   for ( auto _ : state ) {
      runMap< Kel::HashMap2018< K, int >, op >( kel, in, out );
      runMap< std::unordered_map< K, int, KeyHash >, op >( standard, in, out );
#ifdef QORCLIENT_HAVE_ABSL
      runMap< absl::flat_hash_map< K, int, KeyHash >, op >( abseil, in, out );
#endif
   }
   state.counters["ns"] = kel.median();
   state.counters["to_unordered_map"] = kel.median() / standard.median();
#ifdef QORCLIENT_HAVE_ABSL
   state.counters["to_flat_hash_map"] = kel.median() / abseil.median();
#endif
}
#define MAP_BENCHMARKS( K, name )                                                             \
   BENCHMARK( mapAgainstOthers< K, MapOp::Insert > )->Name( name "/insert" )->Apply( sizes ); \
   BENCHMARK( mapAgainstOthers< K, MapOp::Find > )->Name( name "/find" )->Apply( sizes );     \
   BENCHMARK( mapAgainstOthers< K, MapOp::Erase > )->Name( name "/erase" )->Apply( sizes );   \
   BENCHMARK( mapAgainstOthers< K, MapOp::Iterate > )->Name( name "/iterate" )->Apply( sizes )
void sizes( benchmark::internal::Benchmark * map ) {
   map->Arg( 10 )->Arg( 1000 )->Arg( 100000 )->ArgName( "members" );
}
MAP_BENCHMARKS( std::uint32_t, "map_of_numbers" );
MAP_BENCHMARKS( Kel::String, "map_of_texts" );

// --- A trace point ---

/** Argument: 0 with tracing off, 1 with the record in the ring, the text off. */
void tracePoint( benchmark::State & state ) {
   constexpr std::uint32_t hits = 2000;
   std::filesystem::path const file =
      std::filesystem::temp_directory_path() / ( "bench-frame-" + std::to_string( ::getpid() ) );
   Kel::setTextTrace( -1 );
   if ( state.range( 0 ) ) {
      Flashlog::SizeSpec sizes;
      sizes.fill( 64 );
      if ( !Flashlog::initialize( file.string(), sizes, nullptr, 0, 24,
                                  Flashlog::MultiThreading::singleWriter_, true, 512 ) ) {
         Bench::wrong( "no trace file" );
      }
   }
   Stopwatch traced, empty;
   for ( auto _ : state ) {
      traced.run(
         [] {
            for ( std::uint32_t i = 0; i != hits; ++i ) {
               benchmark::DoNotOptimize( i );
               KEL_TRACE_INFO( " value ", i );
            }
         },
         hits );
      empty.run(
         [] {
            for ( std::uint32_t i = 0; i != hits; ++i ) {
               benchmark::DoNotOptimize( i );
            }
         },
         hits );
   }
   Flashlog::shutdown();
   std::filesystem::remove( file );
   state.counters["loop_with_point_ns"] = traced.median();
   state.counters["empty_loop_ns"] = empty.median();
   state.counters["point_ns"] = traced.median() - empty.median();
}
BENCHMARK( tracePoint )->Arg( 0 )->Arg( 1 )->ArgName( "ring" );

}  // namespace

BENCHMARK_MAIN();
