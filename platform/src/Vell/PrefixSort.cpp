#include "Vell/PrefixSort.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace Vell {

namespace {

/// Below this, dealing costs more than comparing.
constexpr std::size_t kSmallBucket = 64;

using Words = std::vector<std::uint64_t>;

constexpr unsigned kLengthBits = 6;
constexpr unsigned kDigitBits = 10;
constexpr unsigned kDigits = 4;
constexpr std::size_t kDigitValues = std::size_t{ 1 } << kDigitBits;
static_assert( kDigits * kDigitBits >= 32 + kLengthBits );

constexpr std::size_t digitOf( std::uint64_t word, unsigned digit ) {
  return ( word >> ( digit * kDigitBits ) ) & ( kDigitValues - 1 );
}

/// Each pass is stable, and moves a digit value's words to where they begin in the whole.
void sortIpv4( std::span<IpGenPrefix> prefixes ) {
  Words words( prefixes.size() );
  std::array<std::array<std::size_t, kDigitValues>, kDigits> begins{};
  for ( std::size_t at = 0; at != words.size(); ++at ) {
    words[at] = std::uint64_t{ prefixes[at].ipv4Address() } << kLengthBits | prefixes[at].length();
    for ( unsigned digit = 0; digit != kDigits; ++digit ) ++begins[digit][digitOf( words[at], digit )];
  }
  Words dealt( words.size() );
  for ( unsigned digit = 0; digit != kDigits; ++digit ) {
    std::exclusive_scan( begins[digit].begin(), begins[digit].end(), begins[digit].begin(), std::size_t{ 0 } );
    for ( std::uint64_t const word : words ) dealt[begins[digit][digitOf( word, digit )]++] = word;
    words.swap( dealt );
  }
  for ( std::size_t at = 0; at != words.size(); ++at )
    prefixes[at] = IpGenPrefix( static_cast<std::uint32_t>( words[at] >> kLengthBits ),
                                static_cast<std::uint32_t>( words[at] % ( 1U << kLengthBits ) ) );
}

/// Where each bucket begins; the last entry is where the last one ends.
using BucketBegins = std::array<std::size_t, 257>;

BucketBegins bucketBegins( std::span<IpGenPrefix const> prefixes, std::uint32_t byte ) {
  BucketBegins begins{};
  for ( IpGenPrefix const& each : prefixes ) ++begins[each.addressByte( byte ) + 1U];
  for ( std::size_t bucket = 1; bucket != begins.size(); ++bucket ) begins[bucket] += begins[bucket - 1];
  return begins;
}

/// Sorts prefixes that agree in the bytes before `byte`. Recursion is at most an address's bytes deep.
void sortFrom( std::uint32_t byte, std::span<IpGenPrefix> prefixes, std::span<IpGenPrefix> scratch ) {
  if ( prefixes.size() <= kSmallBucket || byte * 8 == addressWidthBits( prefixes.front().af() ) ) {
    std::sort( prefixes.begin(), prefixes.end() );
    return;
  }
  BucketBegins const begins = bucketBegins( prefixes, byte );
  BucketBegins next = begins;
  for ( IpGenPrefix const& each : prefixes ) scratch[next[each.addressByte( byte )]++] = each;
  std::copy_n( scratch.begin(), prefixes.size(), prefixes.begin() );
  for ( std::size_t bucket = 0; bucket + 1 != begins.size(); ++bucket ) {
    std::size_t const size = begins[bucket + 1] - begins[bucket];
    if ( size > 1 ) sortFrom( byte + 1, prefixes.subspan( begins[bucket], size ), scratch );
  }
}

}  // namespace

void sortPrefixes( std::span<IpGenPrefix> prefixes ) {
  if ( prefixes.size() > kDigitValues && prefixes.front().af() == AddressFamily::ipv4 ) {
    sortIpv4( prefixes );
    return;
  }
  std::vector<IpGenPrefix> scratch( prefixes.size() > kSmallBucket ? prefixes.size() : 0 );
  sortFrom( 0, prefixes, scratch );
}

}  // namespace Vell
