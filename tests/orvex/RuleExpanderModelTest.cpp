#include <gtest/gtest.h>

#include <array>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "orvex/TestExpander.h"

namespace Orvex {
namespace {

using Test::Expander;
using Vell::AddressFamily;

constexpr unsigned kLabels = 16;
constexpr std::uint64_t kListsAField = 4;
constexpr std::uint32_t kSyn = 2, kRst = 4, kAck = 16;

/// A field that rules match by labels of four bits.
struct LabelField {
  std::string list;  // as Expander::lists() names it
  std::string rule;  // as Expander::rule() does
  EncodedLabelWithMask PDAclFilter::*place;
  bool headFragmentOnly;
};

/// Three fields, small enough to try every packet. With a combination, the third is that of the first two.
struct World {
  std::array<LabelField, 3> fields;
  AddressFamily af = AddressFamily::ipv4;
  std::optional<ComboLabelSetType> combination = {};
};

LabelField const kSource{ "source", "source", &PDAclFilter::source, false };
LabelField const kDestination{ "destination", "destination", &PDAclFilter::destination, false };
LabelField const kSport{ "sport", "sport", &PDAclFilter::sport, true };
LabelField const kDport{ "dport", "dport", &PDAclFilter::dport, true };
LabelField const kIcmp{ "icmp", "icmp", &PDAclFilter::icmpType, true };

std::vector<World> const kWorlds = {
    { { kSource, kDestination, { "ipv4SrcDstPrefix", "", &PDAclFilter::prefixCombo, false } },
      AddressFamily::ipv4,
      ComboLabelSetType::ipv4SrcDstPrefix },
    { { { { "source6", "source", &PDAclFilter::source, false },
          { "destination6", "destination", &PDAclFilter::destination, false },
          { "ipv6SrcDstPrefix", "", &PDAclFilter::prefixCombo, false } } },
      AddressFamily::ipv6,
      ComboLabelSetType::ipv6SrcDstPrefix },
    { { kSport, kDport, { "srcDstL4Port", "", &PDAclFilter::portCombo, true } },
      AddressFamily::ipv4,
      ComboLabelSetType::srcDstL4Port },
    { { kSource, kDport, kIcmp } },
    { { kDestination, kSport, { "proto", "proto", &PDAclFilter::proto, false } } },
    { { { { "length", "length", &PDAclFilter::length, false },
          { "fragment", "fragment", &PDAclFilter::fragment, false },
          kDport } } },
    { { { { "dscp", "dscp", &PDAclFilter::dscp, false }, { "ttl", "ttl", &PDAclFilter::ttl, false }, kIcmp } } } };

struct Packet {
  std::array<std::uint32_t, 3> labels;
  bool headFragment;
  std::uint32_t flags;
};

struct ModelRule {
  std::array<std::uint64_t, 3> keys = {};  // 0: left out
  bool init = false;
  bool established = false;
};

/// Rules by their meaning: a label must lie in the list of every field that the rule names.
struct Model {
  bool matches( ModelRule const& rule, Packet const& packet ) const {
    auto keys = rule.keys;
    if ( auto const combo = combos.find( { keys[0], keys[1] } ); combo != combos.end() && keys[0] != 0 && keys[1] != 0 )
      keys = { 0, 0, combo->second };
    bool headOnly = rule.init || rule.established;
    for ( std::size_t field = 0; field != 3; ++field ) {
      if ( keys[field] == 0 ) continue;
      if ( labels.at( { field, keys[field] } ).count( packet.labels[field] ) == 0 ) return false;
      headOnly |= world.fields[field].headFragmentOnly;
    }
    if ( headOnly && !packet.headFragment ) return false;
    if ( rule.init ) return ( packet.flags & ( kSyn | kAck ) ) == kSyn;
    return !rule.established || ( packet.flags & ( kAck | kRst ) ) != 0;
  }

  /// The index of the rule that decides; 0 without one.
  std::uint32_t decider( Packet const& packet ) const {
    for ( auto const& [index, rule] : rules )
      if ( matches( rule, packet ) ) return index;
    return 0;
  }

