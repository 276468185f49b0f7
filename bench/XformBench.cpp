/// What the transforms cost: from the sets of a policy to pieces and plain labels.
///
///     xform_bench [options of Google Benchmark] [ClassBench filter sets ...]
///
/// Each benchmark aggregates a policy outside the timing, then times one kick of the transforms that the policy loads, on new
/// machines: both prefix transforms of its family, and where named so that of destination ports, or resolver and split.
/// "peakMB" is what the kick allocates at most beyond what was there; "pieces", "labels" and "listed", the labels of all
/// lists, are sums over the transforms.

#include <benchmark/benchmark.h>

#include <functional>
#include <iostream>
#include <string>

#include "CountedMemory.h"
#include "ListPolicy.h"
#include "Orvex/OrvexAggregatorSm.h"
#include "Orvex/OrvexComboLabelResolverSm.h"
#include "Orvex/OrvexComboLabelSplitSm.h"
#include "Orvex/OrvexPrefixXformSm.h"
#include "Orvex/OrvexRangeSplitSm.h"
#include "SinglePolicies.h"
#include "compare/NamedPolicy.h"

namespace {

using namespace Orvex;
using Vell::AddressFamily;

constexpr Brae::ChipId kChip( 0 );

/// Kicks the stage once; false when it ends without a result. One that has more labels than the width allows has computed
/// them all, and counts as a result here.
template <class Stage, class Config, class Status>
bool kicked( Kiv::Ptr<Stage> const& stage, Kiv::Ptr<Config> const& config, Kiv::Ptr<Status> const& status ) {
  stage->hasNotificationActiveIs( true );
  config->kickTimeIs( 1 );
  return status->status() == StageStatusType::finishedSuccess || status->status() == StageStatusType::finishedFailed;
}

struct Aggregated {
  explicit Aggregated( Kiv::Ptr<AclConfigColl> const& policy ) {
    for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
      capability->rangeEncodingAttrIs( static_cast<RangeSetType>( type ), EncodingAttr( 16, EncodedLabel( 0 ) ) );
    capability->comboEncodingAttrIs( ComboLabelSetType::ipv4SrcDstPrefix, EncodingAttr( 16, EncodedLabel( 0 ) ) );
    auto const config = Kiv::make<AggregatorConfig>( policy );
    status->handleInitialized();
    success = kicked( Kiv::make<AggregatorSm>( kChip, config, status, capability, keys ), config, status );
  }

  Kiv::Ptr<ChipHwCapability> capability = Kiv::make<ChipHwCapability>( kChip );
  Kiv::Ptr<AggregatorStatus> status = Kiv::make<AggregatorStatus>();
  Kiv::Ptr<GenSetKeyGenerator> keys = Kiv::make<GenSetKeyGenerator>();
  bool success = false;
};

/// A transform of a policy's sets, new.
struct PrefixXform {
  PrefixXform( Aggregated const& aggregated, PrefixXformKey key )
      : status( Kiv::make<PrefixXformStatus>( key ) ),
        config( Kiv::make<PrefixXformConfig>( key, aggregated.status->prefixInfoIs( key ) ) ),
        stage( Kiv::make<OrvexPrefixXformSm>( kChip, config, status, aggregated.capability, key ) ) {}
  bool kick() const { return kicked( stage, config, status ); }
  std::size_t pieces() const { return status->prefixToLabelMap().size(); }
  std::size_t labels() const { return stage->xformSetGroupDeduper()->dedupedGenSetKeyGroup().size(); }

  Kiv::Ptr<PrefixXformStatus> status;
  Kiv::Ptr<PrefixXformConfig> config;
  Kiv::Ptr<OrvexPrefixXformSm> stage;
};

struct RangeSplit {
  RangeSplit( Aggregated const& aggregated, RangeSetType type )
      : status( Kiv::make<RangeSplitStatus>( type ) ),
        config( Kiv::make<RangeSplitConfig>( type, aggregated.status->rangeSplitInfoIs( type ) ) ),
        stage( Kiv::make<RangeSplitSm>( kChip, config, status, aggregated.capability, type ) ) {}
  bool kick() const { return kicked( stage, config, status ); }
  std::size_t pieces() const { return status->rangeToPlainLabelMap().size(); }
  std::size_t labels() const { return stage->xformSetGroupDeduper()->dedupedGenSetKeyGroup().size(); }

  Kiv::Ptr<RangeSplitStatus> status;
  Kiv::Ptr<RangeSplitConfig> config;
  Kiv::Ptr<RangeSplitSm> stage;
};

/// Resolver and split of IPv4 source and destination.
struct Combination {
  static constexpr ComboLabelSetType kType = ComboLabelSetType::ipv4SrcDstPrefix;

