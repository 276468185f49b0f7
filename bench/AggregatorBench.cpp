/// What a kick of the aggregator costs, in time and memory.
///
/// Every rule matches on all ten fields: two of 200 prefix lists, and in each range field one of 200 distinct sets of one to
/// three ranges. So 2,000 sets come out, however many the rules are, and what grows is the work and the record of each rule.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Kiv/SortedSet.h"
#include "Orvex/OrvexAggregatorSm.h"

namespace {

using namespace Orvex;

constexpr std::uint32_t kSetsAField = 200;
constexpr std::uint32_t kPrefixesAList = 32;

/// Distinct sets of one to three ranges of a field's values.
std::vector<std::set<std::pair<std::uint32_t, std::uint32_t>>> distinctRanges( std::uint32_t maximum,
                                                                               std::mt19937& random ) {
  std::set<std::set<std::pair<std::uint32_t, std::uint32_t>>> distinct;
  while ( distinct.size() != kSetsAField ) {
    std::set<std::pair<std::uint32_t, std::uint32_t>> ranges;
    for ( auto count = 1 + random() % 3; count != 0; --count ) {
      auto const first = static_cast<std::uint32_t>( random() % ( maximum + 1 ) );
      ranges.emplace( first, first + static_cast<std::uint32_t>( random() % ( maximum - first + 1 ) ) );
    }
    distinct.insert( ranges );
  }
  return { distinct.begin(), distinct.end() };
}

std::vector<Kiv::Ptr<IpPrefixList>> prefixLists( std::mt19937& random ) {
  std::vector<Kiv::Ptr<IpPrefixList>> lists( kSetsAField );
  for ( auto& list : lists ) {
    list = Kiv::make<IpPrefixList>();
    for ( std::uint32_t i = 0; i != kPrefixesAList; ++i )
      list->addrIs( Vell::IpGenPrefix( static_cast<std::uint32_t>( random() ), 8 + i % 25 ) );
  }
  return lists;
}

Kiv::Ptr<AclConfigColl> policyOf( std::uint32_t rules ) {
  std::mt19937 random( 1 );
  auto const lists = prefixLists( random );
  auto const ports = distinctRanges( 65535, random ), fragments = distinctRanges( 8191, random ),
             bytes = distinctRanges( 255, random ), dscps = distinctRanges( 63, random );
  auto const policy = Kiv::make<AclConfigColl>( Brae::ChipId( 1 ) );
  auto const acl = policy->aclIs( "edge" );
  auto const any = [&]( auto const& choices ) { return choices[random() % kSetsAField]; };
  for ( std::uint32_t i = 0; i != rules; ++i ) {
    auto const rule = acl->ruleByNameIs( "rule " + std::to_string( i ) );
    RuleFilter& filter = *rule->ruleFilterIs();
    filter.sourceIs( any( lists ) );
    filter.destinationIs( any( lists ) );
    for ( auto const& [first, last] : any( ports ) ) filter.sportRangeIs( { first, last } );
    for ( auto const& [first, last] : any( ports ) ) filter.dportRangeIs( { first, last } );
    for ( auto const& [first, last] : any( bytes ) ) filter.icmpTypeIs( { first, last } );
    for ( auto const& [first, last] : any( bytes ) ) filter.protoIs( { first, last } );
    for ( auto const& [first, last] : any( ports ) ) filter.lengthIs( { first, last } );
    for ( auto const& [first, last] : any( fragments ) ) filter.fragmentIs( { first, last } );
    for ( auto const& [first, last] : any( dscps ) ) filter.dscpIs( { first, last } );
    for ( auto const& [first, last] : any( bytes ) ) filter.ttlIs( { first, last } );
    acl->ruleByIdIs( AceIndex( i ), rule );
  }
  return policy;
}

/// A new aggregator for a policy.
struct Aggregator {
  explicit Aggregator( Kiv::Ptr<AclConfigColl> const& policy )
      : config( Kiv::make<AggregatorConfig>( policy ) ),
        stage( Kiv::make<AggregatorSm>( Brae::ChipId( 1 ), config, status,
                                        Kiv::make<ChipHwCapability>( Brae::ChipId( 1 ) ),
                                        Kiv::make<GenSetKeyGenerator>() ) ) {
    status->handleInitialized();
    stage->hasNotificationActiveIs( true );
  }
  void kick( benchmark::State& state, StageStatusType want ) {
    config->kickTimeIs( config->kickTime() + 1 );
    if ( status->status() != want ) state.SkipWithError( "the kick ended otherwise" );
  }

