#include "verify/BoxEngine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/PolicyNotation.h"
#include "policy/Normalise.h"

/// Policy against policy. That the engine is right is shown in SmallWorldTest; here is what it tells.

namespace Orvex::Host::Test {

namespace {

using Verify::Outcome;
using Verify::PolicyComparison;

Policy policyOf( std::vector<Acl> acls ) { return normalised( Policy{ std::move( acls ) } ); }

std::string ruleText( Verify::Verdict const& verdict ) {
  return verdict.rule ? std::to_string( *verdict.rule ) : "default";
}

/// "RULE/RULE SOURCES dport RANGES" for each disagreement.
std::vector<std::string> textsOf( PolicyComparison const& comparison ) {
  std::vector<std::string> texts;
  for ( Verify::Disagreement const& found : comparison.disagreements )
    texts.push_back( ruleText( found.a ) + "/" + ruleText( found.b ) + " " +
                     textOf( PrefixList{ found.region.source, {} } ) + " dport " +
                     textOf( found.region.ranges[Field::dport] ) );
  return texts;
}

}  // namespace

TEST( PolicyComparison, EachPairOfRulesThatDisagreeHasARegionAsPrefixesAndRanges ) {
  Policy const a = policyOf( { acl( "ipv4 edge", { rule( 2, "source 10.0.0.0/8 !10.0.0.0/10; dport 80-90" ) } ) } );
  Policy const b = policyOf( { acl( "ipv4 edge", { rule( 1, "source 10.128.0.0/9; dport 85" ) } ) } );
  auto const comparison = Verify::equal( a, b );
  EXPECT_EQ( comparison.outcome, Outcome::different );
  EXPECT_EQ( textsOf( comparison ),
             ( std::vector<std::string>{ "2/1 10.128.0.0/9 dport 85", "2/default 10.128.0.0/9 dport 80-84 86-90" } ) );
}

TEST( PolicyComparison, AnAclThatOnlyOneOfThemHasIsADifference ) {
  Policy const a = policyOf( { acl( "ipv4 edge", {} ), acl( "ipv6 edge", {} ) } );
  Policy const b = policyOf( { acl( "ipv4 edge", {} ) } );
  EXPECT_EQ( Verify::equal( a, b ).outcome, Outcome::different );
  EXPECT_EQ( Verify::equal( b, a ).reason, "only the second policy has ipv6 ACL edge" );
}

TEST( PolicyComparison, NoMoreThanTwentyDisagreementsAreTold ) {
  std::vector<Rule> rules;
  for ( std::uint32_t at = 0; at != 30; ++at ) rules.push_back( rule( 2 * at, "ttl " + std::to_string( 2 * at ) ) );
  Policy const a = policyOf( { acl( "ipv4 edge", rules ) } );
  EXPECT_EQ( Verify::equal( a, policyOf( { acl( "ipv4 edge", {} ) } ) ).disagreements.size(), Verify::kDisagreements );
}

TEST( PolicyComparison, BeyondTheBudgetNothingIsSaid ) {
  std::vector<Rule> rules;
  for ( std::uint32_t at = 0; at != 8; ++at )
    rules.push_back( rule( 2 * at, "ttl " + std::to_string( 2 * at ) + "; dscp " + std::to_string( 3 * at ) ) );
  rules.push_back( rule( 99, "ttl 0-200; dscp 0-40" ) );
  Policy const a = policyOf( { acl( "ipv4 edge", rules ) } );
  rules.back() = rule( 101, "ttl 0-200; dscp 0-40" );
  Policy const b = policyOf( { acl( "ipv4 edge", rules ) } );
  EXPECT_EQ( Verify::equal( a, b ).outcome, Outcome::equal );
  EXPECT_EQ( Verify::equal( a, b, { 2, std::chrono::seconds( 1 ) } ).outcome, Outcome::undecided );
}

}  // namespace Orvex::Host::Test
