/// What encoding costs: a kick of an encoder over labels as a transform leaves them, and the merging of one large set.
///
/// The sets are runs of neighbouring labels, 1 to 64 long, most of them short, which overlap as nested prefix lists do; every
/// label is in some set. Or they nest as prefixes do, a set for each label. Both placements of labels.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "Orvex/OrvexLabelEncoders.h"
#include "Orvex/OrvexLabelMerger.h"

namespace {

using namespace Orvex;

constexpr PrefixXformKey kKey( Vell::AddressFamily::ipv4, true );

/// One set for three labels.
Kiv::Ptr<PrefixXformStatus> overlappingRuns( std::uint32_t labels ) {
  std::mt19937_64 random( 1 );
  auto status = Kiv::make<PrefixXformStatus>( kKey );
  std::uint32_t const sets = labels / 3;
  for ( std::uint32_t set = 0; set != sets; ++set ) {
    std::uint32_t const length = std::uint32_t{ 1 } << ( random() % 4 + ( random() % 8 == 0 ? 3 : 0 ) );
    std::uint32_t const first = set * 3 + 1;
    std::uint32_t const last = std::min( labels, first + std::max( length, 3U ) - 1 );
    status->plainLabelListMap()->plainLabelListIs(
        GenSetKey( set + 1 ), Kiv::make<PlainLabels>( std::vector<PlainLabels::Interval>{ { first, last } } ) );
  }
  return status;
}

/// Sets in sets, each with a label of its own, the next outer one's beside it.
Kiv::Ptr<PrefixXformStatus> nestedPrefixes( std::uint32_t labels ) {
  std::mt19937_64 random( 3 );
  auto status = Kiv::make<PrefixXformStatus>( kKey );
  std::vector<PlainLabels::Interval> open{ { 1, labels } };
  std::uint32_t set = 0;
  while ( !open.empty() ) {
    PlainLabels::Interval const interval = open.back();
    open.pop_back();
    status->plainLabelListMap()->plainLabelListIs( GenSetKey( ++set ),
                                                   Kiv::make<PlainLabels>( std::vector{ interval } ) );
    // The first label is the set's own; the rest is cut into sets.
    for ( std::uint32_t first = interval.first + 1; first <= interval.last; ) {
      std::uint64_t const most = std::max<std::uint64_t>( 1, ( interval.last - interval.first ) / 4 );
      std::uint32_t const last =
          std::min( interval.last, first + static_cast<std::uint32_t>( random() % ( 2 * most ) ) );
      open.push_back( { first, last } );
      first = last + 1;
    }
  }
  return status;
}

void encode( benchmark::State& state, LabelPlacement placement,
             Kiv::Ptr<PrefixXformStatus> ( *policy )( std::uint32_t ) ) {
  auto const labels = static_cast<std::uint32_t>( state.range( 0 ) );
  auto const xform = policy( labels );
  auto const usage = Kiv::make<GenSetUsageInfo>();
  std::mt19937_64 random( 2 );
  auto const& lists = xform->plainLabelListMap()->plainLabelList();
  for ( auto list = lists.begin(); list; ++list )
    usage->valueInc( list.key(), 1 + static_cast<std::uint32_t>( random() % 9 ) );
  xform->plainLabelListMap()->labelListsAre( xform->plainLabelListMap()->labelLists() );  // as a transform leaves them
  auto const capability = Kiv::make<ChipHwCapability>( Brae::ChipId( 0 ) );
  capability->labelPlacementIs( placement );
  std::size_t entries = 0;
  for ( auto step : state ) {
    auto const config = Kiv::make<EncoderConfig>( xform );
    auto const status = Kiv::make<PrefixEncoderStatus>( kKey, Kiv::make<PrefixXformLoaderInfo>( kKey ) );
    auto const encoder =
        Kiv::make<PrefixLabelEncoderSm>( Brae::ChipId( 0 ), config, status, usage, capability, kKey, xform );
    encoder->hasNotificationActiveIs( true );
    config->kickTimeIs( 1 );
    if ( status->status() != StageStatusType::finishedSuccess ) state.SkipWithError( "the labels do not fit" );
    entries = 0;
    for ( auto list = status->encodedLabelList().begin(); list; ++list )
      entries += list.value()->encLabelAndMask().size();
  }
  state.counters["sets"] = static_cast<double>( lists.size() );
  state.counters["entries"] = static_cast<double>( entries );
  state.counters["nsPerLabel"] =
      benchmark::Counter( static_cast<double>( labels ) * 1e-9,
                          benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert );
}
void sizes( benchmark::internal::Benchmark* benchmark ) {
  benchmark->Arg( 6000 )->Arg( 60000 )->Unit( benchmark::kMillisecond );
}
BENCHMARK_CAPTURE( encode, runsCostOrder, LabelPlacement::costOrder, overlappingRuns )->Apply( sizes );
BENCHMARK_CAPTURE( encode, runsNested, LabelPlacement::nested, overlappingRuns )->Apply( sizes );
BENCHMARK_CAPTURE( encode, prefixesCostOrder, LabelPlacement::costOrder, nestedPrefixes )->Apply( sizes );
BENCHMARK_CAPTURE( encode, prefixesNested, LabelPlacement::nested, nestedPrefixes )->Apply( sizes );

void mergeEveryLabel( benchmark::State& state ) {
  auto const all = Kiv::make<EncodedLabelWithMaskList>( GenSetKey( 1 ) );
  for ( std::uint32_t label = 0; label != 65536; ++label )
    all->encLabelAndMaskIs( { EncodedLabel( static_cast<std::uint16_t>( label ) ), LabelMask( 0xFFFF ) } );
  for ( auto step : state ) {
    auto const merged = Kiv::make<EncodedLabelWithMaskList>( GenSetKey( 1 ) );
    labelMergerFactory( 16, all, merged );
    if ( merged->encLabelAndMask().size() != 1 ) state.SkipWithError( "the labels do not merge to one entry" );
  }
}
BENCHMARK( mergeEveryLabel )->Unit( benchmark::kMillisecond );

}  // namespace
