#include "Orvex/OrvexPlainLabels.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "Orvex/OrvexGenSetTypes.h"

namespace Orvex {
namespace {

using Model = std::set<std::uint32_t>;

Model modelOf( PlainLabels const& labels ) {
  Model model;
  for ( PlainLabel const label : labels ) {
    EXPECT_TRUE( model.empty() || *model.rbegin() < label.value() ) << "not ascending";
    model.insert( label.value() );
  }
  return model;
}

void expectHolds( PlainLabels const& labels, Model const& want ) {
  EXPECT_EQ( want, modelOf( labels ) );
  EXPECT_EQ( want.size(), labels.size() );
  EXPECT_EQ( want.empty(), labels.empty() );
  auto const& intervals = labels.intervals();
  for ( std::size_t at = 1; at < intervals.size(); ++at ) EXPECT_GT( intervals[at].first, intervals[at - 1].last + 1U );
}

/// The eight labels from `lowest` on; bit i of `subset` is the label lowest + i.
struct World {
  std::uint32_t lowest;
  std::uint32_t label( std::uint32_t at ) const { return lowest + at; }
  Model model( std::uint32_t subset ) const {
    Model result;
    for ( std::uint32_t at = 0; at != 8; ++at )
      if ( ( subset >> at & 1U ) != 0 ) result.insert( label( at ) );
    return result;
  }
  Kiv::Ptr<PlainLabels> labels( std::uint32_t subset ) const {
    auto result = Kiv::make<PlainLabels>();
    for ( std::uint32_t const each : model( subset ) ) EXPECT_TRUE( result->insert( PlainLabel( each ) ) );
    return result;
  }
};

class PlainLabelsTest : public testing::TestWithParam<World> {};

/// Equal contents are equal intervals, so that one change of each content stands for every sequence of changes.
TEST_P( PlainLabelsTest, EveryChangeOfEveryContentIsThatOfASet ) {
  World const world = GetParam();
  for ( std::uint32_t subset = 0; subset != 256; ++subset ) {
    auto const labels = world.labels( subset );
    expectHolds( *labels, world.model( subset ) );
    for ( std::uint32_t at = 0; at != 8; ++at ) {
      SCOPED_TRACE( testing::Message() << "subset " << subset << ", label " << at );
      PlainLabel const label( world.label( at ) );
      bool const there = ( subset >> at & 1U ) != 0;
      EXPECT_EQ( there, labels->has( label ) );
      PlainLabels grown( labels->intervals() );
      EXPECT_EQ( !there, grown.insert( label ) );
      expectHolds( grown, world.model( subset | 1U << at ) );
      EXPECT_EQ( *world.labels( subset | 1U << at ), grown );
      PlainLabels shrunk( labels->intervals() );
      EXPECT_EQ( there, shrunk.erase( label ) );
      expectHolds( shrunk, world.model( subset & ~( 1U << at ) ) );
      EXPECT_EQ( *world.labels( subset & ~( 1U << at ) ), shrunk );
    }
  }
}

INSTANTIATE_TEST_SUITE_P( SmallestAndLargestLabels, PlainLabelsTest,
                          testing::Values( World{ 0 }, World{ 0xFFFFFFF8U } ),
                          []( auto const& world ) { return world.index == 0 ? "Smallest" : "Largest"; } );

TEST( PlainLabelList, AChangeIsSeenInNoListThatSharesTheLabels ) {
  auto shared = Kiv::make<PlainLabels>();
  for ( std::uint32_t const label : { 1U, 2U } ) shared->insert( PlainLabel( label ) );
  PlainLabelList list( GenSetKey( 1 ), shared ), other( GenSetKey( 2 ), std::move( shared ) );
  other.labelDel( PlainLabel( 1 ) );
  auto const held = list.labels();
  list.labelIs( PlainLabel( 3 ) );
  expectHolds( list.label(), { 1, 2, 3 } );
  expectHolds( other.label(), { 2 } );
  list.labelDelAll();
  expectHolds( list.label(), {} );
  expectHolds( *held, { 1, 2 } );
}

/// "3:1,2 8:7": the labels of each key, in the order in which they come.
std::string textOf( LabelLists const& lists ) {
  std::ostringstream out;
  for ( auto const& [key, list] : lists.entries() ) {
    out << ' ' << key.value() << ':';
    lists.forEachLabel( list, [&]( PlainLabel label ) { out << label.value() << ','; } );
    EXPECT_EQ( list, lists.find( key ) );
  }
  return out.str();
}

TEST( PlainLabelListMap, ArraysAndObjectsHoldTheSameLists ) {
  auto const map = Kiv::make<PlainLabelListMap>();
  map->plainLabelListIs( GenSetKey( 9 ), Kiv::make<PlainLabels>() );
  map->labelListsAre( Kiv::make<LabelLists>(
      std::vector<LabelLists::Entry>{ { GenSetKey( 8 ), 2 }, { GenSetKey( 5 ), 0 }, { GenSetKey( 3 ), 0 } },
      std::vector<LabelLists::Interval>{ { 1, 3 }, { 2, 2 }, { 7, 7 } }, std::vector<std::uint32_t>{ 0, 1, 1, 3 } ) );
  EXPECT_EQ( " 3:1,2,3, 5:1,2,3, 8:2,7,", textOf( *map->labelLists() ) );
  auto const list = map->plainLabelList().find( GenSetKey( 5 ) );
  EXPECT_EQ( list->labels(), map->plainLabelList().find( GenSetKey( 3 ) )->labels() );
  EXPECT_EQ( " 3:1,2,3, 5:1,2,3, 8:2,7,", textOf( *map->labelLists() ) );
  EXPECT_EQ( map->labelLists()->find( GenSetKey( 3 ) ), map->labelLists()->find( GenSetKey( 5 ) ) );

  list->labelDel( PlainLabel( 2 ) );
  map->plainLabelListIs( GenSetKey( 4 ) )->labelIs( PlainLabel( 6 ) );
  map->plainLabelListDel( GenSetKey( 8 ) );
  EXPECT_EQ( " 3:1,2,3, 4:6, 5:1,3,", textOf( *map->labelLists() ) );
  EXPECT_EQ( std::nullopt, map->labelLists()->find( GenSetKey( 8 ) ) );

  map->plainLabelListDelAll();
  EXPECT_EQ( "", textOf( *map->labelLists() ) );
  EXPECT_TRUE( map->plainLabelList().empty() );
}

}  // namespace
}  // namespace Orvex
