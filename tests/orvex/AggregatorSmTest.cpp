#include "Orvex/OrvexAggregatorSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvex/AggregatorModel.h"
#include "orvex/TestPolicy.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::Aggregator;
using Test::match;
using Test::prefix;
using Test::prefixes;
using Test::rule;
using Test::TraceLines;
using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;

constexpr auto kSuccess = StageStatusType::finishedSuccess;
constexpr auto kSkipped = StageStatusType::finishedSkipped;
constexpr auto kFailed = StageStatusType::finishedFailed;

class AggregatorSmTest : public testing::Test, protected Aggregator {
 protected:
  Kiv::Ptr<AclConfig> const edge = policy->aclIs( "edge" );
};

TEST_F( AggregatorSmTest, EveryFieldOfARuleBecomesTheKeyOfASet ) {
  rule( *edge, 10, "all",
        "source 10.0.0.0/8 !10.1.0.0/16; destination 11.0.0.0/8; sport 1; dport 2 3-4; icmp 5; proto 6; length 7;"
        "fragment 8; dscp 9; ttl 10; init; established" );
  rule( *edge, 5, "any", "" );
  EXPECT_EQ( kSuccess, kick() );
  EXPECT_THAT(
      lines(),
      IsSupersetOf( { "edge 10: all", "edge 5: any", "edge/any:", "acl edge ipv4",
                      "edge/all: source 1, destination 2, sport 3, dport 4, icmp 5, proto 6, length 7, fragment 8, "
                      "dscp 9, ttl 10, init, established",
                      "ipv4 source 1: 10.0.0.0/8 !10.1.0.0/16", "ipv4 destination 2: 11.0.0.0/8", "dport 4: 2-2 3-4",
                      "ttl 10: 10-10", "uses 1: 1", "uses 10: 1" } ) );
  EXPECT_EQ( 25U, lines().size() );
}

TEST_F( AggregatorSmTest, AnUnchangedPolicyIsSkippedAndIssuesNoKeys ) {
  rule( *edge, 10, "web", "source 10.0.0.0/8; dport 80" );
  EXPECT_EQ( kSuccess, kick() );
  auto const before = lines();
  TraceLines const traces( 6 );
  EXPECT_EQ( kSkipped, kick() );
  EXPECT_EQ( before, lines() );
  EXPECT_EQ( 2U, keys->genKey() );
  EXPECT_THAT( traces.lines, ElementsAre( EndsWith( "doStartKick: Unchanged working set, skipping" ) ) );
}

TEST_F( AggregatorSmTest, EditsOfActionsAndOrderAloneAreNotSeen ) {
  auto const web = rule( *edge, 10, "web", "dport 80" );
  kick();
  auto const before = lines();
  OrvexActionValue drop;
  drop.dropEnabled = true;
  web->actionIs( drop );
  web->continueRuleIs( true );
  edge->ruleByIdDelAll();
  edge->ruleByIdIs( AceIndex( 20 ), web );
  EXPECT_EQ( kSkipped, kick() );
  EXPECT_EQ( before, lines() );
  rule( *edge, 30, "dns", "dport 53" );
  EXPECT_EQ( kSuccess, kick() );
  EXPECT_THAT( lines(),
               ElementsAre( "acl edge ipv4", "dport 1: 80-80", "dport 2: 53-53", "edge 20: web", "edge 30: dns",
                            "edge/dns: dport 2", "edge/web: dport 1, drop", "uses 1: 1", "uses 2: 1" ) );
}

TEST_F( AggregatorSmTest, EqualRangesShareASetAndTheSecondKeyIsUsedUp ) {
  rule( *edge, 10, "a", "dscp 46 10-20" );
  rule( *edge, 20, "b", "dscp 10-20 46" );
  TraceLines const traces( 6 );
  EXPECT_EQ( kSuccess, kick() );
  EXPECT_THAT( lines(), ElementsAre( "acl edge ipv4", "dscp 1: 10-20 46-46", "edge 10: a", "edge 20: b",
                                     "edge/a: dscp 1", "edge/b: dscp 1", "uses 1: 2" ) );
  EXPECT_EQ( 2U, keys->genKey() );
  EXPECT_THAT( traces.lines,
               ElementsAre( EndsWith( ":: Creating rangeSet, key:1" ), EndsWith( "::Key: 1, type: dscp 10-20 46-46" ),
                            EndsWith( ":: Reusing rangeSet, key:1" ) ) );
}

