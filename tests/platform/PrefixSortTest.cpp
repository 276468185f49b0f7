#include "Vell/PrefixSort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "Kiv/RadixSort.h"

namespace {

using Vell::Ip6Addr;
using Vell::IpGenPrefix;

TEST( PrefixSort, GivesTheOrderOfAComparisonSort ) {
  unsigned const seed = 1;
  SCOPED_TRACE( testing::Message() << "seed " << seed );
  std::mt19937_64 random( seed );
  // The masks leave no bits, a few, or all: many equal addresses, buckets within buckets, and an even spread.
  for ( std::uint64_t const mask : { 0ULL, 0x0180000100000003ULL, ~0ULL } ) {
    for ( std::size_t const size : { 0U, 1U, 2U, 64U, 65U, 5000U } ) {
      std::vector<IpGenPrefix> ipv4;
      std::vector<IpGenPrefix> ipv6;
      for ( std::size_t i = 0; i != size; ++i ) {
        std::uint64_t const bits = random() & mask;
        auto const length = static_cast<std::uint32_t>( random() );
        ipv4.emplace_back( static_cast<std::uint32_t>( bits >> 32 ^ bits ), length % 33 );
        ipv6.emplace_back( Ip6Addr( bits, random() & mask ), length % 129 );
      }
      for ( std::vector<IpGenPrefix>* const prefixes : { &ipv4, &ipv6 } ) {
        std::vector<IpGenPrefix> want = *prefixes;
        std::sort( want.begin(), want.end() );
        Vell::sortPrefixes( *prefixes );
        EXPECT_EQ( want, *prefixes ) << size << " with mask " << mask;
      }
    }
  }
}

TEST( RadixSort, SortsByANumberAndKeepsTheOrderOfEqualOnes ) {
  unsigned const seed = 2;
  SCOPED_TRACE( testing::Message() << "seed " << seed );
  std::mt19937_64 random( seed );
  // One digit, several, all, and none that differs.
  for ( std::uint64_t const mask : { 0x3FULL, 0x40001000ULL, ~0ULL, 0ULL } ) {
    for ( std::size_t const size : { 0U, 1U, 1023U, 1024U, 5000U } ) {
      std::vector<std::pair<std::uint64_t, std::size_t>> members;
      for ( std::size_t at = 0; at != size; ++at ) members.emplace_back( random() & mask, at );
      auto want = members;
      std::sort( want.begin(), want.end() );
      Kiv::sortByNumber( members, []( auto const& member ) { return member.first; } );
      EXPECT_EQ( want, members ) << size << " with mask " << mask;
    }
  }
}

}  // namespace
