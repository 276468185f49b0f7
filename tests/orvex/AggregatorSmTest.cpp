#include "Orvex/OrvexAggregatorSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvex/AggregatorModel.h"
#include "orvex/TestPolicy.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::Aggregator;
using Test::rule;
using Test::TraceLines;
using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto kSuccess = StageStatusType::finishedSuccess;
constexpr auto kFailed = StageStatusType::finishedFailed;

class AggregatorSmTest : public testing::Test, protected Aggregator {
 protected:
  Kiv::Ptr<AclConfig> const edge = policy->aclIs( "edge" );
};

TEST_F( AggregatorSmTest, ADeletedRuleIsLeftOutOfTheOrderWithATrace ) {
  rule( *edge, 10, "web", "dport 80" );
  rule( *edge, 20, "gone", "dport 81" );
  edge->ruleByNameDel( "gone" );
  edge->ruleByIdIs( AceIndex( 30 ), nullptr );
  TraceLines const traces( 0 );
  EXPECT_EQ( kSuccess, kick() );
  EXPECT_THAT( lines(),
               ElementsAre( "acl edge ipv4", "dport 1: 80-80", "edge 10: web", "edge/web: dport 1", "uses 1: 1" ) );
  EXPECT_THAT( traces.lines, ElementsAre( HasSubstr( "ACL edge, rule gone at index 20: the rule has been deleted" ),
                                          HasSubstr( "at index 30: the rule has been deleted" ) ) );
}

TEST_F( AggregatorSmTest, RangeEndsAreCutTo16Bits ) {
  rule( *edge, 10, "a", "length 65535 65536-65537" );
  kick();
  EXPECT_THAT( lines(), Contains( "length 1: 0-1 65535-65535" ) );
}

TEST_F( AggregatorSmTest, TheFamilyIsThatOfThePrefixes ) {
  rule( *edge, 10, "no prefixes", "dport 80" );
  rule( *edge, 20, "excepted", "destination !2001:db8::/32" );
  kick();
  EXPECT_THAT( lines(), Contains( "acl edge ipv6" ) );
  EXPECT_THAT( lines(), Contains( ContainsRegex( "ipv6 destination .: !2001:db8::/32" ) ) );
}

/// A policy with something wrong, and what the trace must say of it.
struct Fault {
  char const* first;   // rule 10
  char const* second;  // rule 20; none without a filter
  char const* said;
};

TEST_F( AggregatorSmTest, AWrongPolicyFailsUntilItIsCorrectedAndLeavesNothing ) {
  Fault const faults[] = {
      { "source 10.0.0.0/8", "ttl 1; dport 80 90-81",
        "ACL edge, rule bad, dstPort: RangeSetElem::first > RangeSetElem::last not "
        "allowed: 90-81" },
      { "", "fragment 2-1", "ACL edge, rule bad, fragment: " },
      { "", "length 65535-65536", "ACL edge, rule bad, length: " },  // cut to 65535-0
      { "dport 80", nullptr, "ACL edge, rule bad: the rule has no filter" },
      { "source 10.0.0.0/8", "source ::/0", "ACL edge, rule bad, source: ::/0 is not of the family" },
      { "source ::/0", "destination ::/0 !10.0.0.0/8",
        "ACL edge, rule bad, destination: 10.0.0.0/8 is not of the family" },
  };
  rule( *policy->aclIs( "other" ), 1, "other", "source 10.0.0.0/8; proto 6" );
  for ( Fault const& fault : faults ) {
    SCOPED_TRACE( fault.said );
    edge->ruleByNameDelAll();
    rule( *edge, 10, "good", fault.first );
    EXPECT_NE( kFailed, kick() );
    auto const bad = rule( *edge, 20, "bad", fault.second != nullptr ? fault.second : "" );
    if ( fault.second == nullptr ) bad->ruleFilterDel();
    for ( int again = 0; again != 2; ++again ) {
      TraceLines const traces( 0 );
      EXPECT_EQ( kFailed, kick() );
      EXPECT_THAT( traces.lines, ElementsAre( HasSubstr( fault.said ) ) );
      EXPECT_THAT( lines(), IsEmpty() );
      EXPECT_EQ( AggregatorWorkingSet(), stage->aggWorkingSet() );
    }
    edge->ruleByNameDel( "bad" );
    edge->ruleByIdDel( AceIndex( 20 ) );
    EXPECT_EQ( kSuccess, kick() );
    EXPECT_THAT( lines(), AllOf( Contains( "edge 10: good" ), Contains( "other 1: other" ) ) );
  }
}

using AggregatorSmDeathTest = AggregatorSmTest;

TEST_F( AggregatorSmDeathTest, APresentAndEmptyListIsFatal ) {
  auto const filter = rule( *edge, 10, "web", "" )->ruleFilterIs();
  filter->sourceIs();
  EXPECT_DEATH( kick(), "fatal check failed: source->addrs\\(\\) \\|\\| source->exceptAddrs\\(\\)" );
  filter->sourceDel();
  filter->destinationIs();
  EXPECT_DEATH( kick(), "fatal check failed: destination->addrs\\(\\) \\|\\| destination->exceptAddrs\\(\\)" );
}

}  // namespace
}  // namespace Orvex
