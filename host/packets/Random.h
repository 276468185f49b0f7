#pragma once

/// Random numbers that are the same with every standard library.
///
/// The sequence of std::mt19937_64 is fixed by the standard; what std::uniform_int_distribution and std::shuffle make
/// of it is not. So the step from raw words to numbers in a range is written out here, and a seed names one policy
/// everywhere.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace Orvex {

class Random {
 public:
  explicit Random( std::uint64_t seed ) : words_( seed ) {}

  /// A number from 0 to `limit` - 1, each as likely as any other: words of the incomplete last round are drawn again.
  /// Requires: `limit` is not 0.
  std::uint64_t below( std::uint64_t limit ) {
    std::uint64_t const wholeRounds = std::numeric_limits<std::uint64_t>::max() / limit * limit;
    std::uint64_t word = words_();
    while ( word >= wholeRounds ) word = words_();
    return word % limit;
  }
  /// Both ends included.
  std::uint32_t between( std::uint32_t low, std::uint32_t high ) {
    return low + static_cast<std::uint32_t>( below( std::uint64_t{ high } - low + 1 ) );
  }
  bool percent( std::uint32_t share ) { return below( 100 ) < share; }

  template <class T>
  T const& oneOf( std::vector<T> const& members ) {
    return members[below( members.size() )];
  }

  template <class T>
  void shuffle( std::vector<T>& members ) {
    for ( std::size_t left = members.size(); left > 1; --left ) std::swap( members[left - 1], members[below( left )] );
  }

  /// `count` numbers below `limit`, dealt like cards: each appears once in random order before any appears again.
  std::vector<std::size_t> dealt( std::size_t count, std::size_t limit ) {
    std::vector<std::size_t> hands;
    std::vector<std::size_t> deck( limit );
    for ( std::size_t i = 0; i != limit; ++i ) deck[i] = i;
    while ( hands.size() < count ) {
      shuffle( deck );
      hands.insert( hands.end(), deck.begin(), deck.end() );
    }
    hands.resize( count );
    return hands;
  }

 private:
  std::mt19937_64 words_;
};

}  // namespace Orvex
