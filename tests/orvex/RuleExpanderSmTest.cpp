#include "Orvex/OrvexRuleExpanderSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvex/TestExpander.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::Expander;
using Test::prefix;
using Test::ternary;
using Test::TraceLines;
using testing::ElementsAre;
using testing::HasSubstr;
using Vell::AddressFamily;

constexpr auto kSuccess = StageStatusType::finishedSuccess;
constexpr auto kFailed = StageStatusType::finishedFailed;

TEST( RuleExpander, AKickDropsTheAclsThatHaveGone ) {
  Expander expander;
  expander.rule( "old", 10, "" );
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_EQ( "any", expander.entries( "old", 10 ) );
  expander.aggregated->aclGenSetIpRuleListDelAll();
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_TRUE( expander.output().pdAcl().empty() );
}

// Sets without lists

TEST( RuleExpander, ASetThatIsTrulyEmptyMatchesNothing ) {
  Expander expander;
  expander.lists( "source 2: 0001; destination 2: 0001; sport 1: 0001; ipv4SrcDstPrefix 6:" );
  for ( bool const src : { true, false } )
    expander.aggregated->prefixInfoIs( PrefixXformKey( AddressFamily::ipv4, src ) )
        ->prefixSetCollIs( GenSetKey( 1 ) )
        ->exceptPrefixIs( prefix( "10.0.0.0/8" ) );
  expander.combine( ComboLabelSetType::ipv4SrcDstPrefix, 3, 4, 5 )
      ->comboLabelSetCollIs( GenSetKey( 5 ), ComboLabelSetType::ipv4SrcDstPrefix );
  expander.combine( ComboLabelSetType::ipv4SrcDstPrefix, 3, 5, 6 );
  std::vector<std::string> const rules = { "source 1", "source 1 destination 2", "source 2 destination 1 sport 1 init",
                                           "source 3 destination 4", "source 3 destination 5 established" };
  for ( std::uint32_t index = 1; index <= rules.size(); ++index ) expander.rule( "a", index, rules[index - 1] );
  expander.rule( "a", 9, "source 2" );
  EXPECT_EQ( kSuccess, expander.kick() );
  for ( std::uint32_t index = 1; index <= rules.size(); ++index ) EXPECT_EQ( "", expander.entries( "a", index ) );
  EXPECT_EQ( "source 0001", expander.entries( "a", 9 ) );
}

/// Gives the fields of rule 20 their sets, which are not empty, and every list but the one that is left out.
void fillAllBut( Expander& expander, std::string const& leftOut ) {
  for ( std::string const list : { "source 1", "destination 2", "sport 3", "dport 4", "icmp 5", "proto 6", "length 7",
                                   "fragment 8", "dscp 9", "ttl 10" } )
    if ( list != leftOut ) expander.lists( list + ": 0001" );
  for ( std::uint64_t const key : { 1U, 2U } )
    expander.aggregated->prefixInfoIs( PrefixXformKey( AddressFamily::ipv4, key == 1 ) )
        ->prefixSetCollIs( GenSetKey( key ) )
        ->prefixIs( prefix( "10.0.0.0/8" ) );
  expander.rule( "before", 1, "" );
  expander.rule( "edge", 10, "" );
  expander.rule( "edge", 20,
                 "source 1 destination 2 sport 3 dport 4 icmp 5 proto 6 length 7 fragment 8 dscp 9 ttl 10" );
}

TEST( RuleExpander, ASetThatIsNotEmptyAndHasNoListFailsTheKickByName ) {
  std::vector<std::pair<std::string, std::string>> const fields = {
      { "source 1", "source: prefix set 1" }, { "destination 2", "destination: prefix set 2" },
      { "sport 3", "srcPort: range set 3" },  { "dport 4", "dstPort: range set 4" },
      { "icmp 5", "icmp: range set 5" },      { "proto 6", "proto: range set 6" },
      { "length 7", "length: range set 7" },  { "fragment 8", "fragment: range set 8" },
      { "dscp 9", "dscp: range set 9" },      { "ttl 10", "ttl: range set 10" } };
  for ( auto const& [missing, name] : fields ) {
    SCOPED_TRACE( missing );
    Expander expander;
    fillAllBut( expander, missing );
    TraceLines const failures( 0 );
    EXPECT_EQ( kFailed, expander.kick() );
    EXPECT_THAT( failures.lines,
                 ElementsAre( HasSubstr( "ACL edge, rule edge20: " + name + " is not empty and has no" ) ) );
    EXPECT_TRUE( expander.output().pdAcl().empty() );

    expander.lists( missing + ": 0010" );
    EXPECT_EQ( kSuccess, expander.kick() );
    EXPECT_THAT( expander.entries( "edge", 20 ), HasSubstr( "0010" ) );
  }
}

TEST( RuleExpander, ACombinationSetThatIsNotEmptyAndHasNoListFailsTheKickByName ) {
  Expander expander;
  fillAllBut( expander, "" );
  expander.combine( ComboLabelSetType::srcDstL4Port, 3, 4, 12 )
      ->comboLabelSetCollIs( GenSetKey( 12 ), ComboLabelSetType::srcDstL4Port )
      ->comboLabelIs( { PlainLabel( 1 ), PlainLabel( 1 ) } );
  TraceLines const failures( 0 );
  EXPECT_EQ( kFailed, expander.kick() );
  EXPECT_THAT( failures.lines, ElementsAre( HasSubstr( "ACL edge, rule edge20: srcDstL4Port: combination set 12" ) ) );
  EXPECT_TRUE( expander.output().pdAcl().empty() );
}

