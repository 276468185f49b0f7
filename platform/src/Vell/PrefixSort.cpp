#include "Vell/PrefixSort.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Kiv/RadixSort.h"

namespace Vell {

namespace {

/// Below this, dealing costs more than comparing.
constexpr std::size_t kSmallBucket = 64;

constexpr unsigned kLengthBits = 6;

/// Below this, sortFrom() is as fast.
constexpr std::size_t kManyIpv4 = 1024;

void sortIpv4( std::span<IpGenPrefix> prefixes ) {
  std::vector<std::uint64_t> words( prefixes.size() );
  for ( std::size_t at = 0; at != words.size(); ++at )
    words[at] = std::uint64_t{ prefixes[at].ipv4Address() } << kLengthBits | prefixes[at].length();
  Kiv::sortByNumber( words, []( std::uint64_t word ) { return word; } );
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
  if ( prefixes.size() > kManyIpv4 && prefixes.front().af() == AddressFamily::ipv4 ) {
    sortIpv4( prefixes );
    return;
  }
  std::vector<IpGenPrefix> scratch( prefixes.size() > kSmallBucket ? prefixes.size() : 0 );
  sortFrom( 0, prefixes, scratch );
}

}  // namespace Vell
