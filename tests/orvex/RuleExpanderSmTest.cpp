#include "Orvex/OrvexRuleExpanderSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvex/TestExpander.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::Expander;
using Test::filterText;
using Test::prefix;
using Test::ternary;
using Test::TraceLines;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using Vell::AddressFamily;

constexpr auto kSuccess = StageStatusType::finishedSuccess;
constexpr auto kFailed = StageStatusType::finishedFailed;

/// The entries of a rule that stands alone.
std::string expanded( std::string const& lists, std::string const& rule ) {
  Expander expander;
  expander.lists( lists );
  expander.rule( "a", 10, rule );
  EXPECT_EQ( kSuccess, expander.kick() );
  return expander.entries( "a", 10 );
}

// One rule

TEST( RuleExpander, ARuleIsTheCrossProductOfItsLists ) {
  std::string const lists = "source 1: 01** 1000; destination 1: 0000; destination 2: 0011 11**; proto 1: 0110 1001";
  EXPECT_EQ( "any", expanded( lists, "" ) );
  EXPECT_EQ( "destination 0000", expanded( lists, "destination 1" ) );
  EXPECT_EQ( "source 01** destination 0000 | source 1000 destination 0000",
             expanded( lists, "source 1 destination 1" ) );
  EXPECT_EQ(
      "destination 0011 proto 0110 | destination 0011 proto 1001 | "
      "destination 11** proto 0110 | destination 11** proto 1001",
      expanded( lists, "destination 2 proto 1" ) );
}

TEST( RuleExpander, PortsIcmpTypesAndFlagsDemandTheHeadFragmentToo ) {
  std::vector<std::pair<std::string, std::string>> const fields = {
      { "source 1", "source 01*0" },
      { "destination 1", "destination 01*0" },
      { "sport 1", "sport 01*0 headFragment 1" },
      { "dport 1", "dport 01*0 headFragment 1" },
      { "icmp 1", "icmpType 01*0 headFragment 1" },
      { "proto 1", "proto 01*0" },
      { "length 1", "length 01*0" },
      { "fragment 1", "fragment 01*0" },
      { "dscp 1", "dscp 01*0" },
      { "ttl 1", "ttl 01*0" },
      { "init", "headFragment 1 tcpFlag ***0**1*" },
      { "established", "headFragment 1 tcpFlag *****1** | headFragment 1 tcpFlag ***1****" } };
  for ( auto const& [rule, want] : fields )
    EXPECT_EQ( want, expanded( rule == "init" || rule == "established" ? "" : rule + ": 01*0", rule ) );
}

TEST( RuleExpander, EstablishedAndInitTogetherMeanInit ) {
  EXPECT_EQ( "source 0001 headFragment 1 tcpFlag ***0**1* | source 0010 headFragment 1 tcpFlag ***0**1*",
             expanded( "source 1: 0001 0010", "source 1 established init" ) );
}

TEST( RuleExpander, AnEntryThatMatchesEveryLabelOfAPortStillDemandsTheHeadFragment ) {
  EXPECT_EQ( "headFragment 1", expanded( "dport 1: ****", "dport 1" ) );
}

TEST( RuleExpander, AllFieldsTogetherStayInTheirOrder ) {
  EXPECT_EQ(
      "source 0001 destination 0010 sport 0011 dport 0100 icmpType 0101 proto 0110 length 0111 fragment 1000 "
      "dscp 1001 ttl 1010 headFragment 1 tcpFlag ***0**1*",
      expanded( "source 1: 0001; destination 2: 0010; sport 3: 0011; dport 4: 0100; icmp 5: 0101; proto 6: 0110; "
                "length 7: 0111; fragment 8: 1000; dscp 9: 1001; ttl 10: 1010",
                "source 1 destination 2 sport 3 dport 4 icmp 5 proto 6 length 7 fragment 8 dscp 9 ttl 10 init" ) );
}

// Combinations

TEST( RuleExpander, ACombinationTakesThePlaceOfBothLists ) {
  for ( auto const af : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
    SCOPED_TRACE( Kiv::stringValue( af ) );
    bool const four = af == AddressFamily::ipv4;
    Expander expander;
    expander.acl( "a", af );
    expander.lists( std::string( four ? "ipv4SrcDstPrefix 7" : "ipv6SrcDstPrefix 7" ) +
                    ": 0101 1***; srcDstL4Port 7: 0011" );
    expander.combine( four ? ComboLabelSetType::ipv4SrcDstPrefix : ComboLabelSetType::ipv6SrcDstPrefix, 1, 2, 7 );
    expander.combine( ComboLabelSetType::srcDstL4Port, 3, 4, 7 );
    expander.rule( "a", 10, "source 1 destination 2 sport 3 dport 4" );  // none of them has a list of its own
    EXPECT_EQ( kSuccess, expander.kick() );
    EXPECT_EQ( "prefixCombo 0101 portCombo 0011 headFragment 1 | prefixCombo 1*** portCombo 0011 headFragment 1",
               expander.entries( "a", 10 ) );
  }
}

