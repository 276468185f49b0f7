#include "pipeline/LabelBound.h"

#include <gmock/gmock.h>
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

/// One rule for each of as many hosts.
Policy hostsPolicy( std::uint32_t hosts ) {
  Acl acl{ "hosts", Vell::AddressFamily::ipv4, DefaultAction::deny, {} };
  for ( std::uint32_t host = 0; host != hosts; ++host ) {
    Rule rule;
    rule.index = host + 1;
    rule.name = std::to_string( rule.index );
    rule.source =
        std::make_shared<PrefixList const>( PrefixList{ { Vell::IpGenPrefix( 0x0A000000U + host, 32 ) }, {} } );
    acl.rules.push_back( rule );
  }
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
  auto const result = compile( hostsPolicy( 20000 ), chip );
  EXPECT_EQ( CompileOutcome::failed, result.outcome );
  EXPECT_EQ( OrvexActiveStage::stagePrefixXform, result.stage );
  EXPECT_EQ(
      "ipv4 source needs 20000 labels at least, one for each prefix that rules name alone, and 14 bits have 16383",
      result.message );
  EXPECT_TRUE( result.stages.empty() );
}

}  // namespace
