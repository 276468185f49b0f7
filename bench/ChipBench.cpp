/// Look-ups of the software chip, and the way of a policy onto it.
///
///     chip_bench --benchmark_filter=LookUp
///
/// The policy is one ACL of rules with a source, a destination and ports, all different. Of the packets, half are aimed at
/// a rule, and half are anything; each is asked once before one is asked again.

#include <benchmark/benchmark.h>

#include <algorithm>

#include "chip/BuiltInProfiles.h"
#include "chip/SoftwareChip.h"
#include "packets/Random.h"
#include "pipeline/Compile.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"

namespace Orvex::Host {

namespace {

constexpr std::size_t kPackets = 100000;

Vell::IpGenPrefix randomPrefix( Random& random, std::uint32_t minLength ) {
  return { static_cast<std::uint32_t>( random.below( std::uint64_t{ 1 } << 32 ) ), random.between( minLength, 32 ) };
}

SharedPrefixList randomList( Random& random ) {
  return std::make_shared<PrefixList const>( PrefixList{ { randomPrefix( random, 8 ) }, {} } );
}

Policy randomPolicy( Random& random, std::uint32_t rules ) {
  Acl acl;
  acl.name = "edge";
  for ( std::uint32_t index = 0; index != rules; ++index ) {
    Rule rule;
    rule.index = index;
    if ( !random.percent( 20 ) ) rule.source = randomList( random );
    if ( !random.percent( 20 ) ) rule.destination = randomList( random );
    rule.ranges[Field::proto] = { { 6, 6 } };
    std::uint32_t const port = random.between( 0, 200 ) * 300;
    if ( random.percent( 70 ) ) rule.ranges[Field::dport] = { { port, port + random.between( 0, 1 ) * 100 } };
    acl.rules.push_back( std::move( rule ) );
  }
  return normalised( { { std::move( acl ) } } );
}

Verify::Packet randomPacket( Random& random, Acl const& acl ) {
  Verify::Packet packet;
  packet.source = randomPrefix( random, 32 );
  packet.destination = randomPrefix( random, 32 );
  packet.fields[Field::proto] = 6;
  packet.fields[Field::dport] = random.between( 0, 65535 );
  if ( random.percent( 50 ) ) return packet;
  Rule const& rule = random.oneOf( acl.rules );
  auto const firstOf = []( SharedPrefixList const& list ) {
    return Vell::IpGenPrefix( list->prefixes.front().ipv4Address(), 32 );
  };
  if ( rule.source ) packet.source = firstOf( rule.source );
  if ( rule.destination ) packet.destination = firstOf( rule.destination );
  if ( !rule.ranges[Field::dport].empty() ) packet.fields[Field::dport] = rule.ranges[Field::dport].front().first;
  return packet;
}

void LookUp( benchmark::State& state ) {
  Random random( 1 );
  Policy const policy = randomPolicy( random, static_cast<std::uint32_t>( state.range( 0 ) ) );
  SoftwareChip chip( Brae::ChipId( 0 ), builtInProfiles().front() );
  if ( auto const result = compile( policy, chip ); result.outcome != CompileOutcome::loaded )
    return state.SkipWithError( result.message.c_str() );
  std::vector<Verify::Packet> packets( kPackets );
  for ( Verify::Packet& packet : packets ) packet = randomPacket( random, policy.acls.front() );
  ChipTable::Acl& acl = *chip.table()->acl( PDAclKey( Vell::AddressFamily::ipv4, "ipv4/edge" ) );
  chip.table()->lookUp( acl, packets.front() );  // builds the index
  std::size_t next = 0;
  for ( auto _ : state ) {
    benchmark::DoNotOptimize( chip.table()->lookUp( acl, packets[next] ) );
    next = next + 1 == packets.size() ? 0 : next + 1;
  }
  state.SetItemsProcessed( state.iterations() );
  state.counters["entries"] = static_cast<double>( chip.use()[Resource::ruleEntries] );
}
BENCHMARK( LookUp )->Arg( 100 )->Arg( 1000 )->Arg( 10000 )->Arg( 30000 );

/// From the policy to the table in force, the new one beside the one of before.
void CompileAndLoad( benchmark::State& state ) {
  Random random( 1 );
  Policy const policy = randomPolicy( random, static_cast<std::uint32_t>( state.range( 0 ) ) );
  SoftwareChip chip( Brae::ChipId( 0 ), builtInProfiles().front() );
  for ( auto _ : state )
    if ( auto const result = compile( policy, chip ); result.outcome != CompileOutcome::loaded )
      return state.SkipWithError( result.message.c_str() );
  state.SetItemsProcessed( state.iterations() * state.range( 0 ) );
}
BENCHMARK( CompileAndLoad )->Arg( 1000 )->Arg( 10000 )->Unit( benchmark::kMillisecond );

}  // namespace

}  // namespace Orvex::Host