TEST( RuleExpander, APairThatIsNotCombinedTakesTheListsOfItsOwnFamily ) {
  Expander expander;
  expander.lists(
      "source 1: 0001; destination 1: 0010; source6 1: 0100; destination6 1: 1000; sport 1: 0001; dport 1: 1***" );
  // Combinations of other pairs, and of the other family.
  expander.combine( ComboLabelSetType::ipv4SrcDstPrefix, 1, 2, 7 );
  expander.combine( ComboLabelSetType::ipv4SrcDstPrefix, 2, 1, 7 );
  expander.combine( ComboLabelSetType::srcDstL4Port, 2, 1, 7 );
  expander.acl( "six", AddressFamily::ipv6 );
  for ( std::string const acl : { "four", "six" } ) expander.rule( acl, 10, "source 1 destination 1 sport 1 dport 1" );
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_EQ( "source 0001 destination 0010 sport 0001 dport 1*** headFragment 1", expander.entries( "four", 10 ) );
  EXPECT_EQ( "source 0100 destination 1000 sport 0001 dport 1*** headFragment 1", expander.entries( "six", 10 ) );
  EXPECT_TRUE( expander.output().pdAclHas( PDAclKey( AddressFamily::ipv6, "six" ) ) );
}

TEST( RuleExpander, ASideThatIsLeftOutIsNeverCombined ) {
  Expander expander;
  expander.lists(
      "source 1: 0001; destination 1: 0010; sport 1: 0100; dport 1: 1000; ipv4SrcDstPrefix 7: 1111; "
      "srcDstL4Port 7: 1111; source 0: 1010; sport 0: 1010" );
  for ( auto const type : { ComboLabelSetType::ipv4SrcDstPrefix, ComboLabelSetType::srcDstL4Port } )
    for ( auto const& [src, dst] : { std::pair( 0U, 0U ), std::pair( 0U, 1U ), std::pair( 1U, 0U ) } )
      expander.combine( type, src, dst, 7 );
  expander.rule( "a", 1, "source 0 destination 0 sport 0 dport 0" );
  expander.rule( "a", 2, "source 1 dport 1" );
  expander.rule( "a", 3, "destination 1 sport 1" );
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_EQ( "any", expander.entries( "a", 1 ) );
  EXPECT_EQ( "source 0001 dport 1000 headFragment 1", expander.entries( "a", 2 ) );
  EXPECT_EQ( "destination 0010 sport 0100 headFragment 1", expander.entries( "a", 3 ) );
}

// Several rules

TEST( RuleExpander, AnEntryStaysWithTheFirstRuleOfItsAclInAscendingIndex ) {
  Expander expander;
  expander.lists( "source 1: 0001 0010; source 2: 0010 0100; source 3: 0100 0001" );
  for ( std::string const acl : { "a", "b" } ) {
    expander.rule( acl, 30, "source 3" );
    expander.rule( acl, 10, "source 1" );
    expander.rule( acl, 20, "source 2" );
  }
  EXPECT_EQ( kSuccess, expander.kick() );
  for ( std::string const acl : { "a", "b" } ) {
    EXPECT_EQ( "source 0001 | source 0010", expander.entries( acl, 10 ) );
    EXPECT_EQ( "source 0100", expander.entries( acl, 20 ) );
    EXPECT_EQ( "", expander.entries( acl, 30 ) );
  }
  EXPECT_EQ( 6U, expander.output().numFilters() );
}

TEST( RuleExpander, AnAclWithoutRulesHasAnEmptyCollection ) {
  Expander expander;
  expander.acl( "none", AddressFamily::ipv6 );
  EXPECT_EQ( kSuccess, expander.kick() );
  ASSERT_TRUE( expander.output().pdAclHas( PDAclKey( AddressFamily::ipv6, "none" ) ) );
  EXPECT_TRUE( expander.rulesOf( "none" )->rule().empty() );
}

TEST( RuleExpander, EachRuleDoesItsOwnActionWithOrWithoutEntries ) {
  Expander expander;
  expander.lists( "source 1:" );
  OrvexActionValue log;
  log.logEnabled = true;
  expander.rule( "a", 1, "" )->actionIs( log );
  expander.rule( "a", 2, "" );
  expander.rule( "a", 3, "source 1" )->actionIs( log );
  EXPECT_EQ( kSuccess, expander.kick() );
  std::vector<bool> logs;
  for ( auto const& [index, rule] : expander.rulesOf( "a" )->rule() ) logs.push_back( rule->action() == log );
  EXPECT_THAT( logs, ElementsAre( true, false, true ) );
}

