#include "pipeline/LabelBound.h"

#include <gtest/gtest.h>

#include "RandomPolicy.h"
#include "TestChips.h"
#include "chip/SoftwareChip.h"
#include "pipeline/Compile.h"

namespace {

using namespace Orvex;
using namespace Orvex::Host;
using Orvex::Host::Test::chipShapes;
using Orvex::Host::Test::randomPolicy;
using Orvex::Host::Test::RandomPolicyOptions;

void addRule( Acl& acl, Vell::IpGenPrefix const& source ) {
  Rule rule;
  rule.index = static_cast<std::uint32_t>( acl.rules.size() + 1 );
  rule.name = std::to_string( rule.index );
  rule.source = std::make_shared<PrefixList const>( PrefixList{ { source }, {} } );
  acl.rules.push_back( rule );
}

/// One rule for each of as many hosts from 10.0.0.0 on.
Policy hostsPolicy( std::uint32_t hosts ) {
  Acl acl{ "hosts", Vell::AddressFamily::ipv4, DefaultAction::deny, {} };
  for ( std::uint32_t host = 0; host != hosts; ++host ) addRule( acl, Vell::IpGenPrefix( 0x0A000000U + host, 32 ) );
  return { { acl } };
}

TEST( LabelBound, NoPolicyNeedsFewerLabels ) {
  std::size_t met = 0;
  for ( std::uint64_t seed = 1; seed <= 200; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    RandomPolicyOptions options;
    options.maxPrefixes = seed % 2 == 0 ? 1 : 4;
    Policy const policy = randomPolicy( random, options );
    for ( ChipProfile const& profile : chipShapes() ) {
      SoftwareChip chip( Brae::ChipId( 0 ), profile );
      for ( LabelUse const& use : compile( policy, chip ).labels )
        for ( PrefixXformKey const space : kPrefixSpaces ) {
          if ( use.table != tableText( space ) ) continue;
          EXPECT_LE( leastPrefixLabels( policy, space ), use.needed );
          met += leastPrefixLabels( policy, space ) == use.needed && use.needed > 1 ? 1 : 0;
        }
    }
  }
  EXPECT_GT( met, 50U );  // many need no more
}

TEST( LabelBound, ALargePolicyIsTurnedDownByItBeforeAnyStage ) {
  ChipProfile profile = chipShapes()[0];
  profile.prefix( kPrefixSpaces[0] ).widthBits = 14;
  SoftwareChip chip( Brae::ChipId( 0 ), profile );
  Policy policy = hostsPolicy( 20000 );
  addRule( policy.acls[0], Vell::IpGenPrefix( 0x0A000000U, 24 ) );
  addRule( policy.acls[0], Vell::IpGenPrefix( 0x0A000000U, 20 ) );
  addRule( policy.acls[0], Vell::IpGenPrefix( 0x0A000000U, 24 ) );  // as before
  auto const result = compile( policy, chip );
  EXPECT_EQ( CompileOutcome::failed, result.outcome );
  EXPECT_EQ( OrvexActiveStage::stagePrefixXform, result.stage );
  EXPECT_EQ(
      "ipv4 source needs 20002 labels at least, one for each prefix that rules name alone, and 14 bits have 16383; "
      "most "
      "cost ipv4 source of ipv4 ACL hosts, rule 20002 (4098); ipv4 source of ipv4 ACL hosts, rule 20001 (257); ipv4 "
      "source of ipv4 ACL hosts, rule 1 (1); ipv4 source of ipv4 ACL hosts, rule 2 (1); ipv4 source of ipv4 ACL hosts, "
      "rule 3 (1)",
      result.message );
  EXPECT_EQ( 5U, result.costliest.size() );
  EXPECT_TRUE( result.stages.empty() );
}

}  // namespace