TEST_F( AggregatorSmTest, ASharedListIsOneSetOfEachSideAndEqualListsAreTwo ) {
  auto const list = prefixes( "10.0.0.0/8" );
  auto const filter = rule( *edge, 10, "a", "" )->ruleFilterIs();
  filter->sourceIs( list );
  filter->destinationIs( list );
  rule( *edge, 20, "b", "destination 10.0.0.0/8" )->ruleFilterIs()->sourceIs( list );
  TraceLines const traces( 6 );
  kick();
  EXPECT_THAT( lines(), IsSupersetOf( { "ipv4 source 1: 10.0.0.0/8", "ipv4 destination 2: 10.0.0.0/8",
                                        "ipv4 destination 3: 10.0.0.0/8", "uses 1: 2", "uses 2: 1", "uses 3: 1" } ) );
  EXPECT_THAT( traces.lines, Contains( AllOf( HasSubstr( "::Using : prefixXformKey:" ), HasSubstr( "'af': ipv4" ),
                                              EndsWith( ", set key:1" ) ) ) );
}

TEST_F( AggregatorSmTest, ASetGoesWithTheLastRuleThatUsesIt ) {
  rule( *edge, 10, "gone", "source 10.0.0.0/8; ttl 1" );
  rule( *edge, 20, "stays", "ttl 2" );
  kick();
  edge->ruleByNameDel( "gone" );
  edge->ruleByIdDel( AceIndex( 10 ) );
  TraceLines const traces( 6 );
  EXPECT_EQ( kSuccess, kick() );
  EXPECT_THAT( lines(), ElementsAre( "acl edge ipv4", "edge 20: stays", ContainsRegex( "edge/stays: ttl ." ),
                                     ContainsRegex( "ttl .: 2-2" ), ContainsRegex( "uses .: 1" ) ) );
  EXPECT_THAT(
      traces.lines,
      AllOf(
          Contains( AllOf( StartsWith( "PrefixDeduper(af=ipv4, src=1, chipId:" ), HasSubstr( ") Cleaning up key:" ) ) ),
          Contains( AllOf( StartsWith( "RangeDeduper(type=ttl, chipId:" ), HasSubstr( "): Cleaning up key:" ) ) ) ) );
}

TEST_F( AggregatorSmTest, WhatACombinationMatchesDoesNotUseItsTwoSets ) {
  for ( auto const type : { ComboLabelSetType::srcDstL4Port, ComboLabelSetType::ipv6SrcDstPrefix } )
    capability->comboEncodingAttrIs( type, EncodingAttr( 8, EncodedLabel( 0 ) ) );
  rule( *edge, 10, "both", "source 10.0.0.0/8; destination 11.0.0.0/8; sport 1; dport 2" );
  kick();
  EXPECT_THAT( lines(),
               IsSupersetOf( { "sport 3: 1-1", "dport 4: 2-2", "uses 1: 1", "uses 2: 1", "uses 3: 0", "uses 4: 0" } ) );
  rule( *edge, 20, "one", "dport 2" );
  rule( *policy->aclIs( "edge6" ), 10, "pair", "source 2001:db8::/32; destination ::/0" );
  kick();
  EXPECT_THAT( lines(), IsSupersetOf( { "uses 1: 1", "uses 3: 0", "uses 4: 1" } ) );
  EXPECT_EQ( 0U, status->genSetUsageInfo()
                     ->refCount()
                     .find( status->aclGenSetIpRuleList().find( "edge6" )->genSetIpRule().find( "pair" )->source() )
                     ->value );
}

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

