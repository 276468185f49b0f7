#include "Kiv/SortedSet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>

namespace Kiv {
namespace {

using testing::ElementsAre;

using Model = std::set<int>;

template <class Set>
std::vector<int> members( Set const& set ) {
  return std::vector<int>( set.begin(), set.end() );
}

/// The set and its slow, obvious twin under the same random changes.
class Twins {
 public:
  Twins( std::uint32_t seed, int count ) : random_( seed ), count_( count ) {}

  void run( int changes ) {
    for ( int i = 0; i != changes && !testing::Test::HasFailure(); ++i ) {
      int const member = below( count_ );
      switch ( below( 8 ) ) {
        case 0:
          unite( some() );
          break;
        case 1:
          subtract( some() );
          break;
        case 2:
          EXPECT_EQ( model_.erase( member ) != 0, set_.erase( member ) );
          break;
        default:
          EXPECT_EQ( model_.insert( member ).second, set_.insert( member ) );
          break;
      }
      EXPECT_EQ( members( model_ ), members( set_ ) );
      EXPECT_EQ( model_.count( member ) != 0, set_.has( member ) );
      EXPECT_EQ( set_, SortedSet<int>( std::vector<int>( model_.rbegin(), model_.rend() ) ) );
    }
  }

 private:
  int below( int bound ) { return static_cast<int>( random_() % static_cast<unsigned>( bound ) ); }

  /// Up to as many as fit, with repetitions; at times the present members.
  SortedSet<int> some() {
    if ( below( 8 ) == 0 ) return set_;
    std::vector<int> drawn( static_cast<std::size_t>( below( count_ ) ) );
    for ( int& member : drawn ) member = below( count_ );
    return SortedSet<int>( drawn );
  }

  void unite( SortedSet<int> const& other ) {
    std::vector<int> want, have;
    for ( int const member : other )
      if ( model_.insert( member ).second ) want.push_back( member );
    set_.unite( other, [&]( int member ) { have.push_back( member ); } );
    EXPECT_EQ( want, have );
  }

  void subtract( SortedSet<int> const& other ) {
    std::vector<int> want, have;
    for ( int const member : other )
      if ( model_.erase( member ) != 0 ) want.push_back( member );
    set_.subtract( other, [&]( int member ) { have.push_back( member ); } );
    EXPECT_EQ( want, have );
  }

  std::mt19937 random_;
  int count_;
  SortedSet<int> set_;
  Model model_;
};

TEST( SortedSet, BehavesAsAStdSet ) {
  for ( int const count : { 3, 12, 150 } )
    for ( std::uint32_t seed = 1; seed <= 5; ++seed ) {
      SCOPED_TRACE( testing::Message() << "members " << count << ", seed " << seed );
      Twins( seed, count ).run( 1000 );
    }
}

TEST( SortedSet, UnitesWithItselfAndSubtractsItself ) {
  SortedSet<int> set( { 3, 1, 2, 3, 1 } );
  set.unite( set, []( int ) { FAIL() << "nothing is new"; } );
  EXPECT_THAT( members( set ), ElementsAre( 1, 2, 3 ) );
  std::vector<int> gone;
  set.subtract( set, [&]( int member ) { gone.push_back( member ); } );
  EXPECT_THAT( gone, ElementsAre( 1, 2, 3 ) );
  EXPECT_TRUE( set.empty() );
}

TEST( SortedSet, TakesItsOwnMembersAsArguments ) {
  SortedSet<int> set( { 1, 2, 3 } );
  EXPECT_FALSE( set.insert( *set.begin() ) );
  EXPECT_TRUE( set.erase( *set.begin() ) );
  EXPECT_THAT( members( set ), ElementsAre( 2, 3 ) );
  set.clear();
  EXPECT_FALSE( set.erase( 2 ) );
}

}  // namespace
}  // namespace Kiv
