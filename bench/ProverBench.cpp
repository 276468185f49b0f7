/// What proving a table costs, beside compiling it.
///
///     prover_bench acl1_10k.txt fw1_10k.txt        filter sets in the ClassBench format, by path
///
/// Each policy is compiled by a pipeline of its own onto two chips: one that matches ports by value, and one with tables
/// of 16-bit labels for both. "entries" are the table's, "byBoxes" the rules for which the box engine was asked. The
/// policy of the list generator is also compiled onto a chip that combines source and destination.

#include <benchmark/benchmark.h>

#include <iostream>
#include <string>
#include <vector>

#include "ListPolicy.h"
#include "PolicyOfConfig.h"
#include "compare/NamedPolicy.h"
#include "orvex/TestChip.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Prover.h"

namespace {

using namespace Orvex;
using Orvex::Test::TestChip;

enum class ChipKind { byValue, portLabels, prefixCombination };

Verify::TableShape prepare( TestChip& chip, ChipKind kind ) {
  constexpr Verify::TableShape::Table kOn{ true, 0 };
  EncodingAttr const attr( EncodingAttr::kMaxWidth, EncodedLabel() );
  Verify::TableShape shape;
  for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
    for ( bool const src : { true, false } ) {
      chip.capability->prefixEncodingAttrIs( PrefixXformKey( af, src ), attr );
      shape.prefix( PrefixXformKey( af, src ) ) = kOn;
    }
  if ( kind == ChipKind::byValue ) return shape;
  for ( auto const field : { Host::Field::sport, Host::Field::dport } ) {
    chip.capability->rangeEncodingAttrIs( static_cast<RangeSetType>( Kiv::enumValue( field ) ), attr );
    shape.ranges[field] = kOn;
  }
  if ( kind == ChipKind::portLabels ) return shape;
  chip.capability->comboEncodingAttrIs( ComboLabelSetType::ipv4SrcDstPrefix, attr );
  shape.combo( ComboLabelSetType::ipv4SrcDstPrefix ) = kOn;
  return shape;
}

void compile( benchmark::State& state, Kiv::Ptr<AclConfigColl> const& config, ChipKind kind ) {
  for ( auto step : state ) {
    state.PauseTiming();
    {
      TestChip chip;
      chip.policy = config;
      prepare( chip, kind );
      state.ResumeTiming();
      bool const compiled = chip.compile() == OrvexProgress::orvexFinishedSuccess;
      state.PauseTiming();
      if ( !compiled ) state.SkipWithError( chip.rootStatus->kickMessage().c_str() );
    }
    state.ResumeTiming();
  }
}

void prove( benchmark::State& state, Kiv::Ptr<AclConfigColl> const& config, ChipKind kind ) {
  TestChip chip;
  chip.policy = config;
  Verify::TableShape const shape = prepare( chip, kind );
  if ( chip.compile() != OrvexProgress::orvexFinishedSuccess ) {
    state.SkipWithError( chip.rootStatus->kickMessage().c_str() );
    return;
  }
  Host::Policy const policy = Bench::policyOf( *config );
  Verify::Proof proof;
  for ( auto step : state ) {
    proof = Verify::prove( policy, *chip.driver.loaded, shape, {} );
    if ( !proof.isProved() ) state.SkipWithError( proof.reason.c_str() );
  }
  state.counters["entries"] = static_cast<double>( proof.entries );
  state.counters["byBoxes"] = static_cast<double>( proof.rulesByBoxes );
  state.counters["boxes"] = static_cast<double>( proof.boxes );
}

/// A policy against itself with other numbers, so that all pairs of rules are looked at.
void compareRenumbered( benchmark::State& state, Kiv::Ptr<AclConfigColl> const& config ) {
  Host::Policy const policy = Bench::policyOf( *config );
  Host::Policy renumbered = policy;
  for ( Host::Acl& acl : renumbered.acls )
    for ( Host::Rule& rule : acl.rules ) ++rule.index;
  Verify::PolicyComparison comparison;
  for ( auto step : state ) {
    comparison = Verify::equal( policy, renumbered );
    if ( comparison.outcome != Verify::Outcome::equal ) state.SkipWithError( comparison.reason.c_str() );
  }
  state.counters["boxes"] = static_cast<double>( comparison.boxes );
}

void registerPolicy( std::string const& name, Kiv::Ptr<AclConfigColl> const& config,
                     std::vector<ChipKind> const& kinds ) {
  for ( ChipKind const kind : kinds ) {
    std::string what = name;
    what += kind == ChipKind::byValue      ? "/byValue"
            : kind == ChipKind::portLabels ? "/portLabels"
                                           : "/prefixCombination";
    benchmark::RegisterBenchmark( ( "compile/" + what ).c_str(), compile, config, kind )
        ->Unit( benchmark::kMillisecond );
    benchmark::RegisterBenchmark( ( "prove/" + what ).c_str(), prove, config, kind )->Unit( benchmark::kMillisecond );
  }
  benchmark::RegisterBenchmark( ( "compareRenumbered/" + name ).c_str(), compareRenumbered, config )
      ->Unit( benchmark::kMillisecond );
}

}  // namespace

int main( int argc, char** argv ) {
  benchmark::Initialize( &argc, argv );
  registerPolicy( "lists", Bench::makeListPolicy( {} ).config,
                  { ChipKind::byValue, ChipKind::portLabels, ChipKind::prefixCombination } );
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
    registerPolicy( path.substr( path.find_last_of( '/' ) + 1 ), config, { ChipKind::byValue, ChipKind::portLabels } );
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
