#include "Orvex/OrvexGenSetKeyGroup.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace Orvex {
namespace {

using Model = std::set<std::uint64_t>;
using ClassIds = std::vector<GenSetKeyClasses::ClassId>;

std::vector<GenSetKey> keysOf( Model const& model ) {
  std::vector<GenSetKey> keys;
  for ( std::uint64_t const key : model ) keys.emplace_back( key );
  return keys;
}

/// Twelve keys in as many classes as `bound` and chance make of them.
struct Classes {
  Classes( std::mt19937& random, std::uint32_t bound ) {
    std::vector<GenSetKeyClasses::Member> list;
    for ( std::uint64_t key = 1; key <= 12; ++key ) {
      std::uint32_t const classId = static_cast<std::uint32_t>( random() % bound );
      if ( classId < members.size() )
        members[classId].insert( key );
      else
        members.push_back( { key } );
    }
    for ( std::uint32_t classId = 0; classId != members.size(); ++classId )
      for ( std::uint64_t const key : members[classId] ) list.push_back( { classId, GenSetKey( key ) } );
    std::shuffle( list.begin(), list.end(), random );
    classes = Kiv::make<GenSetKeyClasses>( list );
  }

  std::vector<Model> members;
  Kiv::Ptr<GenSetKeyClasses const> classes;
};

struct Twin {
  Kiv::Ptr<GenSetKeyGroup> group;
  Model model;
};

Twin anyGroup( std::mt19937& random, Classes const& from ) {
  bool const whole = random() % 4 == 0;
  ClassIds ids;
  Model model;
  for ( std::uint32_t classId = 0; classId != from.members.size(); ++classId )
    if ( whole || random() % 2 == 0 ) {
      ids.push_back( classId );
      model.insert( from.members[classId].begin(), from.members[classId].end() );
    }
  if ( random() % 2 == 0 ) return { GenSetKeyGroupInterner( from.classes ).group( ids ), model };
  return { Kiv::make<GenSetKeyGroup>( keysOf( model ) ), model };
}

void expectHolds( GenSetKeyGroup const& group, Model const& want ) {
  auto const have = group.keyGroup();
  EXPECT_EQ( keysOf( want ), std::vector<GenSetKey>( have.begin(), have.end() ) );
  EXPECT_EQ( want.empty(), group.empty() );
  for ( std::uint64_t key = 0; key <= 13; ++key )
    EXPECT_EQ( want.count( key ) != 0, group.keyGroupHas( GenSetKey( key ) ) ) << key;
}

void change( std::mt19937& random, Twin& twin, Twin const& other ) {
  std::uint64_t const key = random() % 13 + 1;
  Model const otherModel = other.model;
  switch ( random() % 9 ) {
    case 0:
      twin.group->keyGroupDelAll();
      twin.model.clear();
      break;
    case 1:
    case 2:
      twin.group->keyGroupIs( GenSetKey( key ) );
      twin.model.insert( key );
      break;
    case 3:
    case 4:
      twin.group->keyGroupDel( GenSetKey( key ) );
      twin.model.erase( key );
      break;
    case 5:
    case 6:
      twin.group->addToKeyGroup( *other.group );
      twin.model.insert( otherModel.begin(), otherModel.end() );
      break;
    default:
      twin.group->removeFromKeyGroup( *other.group );
      for ( std::uint64_t const each : otherModel ) twin.model.erase( each );
  }
}

TEST( GenSetKeyGroup, IsASetOfKeysWhateverItIsMadeOf ) {
  for ( std::uint32_t seed = 1; seed <= 150; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    std::mt19937 random( seed );
    Classes const coarse( random, 3 );
    Classes const fine( random, 12 );
    std::vector<Twin> twins;
    for ( int at = 0; at != 3; ++at ) {
      twins.push_back( anyGroup( random, coarse ) );
      twins.push_back( anyGroup( random, fine ) );
    }
    for ( int round = 0; round != 20; ++round ) {
      for ( Twin const& a : twins ) {
        expectHolds( *a.group, a.model );
        for ( Twin const& b : twins ) {
          EXPECT_EQ( a.model == b.model, a.group->isEqual( b.group ) );
          if ( a.model == b.model ) {
            EXPECT_EQ( a.group->hash(), b.group->hash() );
          }
        }
      }
      change( random, twins[random() % twins.size()], twins[random() % twins.size()] );
    }
    EXPECT_FALSE( twins[0].group->isEqual( nullptr ) );
  }
}

TEST( GenSetKeyGroup, EqualSumsAreNotEnoughToBeEqual ) {
  std::mt19937 random( 1 );
  ClassIds const first = { 0 };
  GenSetKeyGroup const group( Classes( random, 3 ).classes, first, 7U );
  EXPECT_FALSE( group.isEqual( Kiv::make<GenSetKeyGroup>( Classes( random, 12 ).classes, first, 7U ) ) );
}

TEST( GenSetKeyGroupInterner, GivesEveryGroupOneObjectAlsoWhereSumsAgree ) {
  std::mt19937 random( 1 );
  GenSetKeyGroupInterner interner( Classes( random, 12 ).classes );
  std::vector<ClassIds> const groups = { {}, { 0 }, { 1 }, { 0, 1 } };
  std::set<GenSetKeyGroup const*> objects;
  for ( ClassIds const& ids : groups ) objects.insert( interner.group( ids, 7 ).get() );
  EXPECT_EQ( groups.size(), objects.size() );
  for ( ClassIds const& ids : groups ) {
    auto const kept = interner.group( ids, 7 )->classIds();
    EXPECT_EQ( ids, ClassIds( kept.begin(), kept.end() ) );
    EXPECT_EQ( 1U, objects.count( interner.group( ids, 7 ).get() ) );
  }
  EXPECT_EQ( interner.group( groups[3] ), interner.group( groups[3] ) );
}

}  // namespace
}  // namespace Orvex
