#include "verify/Prover.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "TableFaults.h"
#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "host/TestChips.h"
#include "pipeline/Compile.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"
#include "verify/StatedDifferences.h"

/// The prover on tables that the compiler made.

namespace Orvex::Host::Test {

namespace {
using Verify::Proof;

/// The policy's own table, to be broken.
TableCopy tableOf( Policy const& policy ) {
  SoftwareChip chip( Brae::ChipId( 7 ), plainChip() );
  auto const result = compile( policy, chip );
  EXPECT_TRUE( result.snapshot ) << result.message;
  return TableCopy( *result.snapshot, shapeOf( chip.profile() ), defaultActionsOf( policy ) );
}

Policy policyOf( std::vector<Acl> acls ) { return normalised( Policy{ std::move( acls ) } ); }

Proof proofOf( Policy const& policy, TableCopy const& table, Verify::Budget const& budget = {} ) {
  return prove( policy, *table.data, table.shape, table.defaults, budget );
}

Kiv::Ptr<PDAclRule> ruleIn( TableCopy const& table, std::uint32_t index ) {
  auto const acl = table.acls->pdAcl().find( PDAclKey( Vell::AddressFamily::ipv4, "ipv4/edge" ) );
  return acl->ruleIs( AceIndex( index ) );
}

std::string whereOf( Proof const& proof ) {
  if ( !proof.witness ) return std::string( Kiv::stringValue( proof.outcome ) ) + ": " + proof.reason;
  Verify::Witness const& witness = *proof.witness;
  return ( witness.rule ? std::to_string( *witness.rule ) : "none" ) + " " + witness.field;
}

Policy edgePolicy() {
  return policyOf( { acl(
      "ipv4 edge", { rule( 10, "source 10.0.0.0/8 !10.1.0.0/16; dport 80 443-445" ),
                     rule( 20, "source 10.0.0.0/8; proto 6 17; established" ), rule( 30, "fragment 1-8191" ) } ) } );
}

}  // namespace

TEST( Prover, TheWitnessNamesTheRuleAndTheFieldThatDiffer ) {
  struct Case {
    char const* want;
    std::function<void( TableCopy& )> spoil;
  };
  auto const firstEntryOf = []( TableCopy const& table, std::uint32_t index ) {
    PDAclFilter const entry = *ruleIn( table, index )->filter().begin();
    ruleIn( table, index )->filterDel( entry );
    return entry;
  };
  std::vector<Case> const cases = {
      { "10 dport", [&]( TableCopy& table ) { firstEntryOf( table, 10 ); } },
      { "10 dport",
        [&]( TableCopy& table ) {
          PDAclFilter entry = firstEntryOf( table, 10 );
          entry.dport.mask = LabelMask( 0xFF00 );
          entry.dport.label = EncodedLabel();
          ruleIn( table, 10 )->filterIs( entry );
        } },
      { "30 fragment",
        [&]( TableCopy& table ) {
          PDAclFilter entry;
          entry.headFragment = { EncodedLabel( 1 ), LabelMask( 1 ) };
          ruleIn( table, 30 )->filterIs( std::vector{ entry } );
        } },
      { "20 entries", []( TableCopy& table ) { ruleIn( table, 20 )->filterDelAll(); } },
      { "25 entries", []( TableCopy& table ) { ruleIn( table, 25 )->filterIs( PDAclFilter() ); } },
      { "20 action.tc",
        []( TableCopy& table ) {
          OrvexActionValue action = ruleIn( table, 20 )->action();
          action.tc.valueIs( 3 );
          ruleIn( table, 20 )->actionIs( action );
        } },
      { "none default", []( TableCopy& table ) { table.defaults.begin()->second = DefaultAction::permit; } },
      { "different: the policy has no ipv6 ACL ipv6/other",
        []( TableCopy& table ) { table.acls->pdAclIs( PDAclKey( Vell::AddressFamily::ipv6, "ipv6/other" ) ); } },
  };
  Policy const policy = edgePolicy();
  ASSERT_EQ( whereOf( proofOf( policy, tableOf( policy ) ) ), "equal: " );
  for ( Case const& one : cases ) {
    TableCopy table = tableOf( policy );
    one.spoil( table );
    EXPECT_EQ( whereOf( proofOf( policy, table ) ), one.want );
  }
}

/// Rule 20 is hidden and the default out of reach, so that no packet shows what is wrong with them.
TEST( Prover, WhatNoPacketShowsIsADifferenceOfWhatIsStated ) {
  Policy const policy = policyOf( { acl( "ipv4 edge", { rule( 10, "" ), rule( 20, "dport 80" ) } ) } );
  auto const changed = [&]( auto const& change ) {
    TableCopy table = tableOf( policy );
    OrvexActionValue action = ruleIn( table, 20 )->action();
    change( action, table );
    ruleIn( table, 20 )->actionIs( action );
    EXPECT_EQ( whereOf( proofOf( policy, table ) ), "equal: " );
    auto const differences = Verify::statedDifferences( policy, *table.data, table.defaults );
    EXPECT_LE( differences.size(), 1U );
    return differences.empty() ? "" : differences.front();
  };
  EXPECT_EQ( changed( []( auto&, auto& ) {} ), "" );
  auto const rule20 = []( std::string const& text ) { return "ipv4 ACL edge, rule 20" + text; };
  struct {
    OrvexActionValue action;
    char const* want;
  } const actions[] = {
      { { true, false, {}, false, {}, false, false }, "drop: the policy says false, the table true" },
      { { false, true, {}, false, {}, false, false }, "log: the policy says false, the table true" },
      { { false, false, {}, false, {}, false, true }, "sflow: the policy says false, the table true" },
      { { false, false, Vell::DscpValue( 46 ), true, {}, false, false }, "dscp: the policy says null, the table 46" },
      { { false, false, {}, false, OrvexTrafficClass( 0 ), true, false }, "tc: the policy says null, the table 0" } };
  for ( auto const& each : actions )
    EXPECT_EQ( changed( [&]( auto& action, auto& ) { action = each.action; } ),
               rule20( std::string( ", action." ) + each.want ) );
  EXPECT_EQ( changed( []( auto&, auto& table ) { table.defaults.begin()->second = DefaultAction::permit; } ),
             "ipv4 ACL edge, default: the policy says deny, the table permit" );

  TableCopy without = tableOf( policy );
  without.acls->pdAcl().begin().value()->ruleDel( AceIndex( 20 ) );
  EXPECT_THAT( Verify::statedDifferences( policy, *without.data, without.defaults ),
               testing::ElementsAre( rule20( ": the table does not have it" ) ) );
  EXPECT_THAT( Verify::statedDifferences( policyOf( { acl( "ipv6 edge", {} ) } ), *without.data, without.defaults ),
               testing::ElementsAre( "ipv6 ACL edge: the table does not have it",
                                     "ipv4 ACL edge: the policy does not have it" ) );
}

TEST( Prover, AnAclWithoutRulesIsItsDefaultAction ) {
  Policy const policy = policyOf( { acl( "ipv4 edge", { rule( 1, "" ) } ), acl( "ipv6 unused permit", {} ) } );
  TableCopy table = tableOf( policy );
  EXPECT_EQ( whereOf( proofOf( policy, table ) ), "equal: " );
  table.defaults.clear();  // then all deny
  EXPECT_EQ( whereOf( proofOf( policy, table ) ), "none default" );
}

TEST( Prover, AValueWithTwoLabelsIsUndecided ) {
  Policy const policy = edgePolicy();
  TableCopy table = tableOf( policy );
  table.shape.ranges[Field::ttl].on = true;
  auto const rows = table.data->rangeEntryColl( RangeSetType::ttl );
  rows->entryIs( { { 1, 5 }, EncodedLabel( 1 ) } );
  rows->entryIs( { { 5, 7 }, EncodedLabel( 1 ) } );
  EXPECT_EQ( whereOf( proofOf( policy, table ) ), "undecided: the ttl table has two labels for value 5" );
}

TEST( Prover, BeyondTheBudgetNothingIsSaid ) {
  Policy const policy = edgePolicy();
  TableCopy table = tableOf( policy );
  std::vector<PDAclFilter> scattered;  // of no product, and together what rule 30 says
  for ( std::uint32_t bit = 0; bit != 13; ++bit ) {
    PDAclFilter entry;
    auto const only = static_cast<std::uint16_t>( 1U << bit );
    entry.fragment = { EncodedLabel( only ), LabelMask( only ) };
    scattered.push_back( entry );
  }
  ruleIn( table, 30 )->filterIs( scattered );
  Proof const proof = proofOf( policy, table );
  EXPECT_EQ( whereOf( proof ), "equal: " );
  PDAclFilter shifted = scattered.front();
  shifted.proto = { EncodedLabel( 6 ), LabelMask( 0xFF ) };
  ruleIn( table, 30 )->filterIs( shifted );  // adds nothing, but to the product
  EXPECT_EQ( whereOf( proofOf( policy, table ) ), "equal: " );
  EXPECT_EQ( whereOf( proofOf( policy, table, { 3, std::chrono::seconds( 1 ) } ) ),
             "undecided: more than 3 boxes would be needed" );
}

}  // namespace Orvex::Host::Test