TEST_F( AggregatorSmTest, AnAclHasAListAlsoWithoutRules ) {
  EXPECT_EQ( kSuccess, kick() );
  EXPECT_THAT( lines(), ElementsAre( "acl edge ipv4" ) );
  policy->aclDelAll();
  EXPECT_EQ( kSuccess, kick() );
  EXPECT_THAT( lines(), IsEmpty() );
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

TEST_F( AggregatorSmTest, AfterAFailureAnEmptyPolicyIsEmpty ) {
  auto const web = rule( *edge, 10, "web", "source 10.0.0.0/8; dport 80" );
  kick();
  match( *web->ruleFilterIs(), "dport 2-1" );
  TraceLines const quiet( 0 );
  EXPECT_EQ( kFailed, kick() );
  policy->aclDelAll();
  EXPECT_EQ( kSkipped, kick() );
  EXPECT_THAT( lines(), IsEmpty() );
}

TEST_F( AggregatorSmTest, AFailureIssuesNoKeyTwice ) {
  rule( *edge, 10, "web", "source 10.0.0.0/8" );
  auto const bad = rule( *edge, 20, "bad", "dport 2-1" );
  TraceLines const quiet( 0 );
  kick();
  std::uint64_t const used = keys->genKey();
  bad->ruleFilterDel();
  bad->ruleFilterIs();
  kick();
  EXPECT_EQ( used + 1, keys->genKey() );
  EXPECT_THAT( lines(), Contains( "edge/web: source " + std::to_string( used + 1 ) ) );
}

TEST_F( AggregatorSmTest, ACollectorIsMadeOnceWithOneSetOfParameters ) {
  Brae::ChipId const chip( 3 ), other( 4 );
  PrefixXformKey const space( Vell::AddressFamily::ipv4, true );
  auto const info = Kiv::make<PrefixAggregatorInfo>( space );
  auto const rangeInfo = Kiv::make<RangeSplitAggregatorInfo>( RangeSetType::ttl );
  auto const collector = stage->prefixDeduperIs( space, info, chip );
  EXPECT_EQ( collector, stage->prefixDeduperIs( space, info, chip ) );
  stage->rangeDeduperIs( RangeSetType::ttl, rangeInfo, chip );
  auto const refusal = []( std::string const& attribute, auto const& have, auto const& want ) {
    return testing::ThrowsMessage<Kiv::NameInUseException>( testing::StrEq(
        "Reinstantiating the pointer interface where constructor parameter attribute " + attribute +
        " has a different value of " + std::string( Kiv::valueToStrep( want ).view() ) + " than the current value of " +
        std::string( Kiv::valueToStrep( have ).view() ) + " not allowed" ) );
  };
  auto const otherInfo = Kiv::make<PrefixAggregatorInfo>( space );
  auto const otherRangeInfo = Kiv::make<RangeSplitAggregatorInfo>( RangeSetType::ttl );
  EXPECT_THAT( [&] { stage->prefixDeduperIs( space, info, other ); }, refusal( "_chipId", chip, other ) );
  EXPECT_THAT( [&] { stage->prefixDeduperIs( space, otherInfo, chip ); },
               refusal( "_prefixAggInfo", info, otherInfo ) );
  EXPECT_THAT( [&] { stage->rangeDeduperIs( RangeSetType::ttl, rangeInfo, other ); },
               refusal( "_chipId", chip, other ) );
  EXPECT_THAT( [&] { stage->rangeDeduperIs( RangeSetType::ttl, otherRangeInfo, chip ); },
               refusal( "_rangeSplitAggInfo", rangeInfo, otherRangeInfo ) );
}

TEST_F( AggregatorSmTest, DumpsShowRulesBeforeAndSetsAfter ) {
  policy->aclIs( "void" );
  rule( *edge, 10, "web", "source 10.0.0.0/8 !10.1.0.0/16; dport 80; ttl 1-2" );
  TraceLines const dump( 9 );
  kick();
  EXPECT_THAT( dump.lines,
               ElementsAre( "Acl Name edge", "...Rule Name web", "...source Prefixes 10.0.0.0/8 10.1.0.0/16 except",
                            "Acl Name void", "Acl Name edge", "...Rule Name web", "...destination Port Ranges 80-80",
                            "...ttl Ranges 1-2", "Acl Name void", "*** Dump (ipv4, source) PrefixSets ***",
                            "key 1 10.0.0.0/8 10.1.0.0/16 except", "*** Dump 2 RangeSets ***",
                            "Key: 2, type: dstPort 80-80", "Key: 3, type: ttl 1-2" ) );
}

TEST_F( AggregatorSmTest, DumpsCutLongLists ) {
  auto const filter = rule( *edge, 10, "long", "" )->ruleFilterIs();
  for ( std::uint32_t i = 0; i != 100; ++i ) filter->sourceIs()->addrIs( Vell::IpGenPrefix( i << 16, 16 ) );
  TraceLines const dump( 9 );
  kick();
  EXPECT_EQ( 2, std::count_if( dump.lines.begin(), dump.lines.end(),
                               []( std::string const& line ) { return line.ends_with( " ..." ); } ) );
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
