#include "explain/Explanation.h"

#include <gtest/gtest.h>

#include "RandomPolicy.h"
#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "host/SeedRange.h"
#include "host/TestChips.h"
#include "packets/BoundaryPackets.h"
#include "pipeline/Compile.h"
#include "policy/AclTextReader.h"
#include "policy/Normalise.h"
#include "verify/Interpreter.h"

namespace Orvex::Host::Test {

namespace {

Policy edgePolicy() {
  return normalised( { { acl( "ipv4 edge", { rule( 10, "source 10.0.0.0/8 !10.1.0.0/16; proto 6; dport 80 443-445" ),
                                             rule( 20, "proto 6; established" ), rule( 30, "fragment 1-8191; ttl 1" ),
                                             rule( 40, "source 10.0.0.0/8" ) } ) } } );
}

std::string nearMisses( std::string const& packetText ) {
  Policy const policy = edgePolicy();
  std::string text;
  for ( Rule const& rule : policy.acls.front().rules )
    if ( auto const miss = nearMissOf( rule, packet( packetText ), {} ) )
      text += std::to_string( miss->rule ) + " " + miss->field + ": " + miss->reason + "\n";
  return text;
}

}  // namespace

TEST( Explanation, ANearMissIsARuleThatOneFieldKeepsFromMatching ) {
  EXPECT_EQ( nearMisses( "10.1.2.3 1.1.1.1; proto 6; dport 80" ),
             "10 source: source 10.1.2.3 is in 10.1.0.0/16, which is excepted\n"
             "20 tcpFlags: tcpFlags 0 has neither ACK nor RST\n" );
  EXPECT_EQ( nearMisses( "10.9.2.3 1.1.1.1; proto 6; dport 81; tcpFlags 16" ),
             "10 dport: dport 81 is not in 80 443-445\n" );
  EXPECT_EQ( nearMisses( "10.9.2.3 1.1.1.1; proto 6; fragment 7" ),
             "10 fragment: the packet is a later fragment, which does not carry dport\n"
             "20 fragment: the packet is a later fragment, which does not carry tcpFlags\n"
             "30 ttl: ttl 0 is not in 1\n" );
  EXPECT_EQ( nearMisses( "11.9.2.3 1.1.1.1; proto 17; ttl 1" ),
             "30 fragment: fragment 0 is not in 1-8191\n"
             "40 source: source 11.9.2.3 is not in 10.0.0.0/8\n" );
}

TEST( Explanation, OfListsThatAreJoinedTheOneThatHasTheAddressIsNamed ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText( "edge.acl",
                                          "ip prefix-list A\n  10.0.0.0/8\n  except 10.1.0.0/16\n"
                                          "ip prefix-list B\n  10.1.0.0/24\n  list C\n"
                                          "ip prefix-list C\n  20.0.0.0/8\n"
                                          "ip access-list edge\n  10 permit ip prefix-list A,B any\n",
                                          diagnostics );
  auto const located = readAclText( { file }, diagnostics );
  ASSERT_TRUE( located ) << diagnostics.text();
  Acl const& acl = located->policy.acls.front();
  SoftwareChip chip( Brae::ChipId( 1 ), plainChip() );
  auto const snapshot = compile( located->policy, chip ).snapshot;
  auto const listOf = [&]( char const* packetText ) {
    auto const explanation = explain( *located, acl, packet( packetText ), *snapshot, shapeOf( chip.profile() ) );
    if ( !explanation.nearMisses.empty() ) return explanation.nearMisses.front().reason;
    ListedAddress const& source = explanation.source;
    return source.list + " " + Host::textOf( *source.prefix ) + " line " + std::to_string( source.definition.line );
  };
  EXPECT_EQ( "A 10.0.0.0/8 line 1", listOf( "10.2.0.1 1.1.1.1" ) );
  EXPECT_EQ( "B 10.1.0.0/24 line 4", listOf( "10.1.0.1 1.1.1.1" ) );
  EXPECT_EQ( "C 20.0.0.0/8 line 7", listOf( "20.1.0.1 1.1.1.1" ) );
  EXPECT_EQ( "source 10.1.1.1 is in 10.1.0.0/16, which is excepted from prefix list A, B, C",
             listOf( "10.1.1.1 1.1.1.1" ) );
}

TEST( Explanation, AnyPacketIsExplainedByTheRuleThatTheInterpreterNames ) {
  std::size_t packets = 0;
  std::size_t hits = 0;
  SeedRange const seeds = seedRange( 40 );
  auto const shapes = chipShapes();
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    ChipProfile const& profile = random.oneOf( shapes );
    LocatedPolicy const located{ randomPolicy( random ), {}, {} };
    SoftwareChip chip( Brae::ChipId( 1 ), profile );
    auto const result = compile( located.policy, chip );
    if ( result.outcome != CompileOutcome::loaded ) continue;
    for ( Acl const& acl : located.policy.acls ) {
      BoundaryPackets boundary( random, acl );
      for ( int count = 0; count != 15; ++count, ++packets ) {
        Verify::Packet const packet = boundary.next();
        auto const explanation = explain( located, acl, packet, *result.snapshot, shapeOf( profile ) );
        Verify::Verdict const meant = interpret( acl, packet );
        ASSERT_EQ( meant, explanation.verdict );
        ASSERT_EQ( meant.rule.has_value(), explanation.entry.has_value() );
        hits += meant.rule ? 1 : 0;
        for ( KeyField const& field : explanation.key )
          ASSERT_EQ( 0, ( field.label ^ field.wanted.label.value() ) & field.wanted.mask.value() ) << field.name;
        for ( NearMiss const& miss : explanation.nearMisses ) ASSERT_LT( miss.rule, meant.rule.value_or( ~0U ) );
      }
    }
  }
  EXPECT_GT( packets, seeds.count * 25 );
  EXPECT_GT( hits, packets / 4 );

  LocatedPolicy const located{ edgePolicy(), {}, {} };
  EXPECT_THROW( explain( located, located.policy.acls.front(), packet( "10.9.2.3 1.1.1.1" ), *Kiv::make<PDData>(), {} ),
                DisagreementError );
}

}  // namespace Orvex::Host::Test
