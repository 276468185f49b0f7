/// The collections against the standard ones: time for each member, over whole passes.
///
///     collections_bench --benchmark_filter=100000 --benchmark_repetitions=5 --benchmark_report_aggregates_only
///
/// Keys are 64-bit numbers in a value type, drawn at random; values have 8 bytes. Look-ups and removals come in a
/// shuffled order. The hash maps share one hash function, and nothing is reserved.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "Kiv/HashMap2018.h"
#include "Kiv/LinkQueue.h"
#include "Kiv/RbTreeMap.h"

namespace {

using benchmark::State;

class Key {
 public:
  explicit Key( std::uint64_t number ) : number_( number ) {}
  std::uint32_t hash() const noexcept { return Kiv::IncrementalHash().add( number_ ).result(); }
  auto operator<=>( Key const& ) const = default;

 private:
  std::uint64_t number_;
};
using Value = std::uint64_t;

/// As many as HashMap2018 takes before it doubles: its longest searches.
constexpr std::int64_t kFullest = 98304;

struct Hash {
  std::size_t operator()( Key const& key ) const noexcept { return Kiv::hashOf( key ); }
};

/// One spelling for both families.
template <class Map>
struct Use {
  static void insert( Map& map, Key const& key, Value value ) { map.insert( key, value ); }
  static Value find( Map const& map, Key const& key ) { return *map.find( key ); }
};
template <class Map>
requires requires { typename Map::mapped_type; }
struct Use<Map> {
  static void insert( Map& map, Key const& key, Value value ) { map.emplace( key, value ); }
  static Value find( Map const& map, Key const& key ) { return map.find( key )->second; }
};

struct Keys {
  std::vector<Key> inserted;
  std::vector<Key> shuffled;

  explicit Keys( std::size_t count ) {
    std::mt19937_64 random( 2018 );
    for ( std::size_t i = 0; i < count; ++i ) inserted.emplace_back( random() );
    shuffled = inserted;
    std::shuffle( shuffled.begin(), shuffled.end(), random );
  }
};

template <class Map>
Map filled( Keys const& keys ) {
  Map map;
  Value value = 0;
  for ( Key const& key : keys.inserted ) Use<Map>::insert( map, key, ++value );
  return map;
}

std::size_t sizeOf( State const& state ) { return static_cast<std::size_t>( state.range( 0 ) ); }

void countItems( State& state ) {
  state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
  state.counters["each"] =
      benchmark::Counter( static_cast<double>( state.range( 0 ) ),
                          benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert );
}

template <class Map>
void insertAll( State& state ) {
  Keys const keys( sizeOf( state ) );
  for ( auto _ : state ) {
    Map map = filled<Map>( keys );
    benchmark::DoNotOptimize( map );
    state.PauseTiming();
    map = Map();
    state.ResumeTiming();
  }
  countItems( state );
}

template <class Map>
void findAll( State& state ) {
  Keys const keys( sizeOf( state ) );
  Map const map = filled<Map>( keys );
  for ( auto _ : state ) {
    Value sum = 0;
    for ( Key const& key : keys.shuffled ) sum += Use<Map>::find( map, key );
    benchmark::DoNotOptimize( sum );
  }
  countItems( state );
}

template <class Map>
void iterateAll( State& state ) {
  Map const map = filled<Map>( Keys( sizeOf( state ) ) );
  for ( auto _ : state ) {
    Value sum = 0;
    for ( auto const& [key, value] : map ) sum += value;
    benchmark::DoNotOptimize( sum );
  }
  countItems( state );
}

template <class Map>
void eraseAll( State& state ) {
  Keys const keys( sizeOf( state ) );
  for ( auto _ : state ) {
    state.PauseTiming();
    Map map = filled<Map>( keys );
    state.ResumeTiming();
    for ( Key const& key : keys.shuffled ) map.erase( key );
    benchmark::DoNotOptimize( map );
  }
  countItems( state );
}

/// Members come in ascending order of reversed hashes: every search in the growing table meets one long run.
void copyInOrder( State& state ) {
  using Map = Kiv::HashMap2018<Key, Value>;
  Map const map = filled<Map>( Keys( sizeOf( state ) ) );
  for ( auto _ : state ) {
    Map copy;
    for ( auto const& [key, value] : map ) copy.insert( key, value );
    benchmark::DoNotOptimize( copy );
  }
  countItems( state );
}

/// A map with a tenth of the members receives the others in order.
template <bool reserved>
void mergeInOrder( State& state ) {
  using Map = Kiv::HashMap2018<Key, Value>;
  Map const map = filled<Map>( Keys( sizeOf( state ) ) );
  Keys tenth( sizeOf( state ) );
  tenth.inserted.resize( sizeOf( state ) / 10, Key( 0 ) );
  for ( auto _ : state ) {
    Map merged = filled<Map>( tenth );
    if ( reserved ) merged.reserve( map.size() );
    for ( auto const& [key, value] : map ) merged.insert( key, value );
    benchmark::DoNotOptimize( merged );
  }
  countItems( state );
}

void passThroughQueue( State& state ) {
  for ( auto _ : state ) {
    Kiv::LinkQueue<Value> queue;
    Value sum = 0;
    for ( std::size_t i = 0; i < sizeOf( state ); ++i ) queue.enq( i );
    while ( !queue.empty() ) sum += queue.deq();
    benchmark::DoNotOptimize( sum );
  }
  countItems( state );
}

template <class Map>
void addMap( std::string const& name ) {
  std::pair<char const*, void ( * )( State& )> const passes[] = { { "/insert", insertAll<Map> },
                                                                  { "/find", findAll<Map> },
                                                                  { "/iterate", iterateAll<Map> },
                                                                  { "/erase", eraseAll<Map> } };
  for ( auto const& [pass, run] : passes )
    benchmark::RegisterBenchmark( ( name + pass ).c_str(), run )
        ->RangeMultiplier( 10 )
        ->Range( 1000, 1000000 )
        ->Arg( kFullest );
}

bool const added = [] {
  addMap<Kiv::HashMap2018<Key, Value>>( "HashMap2018" );
  addMap<std::unordered_map<Key, Value, Hash>>( "unordered_map" );
  addMap<Kiv::RbTreeMap<Key, Value>>( "RbTreeMap" );
  addMap<std::map<Key, Value>>( "map" );
  benchmark::RegisterBenchmark( "HashMap2018/copyInOrder", copyInOrder )->RangeMultiplier( 10 )->Range( 1000, 1000000 );
  benchmark::RegisterBenchmark( "HashMap2018/mergeInOrder", mergeInOrder<false> )->Arg( 1000 )->Arg( 100000 );
  benchmark::RegisterBenchmark( "HashMap2018/mergeInOrderReserved", mergeInOrder<true> )->Arg( 1000 )->Arg( 100000 );
  benchmark::RegisterBenchmark( "LinkQueue/enqDeq", passThroughQueue )->Arg( 1000 )->Arg( 100000 );
  return true;
}();

}  // namespace
