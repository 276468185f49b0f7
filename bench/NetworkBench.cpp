/// What the network values, the prefix trie and the bitmap cost.
///
/// The trie's job is that of a compile: insert every prefix, then visit each one, outermost first, and ask for its
/// parent. Its rival is the way without a trie: a std::map of the prefixes, in which a parent is found by shortening a
/// prefix one bit at a time and looking each shorter one up.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Brae/Bitmap.h"
#include "Vell/IpGenPrefix.h"
#include "Vell/PrefixSort.h"
#include "Vell/TrieGen.h"

namespace {

using Vell::AddressFamily;
using Vell::Ip6Addr;
using Vell::IpGenPrefix;

constexpr std::size_t kPrefixes = 100000;

std::string text( IpGenPrefix const& prefix ) {
  char characters[IpGenPrefix::kTextSize];
  return std::string( characters, prefix.toChars( characters ) );
}

/// The first bits of the one address, the rest of the other.
std::uint64_t spliced( std::uint64_t front, std::uint64_t back, std::uint32_t frontBits ) {
  if ( frontBits >= 64 ) return front;
  std::uint64_t const backMask = ~std::uint64_t{ 0 } >> frontBits;
  return ( front & ~backMask ) | ( back & backMask );
}

/// A prefix of the length whose first bits are those of `outer`.
IpGenPrefix lengthened( IpGenPrefix const& outer, std::uint32_t length, std::mt19937_64& random ) {
  if ( outer.af() == AddressFamily::ipv4 ) {
    std::uint64_t const address = spliced( std::uint64_t{ outer.ipv4Address() } << 32, random(), outer.length() );
    return { static_cast<std::uint32_t>( address >> 32 ), length };
  }
  Ip6Addr const address = outer.ipv6Address();
  std::uint32_t const lowBits = outer.length() > 64 ? outer.length() - 64 : 0;
  return { Ip6Addr( spliced( address.high(), random(), outer.length() ), spliced( address.low(), random(), lowBits ) ),
           length };
}

/// Distinct prefixes in random order. Two of three lie 1 to 8 bits within an earlier one; the others are networks as
/// they are announced and assigned, /8 to /24 and /32 to /48.
std::vector<IpGenPrefix> nestedPrefixes( AddressFamily af ) {
  std::mt19937_64 random( 1 );
  auto const between = [&random]( std::uint32_t low, std::uint32_t high ) {
    return std::uniform_int_distribution<std::uint32_t>( low, high )( random );
  };
  std::set<IpGenPrefix> known;
  std::vector<IpGenPrefix> prefixes;
  while ( prefixes.size() != kPrefixes ) {
    IpGenPrefix outer = IpGenPrefix::defaultRoute( af );
    std::uint32_t length = af == AddressFamily::ipv4 ? between( 8, 24 ) : between( 32, 48 );
    if ( !prefixes.empty() && between( 1, 3 ) != 1 ) {
      outer = prefixes[random() % prefixes.size()];
      length = std::min( outer.length() + between( 1, 8 ), Vell::addressWidthBits( af ) );
    }
    IpGenPrefix const made = lengthened( outer, length, random );
    if ( known.insert( made ).second ) prefixes.push_back( made );
  }
  std::shuffle( prefixes.begin(), prefixes.end(), random );
  return prefixes;
}

std::vector<IpGenPrefix> const& prefixesOf( AddressFamily af ) {
  static std::vector<IpGenPrefix> const ipv4 = nestedPrefixes( AddressFamily::ipv4 );
  static std::vector<IpGenPrefix> const ipv6 = nestedPrefixes( AddressFamily::ipv6 );
  return af == AddressFamily::ipv4 ? ipv4 : ipv6;
}

void reportPrefixes( benchmark::State& state ) {
  state.SetItemsProcessed( state.iterations() * static_cast<std::int64_t>( kPrefixes ) );
}

class CountParents : public Vell::TrieGenWalkCallback {
 public:
  explicit CountParents( Vell::TrieGen const& trie ) : trie_( trie ) {}
  bool handlePrefix( IpGenPrefix const& prefix ) override {
    if ( trie_.findParent( prefix ) ) ++parents;
    return true;
  }

  std::size_t parents = 0;

