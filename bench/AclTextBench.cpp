// Policies as text: read, checked for what their authors may not have meant, and written, per number of rules.
//
// A rule has a source that it shares with others in a quarter of the cases, a destination of its own, and ports; a twelfth
// of the rules name a list of 1,000 prefixes.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "packets/Random.h"
#include "policy/AclTextReader.h"
#include "policy/AclTextWriter.h"
#include "policy/Lint.h"

namespace {

using Orvex::Random;
using Orvex::Host::Diagnostics;
using Orvex::Host::LocatedPolicy;
using Orvex::Host::SourceFile;

std::string address( Random& random ) {
  std::string text = std::to_string( random.between( 11, 200 ) );
  for ( int octet = 0; octet != 3; ++octet ) text.append( "." ).append( std::to_string( random.below( 256 ) ) );
  return text;
}

std::string source( Random& random ) {
  if ( random.below( 12 ) == 0 ) return "prefix-list offices";
  if ( random.percent( 25 ) ) return "10." + std::to_string( random.below( 200 ) ) + ".0.0/16";
  return "host " + address( random );
}

std::string policyText( std::int64_t rules ) {
  Random random( 1 );
  std::string text = "ip prefix-list offices\n";
  for ( int each = 0; each != 1000; ++each )
    text += "  10." + std::to_string( 200 + each / 250 ) + "." + std::to_string( each % 250 ) + ".0/24\n";
  text += "ip access-list edge\n";
  for ( std::int64_t rule = 0; rule != rules; ++rule ) {
    text += random.percent( 50 ) ? "  permit tcp " : "  deny tcp ";
    text += source( random ) + " host " + address( random ) + " eq " + std::to_string( random.between( 1, 65535 ) );
    text += random.percent( 20 ) ? " established log\n" : "\n";
  }
  return text;
}

std::shared_ptr<SourceFile const> fileOf( benchmark::State const& state ) {
  Diagnostics diagnostics;
  return SourceFile::fromText( "bench.acl", policyText( state.range( 0 ) ), diagnostics );
}

LocatedPolicy policyOf( benchmark::State const& state ) {
  Diagnostics diagnostics;
  return readAclText( { fileOf( state ) }, diagnostics ).value();
}

void readText( benchmark::State& state ) {
  auto const file = fileOf( state );
  for ( auto _ : state ) {
    Diagnostics diagnostics;
    auto const policy = readAclText( { file }, diagnostics );
    if ( !policy ) state.SkipWithError( "the text has errors" );
    benchmark::DoNotOptimize( policy );
  }
  state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}

void lintPolicy( benchmark::State& state ) {
  LocatedPolicy const policy = policyOf( state );
  for ( auto _ : state ) {
    Diagnostics diagnostics;
    lint( policy, diagnostics );
    if ( diagnostics.tooManyWarnings() ) state.SkipWithError( "so many warnings that it stops early" );
  }
  state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}

void writeText( benchmark::State& state ) {
  LocatedPolicy const policy = policyOf( state );
  for ( auto _ : state ) benchmark::DoNotOptimize( aclText( policy.policy, policy.listNames ) );
  state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}

BENCHMARK( readText )->Arg( 10'000 )->Arg( 100'000 )->Unit( benchmark::kMillisecond );
BENCHMARK( lintPolicy )->Arg( 10'000 )->Arg( 100'000 )->Unit( benchmark::kMillisecond );
BENCHMARK( writeText )->Arg( 10'000 )->Arg( 100'000 )->Unit( benchmark::kMillisecond );

}  // namespace
