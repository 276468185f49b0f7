#pragma once

/// Sorts by a number, several times as fast as std::sort does where there are thousands of members: a comparison sort spends
/// its time on branches that the processor cannot predict, and digits need none.
///
///     Kiv::sortByNumber( sets, []( auto const& set ) { return set.key.value(); } );
///
/// Members of one number keep their order. One stable pass for ten bits of the greatest number, from the least significant
/// digit up (Knuth, The Art of Computer Programming, volume 3, section 5.2.5); a few members are left to a comparison sort.
/// Cost: O(n) a digit, and scratch memory for n members.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace Kiv {

/// `numberOf( member )` is unsigned.
template <class T, class NumberOf>
void sortByNumber( std::vector<T>& members, NumberOf const& numberOf ) {
  constexpr unsigned kDigitBits = 10;
  constexpr std::size_t kDigitValues = std::size_t{ 1 } << kDigitBits;
  if ( members.size() < kDigitValues ) {
    std::stable_sort( members.begin(), members.end(),
                      [&]( T const& a, T const& b ) { return numberOf( a ) < numberOf( b ); } );
    return;
  }
  std::uint64_t used = 0;
  for ( T const& member : members ) used |= numberOf( member );
  std::vector<T> dealt( members.size() );
  for ( unsigned shift = 0; shift < 64 && used >> shift != 0; shift += kDigitBits ) {
    auto const digitOf = [&]( T const& member ) {
      return ( std::uint64_t{ numberOf( member ) } >> shift ) & ( kDigitValues - 1 );
    };
    std::array<std::uint32_t, kDigitValues> next{};
    for ( T const& member : members ) ++next[digitOf( member )];
    std::exclusive_scan( next.begin(), next.end(), next.begin(), std::uint32_t{ 0 } );
    for ( T& member : members ) dealt[next[digitOf( member )]++] = std::move( member );
    members.swap( dealt );
  }
}

}  // namespace Kiv
