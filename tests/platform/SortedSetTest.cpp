#include "Kiv/SortedSet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

namespace Kiv {
namespace {

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
          below( 8 ) == 0 ? unite( set_ ) : unite( some() );
          break;
        case 1:
          below( 8 ) == 0 ? subtract( set_ ) : subtract( some() );
          break;
        case 2:
          EXPECT_EQ( model_.erase( member ) != 0, set_.erase( own( member ) ) );
          break;
        default:
          EXPECT_EQ( model_.insert( member ).second, set_.insert( own( member ) ) );
          break;
      }
      EXPECT_EQ( members( model_ ), members( set_ ) );
      EXPECT_EQ( model_.count( member ) != 0, set_.has( member ) );
      EXPECT_EQ( set_, SortedSet<int>( std::vector<int>( model_.rbegin(), model_.rend() ) ) );
    }
  }

 private:
  int below( int bound ) { return static_cast<int>( random_() % static_cast<unsigned>( bound ) ); }

  /// The member where it lies in the set, when it is there: an argument may.
  int const& own( int const& member ) const {
    auto const at = std::find( set_.begin(), set_.end(), member );
    return at == set_.end() ? member : *at;
  }

  /// Up to as many as fit, with repetitions.
  SortedSet<int> some() {
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

}  // namespace
}  // namespace Kiv