// The limit

TEST( RuleExpander, EntriesOfAllAclsMayReachTheLimitAndNotPassIt ) {
  Expander expander;
  expander.lists( "source 1: 0001 0010; proto 1: 0001 0010 0100" );
  for ( std::string const acl : { "a", "b" } ) expander.rule( acl, 10, "source 1 proto 1" );
  TraceLines const failures( 0 );
  for ( std::uint64_t const limit : { 0U, 1U, 5U, 6U, 11U, 12U, 12U, 13U } ) {
    bool const enough = limit == 0 || limit >= 12;
    expander.config->maxAclEntriesIs( limit );
    EXPECT_EQ( enough ? kSuccess : kFailed, expander.kick() ) << limit;
    EXPECT_EQ( enough ? 12U : 0U, expander.output().numFilters() ) << limit;
  }
}

TEST( RuleExpander, EntriesThatAnEarlierRuleHasDoNotCountTwice ) {
  Expander expander;
  expander.lists( "source 1: 0001 0010; source 2: 0010" );
  for ( std::uint32_t index = 1; index <= 9; ++index ) expander.rule( "a", index, index < 8 ? "source 1" : "source 2" );
  expander.config->maxAclEntriesIs( 3 );
  TraceLines const failures( 0 );
  EXPECT_EQ( kFailed, expander.kick() );
  EXPECT_THAT( failures.lines, ElementsAre( HasSubstr( "ACL a, rule a2: the rule takes 2 entries beside 2 of" ) ) );
  expander.config->maxAclEntriesIs( 4 );
  EXPECT_EQ( kSuccess, expander.kick() );
}

/// A list of that many entries.
Kiv::Ptr<TernaryEntries> entriesOf( std::uint32_t count ) {
  std::vector<EncodedLabelWithMask> all;
  for ( std::uint32_t label = 0; label != count; ++label )
    all.emplace_back( EncodedLabel( static_cast<std::uint16_t>( label ) ), LabelMask( 0xFFFF ) );
  auto made = Kiv::make<TernaryEntries>();
  made->set = Kiv::SortedSet<EncodedLabelWithMask>( std::move( all ) );
  return made;
}

TEST( RuleExpander, TheLimitIsCheckedBeforeARuleIsExpandedHoweverLargeTheProduct ) {
  std::vector<std::string> const fields = { "source", "destination", "sport",    "dport", "icmp",
                                            "proto",  "length",      "fragment", "dscp",  "ttl" };
  struct Case {
    std::size_t fields;
    std::uint32_t entries;
    std::uint64_t limit;
    std::string figure;
  };
  std::string const beyond = "more than 18446744073709551615 entries";
  std::vector<Case> const cases = { { 2, 65536, 4294967295, "4294967296 entries" },
                                    { 3, 65536, 1, "281474976710656 entries" },
                                    { 4, 65536, ~std::uint64_t{ 0 }, beyond },     // 2^64
                                    { 8, 65536, 1, beyond },                       // 2^128
                                    { 10, 8192, ~std::uint64_t{ 0 }, beyond },     // 2^130
                                    { 10, 65536, ~std::uint64_t{ 0 }, beyond } };  // 2^160
  for ( Case const& one : cases ) {
    Expander expander;
    auto const entries = entriesOf( one.entries );
    std::string rule;
    for ( std::size_t i = 0; i != one.fields; ++i ) {
      expander.listIs( fields[i], 1 )->entriesAre( entries );
      rule += fields[i] + " 1 ";
    }
    expander.rule( "edge", 10, rule );
    expander.config->maxAclEntriesIs( one.limit );
    TraceLines const failures( 0 );
    EXPECT_EQ( kFailed, expander.kick() );
    EXPECT_THAT( failures.lines, ElementsAre( HasSubstr( "ACL edge, rule edge10: the rule takes " + one.figure ) ) );
  }
}

TEST( RuleExpander, ARuleThatMatchesNothingIsWithinEveryLimit ) {
  Expander expander;
  for ( std::string const field : { "source", "destination", "sport", "dport", "icmp" } )
    expander.listIs( field, 1 )->entriesAre( entriesOf( 65536 ) );
  expander.lists( "ttl 1:" );
  expander.rule( "a", 10, "source 1 destination 1 sport 1 dport 1 icmp 1 ttl 1" );
  expander.config->maxAclEntriesIs( 1 );
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_EQ( "", expander.entries( "a", 10 ) );
}

TEST( RuleExpanderDeathTest, BrokenInvariantsStopTheProcess ) {
  Expander expander;
  Kiv::SortedSet<EncodedLabelWithMask> const list( { ternary( "0001" ) } );
  EXPECT_DEATH( expander.machine->buildTcamEntry( TcamFieldType::tcamFieldTypeSrcIp, list ), "ruleFilters\\(\\)" );
  expander.machine->ruleFilterEnq( PDAclFilter() );
  for ( auto const type : { TcamFieldType::tcamFieldTypeNone, static_cast<TcamFieldType>( 15 ) } )
    EXPECT_DEATH( expander.machine->buildTcamEntry( type, list ), "false && \"Invalid tcam field\"" );
  expander.acl( "a", static_cast<AddressFamily>( 2 ) );
  EXPECT_DEATH( expander.kick(), "af == Vell::ipv4\\(\\) \\|\\| af == Vell::ipv6\\(\\)" );
}

}  // namespace
}  // namespace Orvex