  Combination( Aggregated const& aggregated, PrefixXform const& src, PrefixXform const& dst )
      : resolverStatus( Kiv::make<ComboLabelResolverStatus>( kType ) ),
        resolverConfig( Kiv::make<ComboLabelResolverConfig>( kType, src.status, dst.status, aggregated.status ) ),
        resolver( Kiv::make<ComboLabelResolverSm>( kChip, resolverConfig, resolverStatus, aggregated.capability, kType,
                                                   aggregated.keys ) ),
        status( Kiv::make<ComboLabelSplitStatus>( kType ) ),
        config( Kiv::make<ComboLabelSplitConfig>( kType, resolverStatus->comboLabelInfo() ) ),
        stage( Kiv::make<ComboLabelSplitSm>( kChip, config, status, aggregated.capability, kType ) ) {}
  bool kick() const { return kicked( resolver, resolverConfig, resolverStatus ) && kicked( stage, config, status ); }
  std::size_t pieces() const { return status->comboToPlainLabelMap().size(); }
  std::size_t labels() const { return stage->xformSetGroupDeduper()->dedupedGenSetKeyGroup().size(); }

  Kiv::Ptr<ComboLabelResolverStatus> resolverStatus;
  Kiv::Ptr<ComboLabelResolverConfig> resolverConfig;
  Kiv::Ptr<ComboLabelResolverSm> resolver;
  Kiv::Ptr<ComboLabelSplitStatus> status;
  Kiv::Ptr<ComboLabelSplitConfig> config;
  Kiv::Ptr<ComboLabelSplitSm> stage;
};

std::size_t listedLabels( XformStatus const& status ) {
  std::size_t listed = 0;
  auto const& lists = status.plainLabelListMap()->plainLabelList();
  for ( auto list = lists.begin(); list; ++list ) listed += list.value()->label().size();
  return listed;
}

/// Times a kick of the transforms that `make( Aggregated )` returns as a tuple.
template <class Make>
void timeXforms( benchmark::State& state, Kiv::Ptr<AclConfigColl> const& policy, Make const& make ) {
  Aggregated const aggregated( policy );
  if ( !aggregated.success ) state.SkipWithError( "the aggregator failed" );
  std::size_t most = 0, pieces = 0, labels = 0, listed = 0;
  for ( auto step : state ) {
    state.PauseTiming();
    {
      auto const xforms = make( aggregated );
      std::size_t const before = Bench::liveBytes();
      Bench::peakBytesReset();
      state.ResumeTiming();
      bool const success = std::apply( []( auto const&... xform ) { return ( xform.kick() && ... ); }, xforms );
      state.PauseTiming();
      if ( !success ) state.SkipWithError( "a transform failed" );
      most = Bench::peakBytes() - before;
      pieces = std::apply( []( auto const&... xform ) { return ( xform.pieces() + ... ); }, xforms );
      labels = std::apply( []( auto const&... xform ) { return ( xform.labels() + ... ); }, xforms );
      listed = std::apply( []( auto const&... xform ) { return ( listedLabels( *xform.status ) + ... ); }, xforms );
    }
    state.ResumeTiming();
  }
  state.counters["peakMB"] = static_cast<double>( most ) / 1e6;
  state.counters["pieces"] = static_cast<double>( pieces );
  state.counters["labels"] = static_cast<double>( labels );
  state.counters["listed"] = static_cast<double>( listed );
}

auto bothSides( AddressFamily family ) {
  return [family]( Aggregated const& aggregated ) {
    return std::tuple( PrefixXform( aggregated, PrefixXformKey( family, true ) ),
                       PrefixXform( aggregated, PrefixXformKey( family, false ) ) );
  };
}

auto bothSidesAndPorts( AddressFamily family ) {
  return [family]( Aggregated const& aggregated ) {
    return std::tuple( PrefixXform( aggregated, PrefixXformKey( family, true ) ),
                       PrefixXform( aggregated, PrefixXformKey( family, false ) ),
                       RangeSplit( aggregated, RangeSetType::srcPort ),
                       RangeSplit( aggregated, RangeSetType::dstPort ) );
  };
}

AddressFamily familyOf( benchmark::State const& state ) {
  return state.range( 0 ) == 4 ? AddressFamily::ipv4 : AddressFamily::ipv6;
}

void ownLists( benchmark::State& state ) {
  timeXforms( state, Bench::separatePrefixes( static_cast<std::uint32_t>( state.range( 1 ) ), familyOf( state ) ),
              bothSides( familyOf( state ) ) );
}
BENCHMARK( ownLists )
    ->ArgNames( { "ip", "prefixes" } )
    ->ArgsProduct( { { 4, 6 }, { 10000, 60000 } } )
    ->Unit( benchmark::kMillisecond );

void listsOfSites( benchmark::State& state ) {
  timeXforms( state, Bench::sitePrefixes( familyOf( state ) ).config, bothSides( familyOf( state ) ) );
}
BENCHMARK( listsOfSites )->ArgName( "ip" )->Arg( 4 )->Arg( 6 )->Unit( benchmark::kMillisecond );

void listPolicy( benchmark::State& state ) {
  Bench::ListPolicyParameters parameters;
  parameters.family = familyOf( state );
  timeXforms( state, Bench::makeListPolicy( parameters ).config, bothSidesAndPorts( familyOf( state ) ) );
}
BENCHMARK( listPolicy )->ArgName( "ip" )->Arg( 4 )->Arg( 6 )->Unit( benchmark::kMillisecond );

void scatteredLists( benchmark::State& state ) {
  timeXforms( state, Bench::makeListPolicy( Bench::stressParameters() ).config,
              bothSidesAndPorts( AddressFamily::ipv4 ) );
}
BENCHMARK( scatteredLists )->Unit( benchmark::kMillisecond );

void overlappingPorts( benchmark::State& state ) {
  timeXforms( state, Bench::overlappingPorts(),
              []( Aggregated const& a ) { return std::tuple( RangeSplit( a, RangeSetType::dstPort ) ); } );
}
BENCHMARK( overlappingPorts )->Unit( benchmark::kMillisecond );

void anyToAny( benchmark::State& state ) {
  timeXforms( state, Bench::anyToAny( state.range( 0 ) != 0 ? Bench::AnyLists::own : Bench::AnyLists::shared ),
              bothSides( AddressFamily::ipv4 ) );
}
BENCHMARK( anyToAny )->ArgName( "own" )->Arg( 0 )->Arg( 1 )->Unit( benchmark::kMillisecond );

/// From the policy on: with lists of their own, rules also cost the aggregator a set each.
void anyToAnyAggregated( benchmark::State& state ) {
  auto const policy = Bench::anyToAny( state.range( 0 ) != 0 ? Bench::AnyLists::own : Bench::AnyLists::shared );
  std::size_t most = 0;
  for ( auto step : state ) {
    std::size_t const before = Bench::liveBytes();
    Bench::peakBytesReset();
    Aggregated const aggregated( policy );
    auto const [src, dst] = bothSides( AddressFamily::ipv4 )( aggregated );
    if ( !aggregated.success || !src.kick() || !dst.kick() ) state.SkipWithError( "a stage failed" );
    most = Bench::peakBytes() - before;
  }
  state.counters["peakMB"] = static_cast<double>( most ) / 1e6;
}
BENCHMARK( anyToAnyAggregated )->ArgName( "own" )->Arg( 0 )->Arg( 1 )->Unit( benchmark::kMillisecond );

/// Resolver and split alone: the prefix transforms are kicked while the policy is made ready.
void labelGrid( benchmark::State& state ) {
  timeXforms( state, Bench::labelGrid(), []( Aggregated const& aggregated ) {
    PrefixXform const src( aggregated, PrefixXformKey( AddressFamily::ipv4, true ) );
    PrefixXform const dst( aggregated, PrefixXformKey( AddressFamily::ipv4, false ) );
    Kiv::fatalUnless( src.kick() && dst.kick(), "the prefixes have labels" );
    return std::tuple( Combination( aggregated, src, dst ) );
  } );
}
BENCHMARK( labelGrid )->Unit( benchmark::kMillisecond );

void filterSet( benchmark::State& state, Kiv::Ptr<AclConfigColl> const& config ) {
  bool const isIpv4 = config->acl().begin().key().view().starts_with( "ipv4" );
  timeXforms( state, config, bothSidesAndPorts( isIpv4 ? AddressFamily::ipv4 : AddressFamily::ipv6 ) );
}

}  // namespace

int main( int argc, char** argv ) {
  benchmark::Initialize( &argc, argv );
  for ( int at = 1; at < argc; ++at ) {
    std::string const path = argv[at];
    if ( path.starts_with( "-" ) ) {
      benchmark::ReportUnrecognizedArguments( argc, argv );
      return 2;
    }
    auto const config = Bench::configNamed( path );
    if ( !config ) {
      std::cerr << path << ": error: is no filter set that can be read\n";
      return 2;
    }
    benchmark::RegisterBenchmark( path.substr( path.find_last_of( '/' ) + 1 ).c_str(), filterSet, config )
        ->Unit( benchmark::kMillisecond );
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