 private:
  Vell::TrieGen const& trie_;
};

std::size_t parentsByTrie( AddressFamily af ) {
  auto const trie = Kiv::make<Vell::TrieGen>( "bench", af );
  for ( IpGenPrefix const& each : prefixesOf( af ) ) trie->routeIs( each );
  CountParents callback( *trie );
  trie->preOrderWalk( IpGenPrefix::defaultRoute( af ), callback );
  return callback.parents;
}

IpGenPrefix shortened( IpGenPrefix const& prefix ) {
  if ( prefix.af() == AddressFamily::ipv4 ) return { prefix.ipv4Address(), prefix.length() - 1 };
  return { prefix.ipv6Address(), prefix.length() - 1 };
}

std::size_t parentsByMap( AddressFamily af ) {
  std::map<IpGenPrefix, int> map;
  for ( IpGenPrefix const& each : prefixesOf( af ) ) map.emplace( each, 0 );
  std::size_t parents = 0;
  for ( auto const& [prefix, ignored] : map ) {
    IpGenPrefix outer = prefix;
    while ( !outer.isDefaultRoute() ) {
      outer = shortened( outer );
      if ( map.find( outer ) == map.end() ) continue;
      ++parents;
      break;
    }
  }
  return parents;
}

void buildAndWalk( benchmark::State& state, std::size_t ( *findParents )( AddressFamily ), AddressFamily af ) {
  if ( parentsByTrie( af ) != parentsByMap( af ) ) {
    state.SkipWithError( "trie and map disagree" );
    return;
  }
  for ( auto step : state ) benchmark::DoNotOptimize( findParents( af ) );
  state.counters["withParent"] = static_cast<double>( findParents( af ) );
  reportPrefixes( state );
}
BENCHMARK_CAPTURE( buildAndWalk, trie_ipv4, parentsByTrie, AddressFamily::ipv4 )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( buildAndWalk, map_ipv4, parentsByMap, AddressFamily::ipv4 )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( buildAndWalk, trie_ipv6, parentsByTrie, AddressFamily::ipv6 )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( buildAndWalk, map_ipv6, parentsByMap, AddressFamily::ipv6 )->Unit( benchmark::kMillisecond );

void sortByRadix( std::vector<IpGenPrefix>& prefixes ) { Vell::sortPrefixes( prefixes ); }
void sortByComparison( std::vector<IpGenPrefix>& prefixes ) { std::sort( prefixes.begin(), prefixes.end() ); }

void sort( benchmark::State& state, void ( *sortThem )( std::vector<IpGenPrefix>& ), AddressFamily af ) {
  for ( auto step : state ) {
    std::vector<IpGenPrefix> sorted = prefixesOf( af );
    sortThem( sorted );
    benchmark::DoNotOptimize( sorted.data() );
  }
  reportPrefixes( state );
}
BENCHMARK_CAPTURE( sort, radix_ipv4, sortByRadix, AddressFamily::ipv4 )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( sort, comparison_ipv4, sortByComparison, AddressFamily::ipv4 )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( sort, radix_ipv6, sortByRadix, AddressFamily::ipv6 )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( sort, comparison_ipv6, sortByComparison, AddressFamily::ipv6 )->Unit( benchmark::kMillisecond );

void hashPrefixes( benchmark::State& state, AddressFamily af ) {
  std::uint32_t sum = 0;
  for ( auto step : state )
    for ( IpGenPrefix const& each : prefixesOf( af ) ) benchmark::DoNotOptimize( sum += each.hash() );
  reportPrefixes( state );
}
BENCHMARK_CAPTURE( hashPrefixes, ipv4, AddressFamily::ipv4 );
BENCHMARK_CAPTURE( hashPrefixes, ipv6, AddressFamily::ipv6 );

void printPrefixes( benchmark::State& state, AddressFamily af ) {
  char characters[IpGenPrefix::kTextSize];
  for ( auto step : state )
    for ( IpGenPrefix const& each : prefixesOf( af ) ) benchmark::DoNotOptimize( each.toChars( characters ) );
  reportPrefixes( state );
}
BENCHMARK_CAPTURE( printPrefixes, ipv4, AddressFamily::ipv4 );
BENCHMARK_CAPTURE( printPrefixes, ipv6, AddressFamily::ipv6 );

void parsePrefixes( benchmark::State& state, AddressFamily af ) {
  std::vector<std::string> texts;
  for ( IpGenPrefix const& each : prefixesOf( af ) ) texts.push_back( text( each ) );
  for ( auto step : state )
    for ( std::string const& each : texts ) benchmark::DoNotOptimize( Kiv::strepToValue<IpGenPrefix>( each ) );
  reportPrefixes( state );
}
BENCHMARK_CAPTURE( parsePrefixes, ipv4, AddressFamily::ipv4 );
BENCHMARK_CAPTURE( parsePrefixes, ipv6, AddressFamily::ipv6 );

constexpr std::uint32_t kBits = 1 << 16;

/// Filled from the bottom, as an allocator leaves it.
Kiv::Ptr<Brae::Bitmap> filled( std::int64_t percent ) {
  Kiv::Ptr<Brae::Bitmap> bitmap = Brae::bitmapFactory( kBits );
  auto const bits = static_cast<std::uint32_t>( kBits * percent / 100 );
  if ( bits != 0 ) bitmap->setBitsInRange( 0, bits - 1 );
  return bitmap;
}

void bitmapFindClear( benchmark::State& state ) {
  auto const bitmap = filled( state.range( 0 ) );
  for ( auto step : state ) benchmark::DoNotOptimize( bitmap->findClearBitInRange( 0, kBits - 1 ) );
}
BENCHMARK( bitmapFindClear )->ArgName( "percent" )->Arg( 0 )->Arg( 50 )->Arg( 90 )->Arg( 100 );

void bitmapCountAll( benchmark::State& state ) {
  auto const bitmap = filled( state.range( 0 ) );
  for ( auto step : state ) benchmark::DoNotOptimize( bitmap->numBitsInSetStateInRange( 0, kBits - 1 ) );
}
BENCHMARK( bitmapCountAll )->ArgName( "percent" )->Arg( 0 )->Arg( 50 )->Arg( 90 )->Arg( 100 );

/// Counts in each aligned block in turn, which is how an allocator looks for a free one.
void bitmapCountBlocks( benchmark::State& state ) {
  auto const bitmap = filled( 50 );
  auto const block = static_cast<std::uint32_t>( state.range( 0 ) );
  std::uint32_t first = 0;
  for ( auto step : state ) {
    benchmark::DoNotOptimize( bitmap->numBitsInSetStateInRange( first, first + block - 1 ) );
    first = ( first + block ) % kBits;
  }
}
BENCHMARK( bitmapCountBlocks )->ArgName( "block" )->Arg( 1 )->Arg( 16 )->Arg( 64 )->Arg( 1024 );

}  // namespace