  Kiv::Ptr<AggregatorStatus> status = Kiv::make<AggregatorStatus>();
  Kiv::Ptr<AggregatorConfig> config;
  Kiv::Ptr<AggregatorSm> stage;
};

void reportRules( benchmark::State& state ) { state.SetItemsProcessed( state.iterations() * state.range( 0 ) ); }

std::size_t allocatedBytes() {
  auto const heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

void firstKick( benchmark::State& state ) {
  auto const policy = policyOf( static_cast<std::uint32_t>( state.range( 0 ) ) );
  for ( auto step : state ) {
    state.PauseTiming();
    {
      std::size_t const before = allocatedBytes();
      Aggregator aggregator( policy );
      state.ResumeTiming();
      aggregator.kick( state, StageStatusType::finishedSuccess );
      state.PauseTiming();
      state.counters["MB"] = static_cast<double>( allocatedBytes() - before ) / 1e6;
    }
    state.ResumeTiming();
  }
  reportRules( state );
}
BENCHMARK( firstKick )->ArgName( "rules" )->Arg( 10000 )->Arg( 100000 )->Unit( benchmark::kMillisecond );

void unchangedKick( benchmark::State& state ) {
  Aggregator aggregator( policyOf( static_cast<std::uint32_t>( state.range( 0 ) ) ) );
  aggregator.kick( state, StageStatusType::finishedSuccess );
  for ( auto step : state ) aggregator.kick( state, StageStatusType::finishedSkipped );
  reportRules( state );
}
BENCHMARK( unchangedKick )->ArgName( "rules" )->Arg( 10000 )->Arg( 100000 )->Unit( benchmark::kMillisecond );

/// One rule changes between kicks: everything is built again, and nearly every set is found.
void editedKick( benchmark::State& state ) {
  auto const policy = policyOf( static_cast<std::uint32_t>( state.range( 0 ) ) );
  Aggregator aggregator( policy );
  aggregator.kick( state, StageStatusType::finishedSuccess );
  auto const filter = policy->aclIs( "edge" )->ruleByNameIs( "rule 0" )->ruleFilterIs();
  for ( auto step : state ) {
    filter->matchTcpInitIs( !filter->matchTcpInit() );
    aggregator.kick( state, StageStatusType::finishedSuccess );
  }
  reportRules( state );
}
BENCHMARK( editedKick )->ArgName( "rules" )->Arg( 10000 )->Arg( 100000 )->Unit( benchmark::kMillisecond );

std::vector<std::uint64_t> shuffledNumbers( std::int64_t count ) {
  std::vector<std::uint64_t> numbers( static_cast<std::size_t>( count ) );
  std::iota( numbers.begin(), numbers.end(), 0 );
  std::shuffle( numbers.begin(), numbers.end(), std::mt19937( 1 ) );
  return numbers;
}

void sortedSetOneByOne( benchmark::State& state ) {
  auto const numbers = shuffledNumbers( state.range( 0 ) );
  for ( auto step : state ) {
    Kiv::SortedSet<std::uint64_t> set;
    for ( std::uint64_t const number : numbers ) set.insert( number );
    benchmark::DoNotOptimize( set );
  }
}
BENCHMARK( sortedSetOneByOne )->Arg( 1000 )->Arg( 10000 )->Arg( 100000 )->Unit( benchmark::kMillisecond );

void sortedSetAtOnce( benchmark::State& state ) {
  auto const numbers = shuffledNumbers( state.range( 0 ) );
  for ( auto step : state ) benchmark::DoNotOptimize( Kiv::SortedSet<std::uint64_t>( numbers ) );
}
BENCHMARK( sortedSetAtOnce )->Arg( 1000 )->Arg( 10000 )->Arg( 100000 )->Unit( benchmark::kMillisecond );

}  // namespace
