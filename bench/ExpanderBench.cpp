/// What the rule expander costs: from the keys and encoded lists of an ACL's rules to their ternary entries.
///
/// Each benchmark times one kick of a new expander that makes 1,000,000 entries for one ACL, or somewhat more. "bytes" is what
/// the kick allocates at most beyond what was there, "kept" what is left when it has ended, both an entry made. Where rules
/// are equal only the first keeps its entries.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "CountedMemory.h"
#include "Orvex/OrvexRuleExpanderSm.h"

namespace {

using namespace Orvex;
using Vell::AddressFamily;

constexpr Brae::ChipId kChip( 0 );

/// `lists` lists of `entries` labels each, under keys 1, 2, ...; no label is in two of them.
Kiv::Ptr<EncoderStatus> encodedLists( std::uint32_t lists, std::uint32_t entries ) {
  auto const status = Kiv::make<EncoderStatus>();
  std::uint16_t label = 0;
  for ( std::uint32_t key = 1; key <= lists; ++key ) {
    auto const list = status->encodedLabelListIs( GenSetKey( key ) );
    for ( std::uint32_t i = 0; i != entries; ++i )
      list->encLabelAndMaskIs( { EncodedLabel( label++ ), LabelMask( 0xFFFF ) } );
  }
  return status;
}

/// Every pair of a source and a destination list is a rule, with the one list of destination ports; all that, `copies` times.
struct Shape {
  std::uint32_t sourceLists;
  std::uint32_t sourceEntries;
  std::uint32_t destinationLists;
  std::uint32_t destinationEntries;
  std::uint32_t portEntries;
  std::uint32_t copies = 1;

  std::uint64_t entries() const {
    return std::uint64_t{ sourceLists } * sourceEntries * destinationLists * destinationEntries *
           std::max( portEntries, 1U );
  }
};

Kiv::Ptr<RuleExpanderConfig> configOf( Shape const& shape ) {
  auto const aggregated = Kiv::make<AggregatorStatus>();
  auto const acl = aggregated->aclGenSetIpRuleListIs( "edge" );
  std::uint32_t index = 0;
  for ( std::uint32_t pair = 0; pair != shape.copies * shape.sourceLists; ++pair ) {
    std::uint32_t const source = pair % shape.sourceLists + 1;
    for ( std::uint32_t destination = 1; destination <= shape.destinationLists; ++destination ) {
      auto const rule = acl->genSetIpRuleIs( "rule " + std::to_string( ++index ) );
      rule->sourceIs( GenSetKey( source ) );
      rule->destinationIs( GenSetKey( destination ) );
      if ( shape.portEntries != 0 ) rule->rangeIs( RangeSetType::dstPort, GenSetKey( 1 ) );
      acl->genSetIpRuleByIdIs( AceIndex( index ), rule );
    }
  }
  auto const config = Kiv::make<RuleExpanderConfig>( aggregated );
  config->prefixEncoderStatusIs( PrefixXformKey( AddressFamily::ipv4, true ),
                                 encodedLists( shape.sourceLists, shape.sourceEntries ) );
  config->prefixEncoderStatusIs( PrefixXformKey( AddressFamily::ipv4, false ),
                                 encodedLists( shape.destinationLists, shape.destinationEntries ) );
  config->rangeEncoderStatusIs( RangeSetType::dstPort, encodedLists( 1, shape.portEntries ) );
  return config;
}

void expand( benchmark::State& state, Shape const& shape ) {
  auto const config = configOf( shape );
  std::size_t most = 0, kept = 0;
  for ( auto step : state ) {
    state.PauseTiming();
    {
      auto const status = Kiv::make<RuleExpanderStatus>( Kiv::make<PDAclColl>() );
      auto const stage = Kiv::make<RuleExpanderSm>( kChip, config, status );
      stage->hasNotificationActiveIs( true );
      std::size_t const before = Bench::liveBytes();
      Bench::peakBytesReset();
      state.ResumeTiming();
      config->kickTimeIs( config->kickTime() + 1 );
      state.PauseTiming();
      most = Bench::peakBytes() - before;
      kept = Bench::liveBytes() - before;
      if ( status->ruleExpanderLoaderInfo()->numFilters() != shape.entries() )
        state.SkipWithError( "entries are missing" );
    }
    state.ResumeTiming();
  }
  state.counters["bytes"] = static_cast<double>( most ) / static_cast<double>( shape.entries() * shape.copies );
  state.counters["kept"] = static_cast<double>( kept ) / static_cast<double>( shape.entries() * shape.copies );
}

BENCHMARK_CAPTURE( expand, oneRule, Shape{ 1, 100, 1, 100, 100 } )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( expand, oneLargerRule, Shape{ 1, 110, 1, 100, 100 } )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( expand, rulesOf1000, Shape{ 1000, 10, 1, 10, 10 } )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( expand, rulesOf1, Shape{ 1000, 1, 1000, 1, 0 } )->Unit( benchmark::kMillisecond );
BENCHMARK_CAPTURE( expand, equalRulesOf1000, Shape{ 1, 10, 1, 10, 10, 1000 } )->Unit( benchmark::kMillisecond );

}  // namespace