TEST( RuleExpander, EveryKickBuildsAllAnew ) {
  Expander expander;
  expander.lists( "source 1: 0001; source 2: 0010" );
  expander.rule( "old", 10, "source 1" );
  expander.rule( "kept", 10, "source 2" );
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_EQ( "source 0010", expander.entries( "kept", 10 ) );
  expander.aggregated->aclGenSetIpRuleListDelAll();
  expander.rule( "kept", 20, "source 1" );
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_FALSE( expander.rulesOf( "old" ) );
  EXPECT_EQ( "none", expander.entries( "kept", 10 ) );
  EXPECT_EQ( "source 0001", expander.entries( "kept", 20 ) );
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

// Traces

TEST( RuleExpander, TracesWhatItCombinesDropsAndMakes ) {
  Expander expander;
  expander.lists( "srcDstL4Port 7: 0001; proto 1: 0001 0010" );
  expander.combine( ComboLabelSetType::srcDstL4Port, 3, 4, 7 );
  expander.rule( "edge", 10, "sport 3 dport 4 proto 1" );
  expander.rule( "edge", 20, "sport 3 dport 4 proto 1" );
  TraceLines const details( 6 );
  expander.kick();
  auto const dropped = HasSubstr(
      " Deduping filter with key: Value('Orvex::PDAclKey', ** {'af': ipv4, 'aclName': 'edge'}), "
      "filter: Value('Orvex::PDAclFilter', ** {'source': " );
  EXPECT_THAT( details.lines, ElementsAre( HasSubstr( " comboGenSetKey:7" ), HasSubstr( " comboGenSetKey:7" ), dropped,
                                           dropped, HasSubstr( " policy: edge resulted in 2 tcam entries" ) ) );
}

TEST( RuleExpander, DumpsItsInputAndItsOutput ) {
  Expander expander;
  expander.lists( "source 1: 0001" );
  expander.rule( "edge", 10, "source 1" );
  TraceLines const dump( 9 );
  expander.kick();
  auto const at = [&]( std::string const& text ) {
    auto const found = std::find_if( dump.lines.begin(), dump.lines.end(),
                                     [&]( std::string const& line ) { return line.find( text ) != line.npos; } );
    EXPECT_NE( dump.lines.end(), found ) << text;
    return found;
  };
  std::vector<std::string> const want = { "*** Aggregator Status ***",
                                          "*** ComboLabel Info ***",
                                          "*** Range Encoder Status ***",
                                          "*** Prefix Encoder Status ***",
                                          "*** Combo Label Encoder Status ***",
                                          "*** Rule Expander Status ***",
                                          "aclName edge",
                                          "..aceIndex:10" };
  for ( std::size_t i = 1; i != want.size(); ++i ) EXPECT_LT( at( want[i - 1] ), at( want[i] ) ) << want[i];
}

// The queue

TEST( RuleExpander, TheQueueReplacesEachEntryInTurn ) {
  Expander expander;
  auto& machine = *expander.machine;
  PDAclFilter first, second;
  first.source = ternary( "0001" );
  second.source = ternary( "0010" );
  machine.ruleFilterEnq( second );
  machine.ruleFilterEnq( first );
  Kiv::SortedSet<EncodedLabelWithMask> list( { ternary( "1000" ), ternary( "0100" ) } );
  machine.buildTcamEntry( TcamFieldType::tcamFieldTypeProto, list );
  std::vector<std::string> members;
  std::vector<std::uint32_t> indices;
  for ( auto const [index, filter] : machine.ruleFilter() ) {
    members.push_back( filterText( filter ) );
    indices.push_back( index );
  }
  EXPECT_THAT( members, ElementsAre( "source 0010 proto 0100", "source 0010 proto 1000", "source 0001 proto 0100",
                                     "source 0001 proto 1000" ) );
  EXPECT_THAT( indices, ElementsAre( 2, 3, 4, 5 ) );
  machine.buildTcamEntry( TcamFieldType::tcamFieldTypeTtl, {} );
  EXPECT_EQ( 0U, machine.ruleFilters() );
}

TEST( RuleExpander, EveryRuleStartsWithAnEmptyQueueAndAllIndices ) {
  Expander expander;
  expander.lists( "source 1: 0001 0010" );
  for ( std::uint32_t index = 1; index <= 20; ++index ) expander.rule( "a", index, "source 1" );
  expander.rule( "a", 21, "" );
  expander.machine->ruleFilterEnq( PDAclFilter() );  // left over
  EXPECT_EQ( kSuccess, expander.kick() );
  EXPECT_EQ( "source 0001 | source 0010", expander.entries( "a", 1 ) );
  EXPECT_EQ( 0U, expander.machine->ruleFilters() );
  expander.machine->ruleFilterEnq( PDAclFilter() );
  EXPECT_EQ( 1U, expander.machine->ruleFilter().begin().index() );  // 0 was the last rule's only entry
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

TEST( RuleExpanderDeathTest, NobodyElseMayFillTheQueueDuringAKick ) {
  Expander expander;
  expander.lists( "srcDstL4Port 7: 0001" );
  expander.combine( ComboLabelSetType::srcDstL4Port, 3, 4, 7 );
  expander.rule( "edge", 10, "sport 3 dport 4" );
  Kiv::Trace::levelIs( 6 );
  Kiv::Trace::sinkIs( [&]( Kiv::TraceLine const& ) { expander.machine->ruleFilterEnq( PDAclFilter() ); } );
  EXPECT_DEATH( expander.kick(), "ruleFilters\\(\\) == 0" );
  Kiv::Trace::sinkIs( {} );
  Kiv::Trace::levelIs( 0 );
}

}  // namespace
}  // namespace Orvex