  World const& world;
  std::map<std::pair<std::size_t, std::uint64_t>, std::set<std::uint32_t>> labels = {};  // of field and key
  std::map<std::pair<std::uint64_t, std::uint64_t>, std::uint64_t> combos = {};
  std::map<std::uint32_t, ModelRule> rules = {};
};

/// One to three ternary entries, and for one list in eight none.
void addLists( std::mt19937& random, Model& model, Expander& expander ) {
  for ( std::size_t field = 0; field != 3; ++field ) {
    for ( std::uint64_t key = 1; key <= kListsAField; ++key ) {
      auto const list = expander.listIs( model.world.fields[field].list, key );
      auto& labels = model.labels[{ field, key }];
      for ( auto count = random() % 8 == 0 ? 0 : 1 + random() % 3; count != 0; --count ) {
        unsigned const mask = random() % kLabels, label = random() % kLabels & mask;
        list->encLabelAndMaskIs(
            { EncodedLabel( static_cast<std::uint16_t>( label ) ), LabelMask( static_cast<std::uint16_t>( mask ) ) } );
        for ( std::uint32_t value = 0; value != kLabels; ++value )
          if ( ( value & mask ) == label ) labels.insert( value );
      }
    }
  }
}

void addCombinations( std::mt19937& random, Model& model, Expander& expander ) {
  if ( !model.world.combination ) return;
  for ( std::uint64_t src = 0; src <= kListsAField; ++src )
    for ( std::uint64_t dst = 0; dst <= kListsAField; ++dst )
      if ( random() % 2 == 0 ) {
        std::uint64_t const combo = model.combos[{ src, dst }] = 1 + random() % kListsAField;
        expander.combine( *model.world.combination, src, dst, combo );
      }
}

void addRules( std::mt19937& random, Model& model, Expander& expander ) {
  expander.acl( "a", model.world.af );
  for ( auto count = 1 + random() % 8; count != 0; --count ) {
    auto const index = static_cast<std::uint32_t>( 1 + random() % 1000 );
    if ( model.rules.count( index ) != 0 ) continue;
    ModelRule& rule = model.rules[index];
    std::string text;
    for ( std::size_t field = 0; field != ( model.world.combination ? 2 : 3 ); ++field )
      if ( random() % 4 != 0 ) {
        rule.keys[field] = 1 + random() % kListsAField;
        text += model.world.fields[field].rule + " " + std::to_string( rule.keys[field] ) + " ";
      }
    if ( ( rule.init = random() % 5 == 0 ) ) text += "init ";
    if ( ( rule.established = random() % 5 == 0 ) ) text += "established ";
    expander.rule( "a", index, text );
  }
}

/// The key that a chip forms of the packet.
PDAclFilter keyOf( World const& world, Packet const& packet ) {
  PDAclFilter key;
  auto const value = []( std::uint32_t number ) {
    return EncodedLabelWithMask( EncodedLabel( static_cast<std::uint16_t>( number ) ), LabelMask( 0xFFFF ) );
  };
  for ( std::size_t field = 0; field != 3; ++field ) key.*world.fields[field].place = value( packet.labels[field] );
  key.headFragment = value( packet.headFragment );
  key.tcpFlag = value( packet.flags );
  return key;
}

bool matches( PDAclFilter const& entry, PDAclFilter const& key ) {
  auto const agrees = []( EncodedLabelWithMask const& one, EncodedLabelWithMask const& other ) {
    return ( ( one.label.value() ^ other.label.value() ) & one.mask.value() ) == 0;
  };
  return std::apply(
      [&]( auto const&... field ) { return ( agrees( entry.*field.getter, key.*field.getter ) && ... ); },
      PDAclFilter::fields() );
}

std::uint32_t decider( PDAclRuleColl const& rules, PDAclFilter const& key ) {
  for ( auto const& [index, rule] : rules.rule() )
    for ( PDAclFilter const& entry : rule->filter() )
      if ( matches( entry, key ) ) return index.value();
  return 0;
}

void expectOneOfEachEntry( PDAclRuleColl const& rules ) {
  std::set<PDAclFilter> distinct;
  for ( auto const& [index, rule] : rules.rule() ) distinct.insert( rule->filter().begin(), rule->filter().end() );
  EXPECT_EQ( distinct.size(), rules.numFilters() );
}

TEST( RuleExpanderModel, ThePacketsThatEntriesMatchAreThoseThatTheFirstRuleMatches ) {
  for ( std::uint32_t seed = 0; seed != 350 && !HasFailure(); ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    Model model{ kWorlds[seed % kWorlds.size()] };
    Expander expander;
    addLists( random, model, expander );
    addCombinations( random, model, expander );
    addRules( random, model, expander );
    ASSERT_EQ( StageStatusType::finishedSuccess, expander.kick() );
    PDAclRuleColl const& rules = *expander.rulesOf( "a" );
    EXPECT_EQ( model.rules.size(), rules.rule().size() );
    expectOneOfEachEntry( rules );
    for ( std::uint32_t labels = 0; labels != kLabels * kLabels * kLabels && !HasFailure(); ++labels ) {
      Packet const packet{ { labels % kLabels, labels / kLabels % kLabels, labels / kLabels / kLabels },
                           random() % 4 != 0,
                           static_cast<std::uint32_t>( random() % 64 ) };
      EXPECT_EQ( model.decider( packet ), decider( rules, keyOf( model.world, packet ) ) ) << "labels " << labels;
    }
  }
}

}  // namespace
}  // namespace Orvex
