#include "pipeline/PlainExpansion.h"

#include <algorithm>
#include <bit>
#include <span>
#include <vector>

namespace Orvex::Host {

namespace {

/// A prefix of a list, and whether it matches.
struct Member {
  Vell::IpGenPrefix prefix;
  bool matches;
};

/// The prefixes that cover a part of the address space.
struct Cover {
  std::uint64_t prefixes;
  bool whole;  // all of the part, which is then one prefix
};

bool bitAt( Vell::IpGenPrefix const& prefix, std::uint32_t at ) {
  return ( prefix.addressByte( at / 8 ) >> ( 7 - at % 8 ) & 1U ) != 0;
}

/// Of the part with `length` leading bits in which all members lie; they are in pre-order. `matches` is what the nearest
/// prefix around the part says.
Cover coverOf( std::span<Member const> members, std::uint32_t length, bool matches ) {
  if ( !members.empty() && members.front().prefix.length() == length ) {
    matches = members.front().matches;
    members = members.subspan( 1 );
  }
  if ( members.empty() ) return { matches ? 1U : 0U, matches };
  auto const ones = std::partition_point( members.begin(), members.end(),
                                          [&]( Member const& member ) { return !bitAt( member.prefix, length ); } );
  auto const zeroCount = static_cast<std::size_t>( ones - members.begin() );
  Cover const zeros = coverOf( members.first( zeroCount ), length + 1, matches );
  Cover const rest = coverOf( members.subspan( zeroCount ), length + 1, matches );
  if ( zeros.whole && rest.whole ) return { 1, true };
  return { zeros.prefixes + rest.prefixes, false };
}

/// Takes the largest block that begins at the first value and does not go beyond the last.
std::uint64_t blocksOf( ValueRange const& range ) {
  std::uint64_t blocks = 0;
  for ( std::uint64_t first = range.first; first <= range.last; ++blocks ) {
    std::uint64_t const left = range.last - first + 1;
    std::uint64_t const largest = std::bit_floor( left );
    first += first == 0 ? largest : std::min( largest, first & ~( first - 1 ) );
  }
  return blocks;
}

std::uint64_t product( std::uint64_t a, std::uint64_t b ) {
  constexpr std::uint64_t kGreatest = ~std::uint64_t{ 0 };
  return b != 0 && a > kGreatest / b ? kGreatest : a * b;
}

}  // namespace

std::uint64_t plainEntries( SharedPrefixList const& list ) {
  if ( !list ) return 1;
  if ( list->prefixes.size() == 1 && list->excepts.empty() ) return 1;
  std::vector<Member> members;
  members.reserve( list->prefixes.size() + list->excepts.size() );
  for ( Vell::IpGenPrefix const& prefix : list->prefixes ) members.push_back( { prefix, true } );
  for ( Vell::IpGenPrefix const& prefix : list->excepts ) members.push_back( { prefix, false } );
  // The same prefix of both kinds matches: it stands first, and the other goes.
  std::stable_sort( members.begin(), members.end(),
                    []( Member const& a, Member const& b ) { return a.prefix < b.prefix; } );
  auto const same = []( Member const& a, Member const& b ) { return a.prefix == b.prefix; };
  members.erase( std::unique( members.begin(), members.end(), same ), members.end() );
  return coverOf( members, 0, false ).prefixes;
}

std::uint64_t plainEntries( RangeSet const& ranges ) {
  if ( ranges.empty() ) return 1;
  std::uint64_t blocks = 0;
  for ( ValueRange const& range : ranges ) blocks += blocksOf( range );
  return blocks;
}

std::uint64_t plainEntries( Rule const& rule ) {
  std::uint64_t entries = product( plainEntries( rule.source ), plainEntries( rule.destination ) );
  for ( Field const field : kFields ) entries = product( entries, plainEntries( rule.ranges[field] ) );
  return rule.tcpEstablished && !rule.tcpInit ? product( entries, 2 ) : entries;
}

}  // namespace Orvex::Host
