#include "pipeline/ExpansionBound.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "packets/Random.h"

namespace {

using namespace Orvex;
using namespace Orvex::Host;

using Lists = std::vector<Kiv::Ptr<EncodedLabelWithMaskList>>;

/// Lists of one to six of eight entries.
Lists randomLists( Random& random ) {
  Lists lists;
  for ( int list = 0; list != 6; ++list ) {
    lists.push_back( Kiv::make<EncodedLabelWithMaskList>( GenSetKey( 1 ) ) );
    for ( std::uint32_t left = random.between( 1, 6 ); left != 0; --left )
      lists.back()->encLabelAndMaskIs(
          { EncodedLabel( static_cast<std::uint16_t>( random.below( 8 ) ) ), LabelMask( 0xFFFF ) } );
  }
  return lists;
}

/// Rules over these lists, some without one, and the number of different entries that they come to.
struct World {
  std::vector<RuleLists> rules;
  std::uint64_t entries = 0;
};

World randomWorld( Random& random, Lists const& lists, std::size_t rulesOfAcl ) {
  World world;
  std::set<std::tuple<std::size_t, int, int, std::uint64_t>> entries;
  for ( std::size_t rule = 0; rule != 8; ++rule ) {
    RuleLists made;
    made.acl = rule / rulesOfAcl;
    if ( !random.percent( 20 ) ) made.source = random.oneOf( lists ).get();
    if ( !random.percent( 20 ) ) made.destination = random.oneOf( lists ).get();
    std::uint64_t const others = random.between( 1, 3 );
    auto const membersOf = []( EncodedLabelWithMaskList const* list ) {
      std::vector<int> members;
      if ( list == nullptr ) return std::vector<int>{ -1 };
      for ( auto const& entry : list->encLabelAndMask() ) members.push_back( entry.label.value() );
      return members;
    };
    auto const sources = membersOf( made.source );
    auto const destinations = membersOf( made.destination );
    made.product = sources.size() * destinations.size() * others;
    for ( int const source : sources )
      for ( int const destination : destinations )
        for ( std::uint64_t other = 0; other != others; ++other )
          entries.emplace( made.acl, source, destination, other );
    world.rules.push_back( made );
  }
  world.entries = entries.size();
  return world;
}

TEST( ExpansionBound, NoPolicyTakesFewerEntriesAndManyTakeNoMore ) {
  int met = 0;
  for ( std::uint64_t seed = 1; seed <= 300; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    Lists const lists = randomLists( random );
    World const world = randomWorld( random, lists, seed % 2 == 0 ? 2 : 4 );
    std::uint64_t const least = leastEntries( world.rules, world.entries - 1 );
    EXPECT_LE( least, world.entries );
    met += least == world.entries ? 1 : 0;
  }
  EXPECT_GT( met, 50 );  // of two rules what they share is known
}

TEST( ExpansionBound, EqualRulesCountOnce ) {
  auto const list = Kiv::make<EncodedLabelWithMaskList>( GenSetKey( 1 ) );
  for ( std::uint16_t label = 1; label <= 100; ++label )
    list->encLabelAndMaskIs( { EncodedLabel( label ), LabelMask( 0xFFFF ) } );
  std::vector<RuleLists> const rules( 5, { 0, list.get(), list.get(), 20000 } );
  EXPECT_EQ( 20000U, leastEntries( rules, 19999 ) );
  EXPECT_EQ( 20000U, leastEntries( rules, 20000 ) );  // not above, whatever the sum
}

}  // namespace
