#include "verify/Addresses.h"

#include <algorithm>

namespace Orvex::Verify {

namespace {

/// `bits` ones, up to 128.
AddressNumber ones( std::uint32_t bits ) { return bits == 0 ? 0 : ~AddressNumber{ 0 } >> ( 128 - bits ); }

}  // namespace

AddressNumber firstOf( Vell::IpGenPrefix const& prefix ) {
  if ( prefix.af() == Vell::AddressFamily::ipv4 ) return prefix.ipv4Address();
  return AddressNumber{ prefix.ipv6Address().high() } << 64 | prefix.ipv6Address().low();
}

AddressNumber lastOf( Vell::IpGenPrefix const& prefix ) {
  return firstOf( prefix ) | ones( Vell::addressWidthBits( prefix.af() ) - prefix.length() );
}

Vell::IpGenPrefix prefixOf( Vell::AddressFamily family, AddressNumber first, std::uint32_t length ) {
  if ( family == Vell::AddressFamily::ipv4 ) return { static_cast<std::uint32_t>( first ), length };
  return { Vell::Ip6Addr( static_cast<std::uint64_t>( first >> 64 ), static_cast<std::uint64_t>( first ) ), length };
}

std::vector<Vell::IpGenPrefix> prefixesOf( Vell::AddressFamily family, AddressNumber first, AddressNumber last ) {
  std::uint32_t const width = Vell::addressWidthBits( family );
  std::vector<Vell::IpGenPrefix> prefixes;
  while ( true ) {
    // The largest block that begins here and does not reach beyond the last address.
    std::uint32_t bits = 0;
    while ( bits < width && ( first & ones( bits + 1 ) ) == 0 && ones( bits + 1 ) <= last - first ) ++bits;
    prefixes.push_back( prefixOf( family, first, width - bits ) );
    if ( last - first == ones( bits ) ) return prefixes;
    first += ones( bits ) + 1;
  }
}

std::vector<Stretch> stretchesOf( std::span<PrefixValue const> prefixes, std::uint32_t outside ) {
  struct Around {
    AddressNumber last;
    std::uint32_t value;
  };
  std::vector<Around> around;
  std::vector<Stretch> stretches = { { 0, outside } };
  auto const begin = [&]( AddressNumber first, std::uint32_t value ) {
    if ( stretches.back().first == first )
      stretches.back().value = value;
    else if ( stretches.back().value != value )
      stretches.push_back( { first, value } );
  };
  auto const endInnermost = [&]( AddressNumber lastOfAll ) {
    AddressNumber const last = around.back().last;
    around.pop_back();
    if ( last != lastOfAll ) begin( last + 1, around.empty() ? outside : around.back().value );
  };
  if ( prefixes.empty() ) return stretches;
  AddressNumber const lastOfAll = ones( Vell::addressWidthBits( prefixes.front().prefix.af() ) );
  for ( auto const& [prefix, value] : prefixes ) {
    AddressNumber const first = firstOf( prefix );
    while ( !around.empty() && around.back().last < first ) endInnermost( lastOfAll );
    begin( first, value );
    around.push_back( { lastOf( prefix ), value } );
  }
  while ( !around.empty() ) endInnermost( lastOfAll );
  return stretches;
}

std::vector<Stretch> stretchesOf( Host::PrefixList const& list ) {
  std::vector<PrefixValue> prefixes;
  prefixes.reserve( list.prefixes.size() + list.excepts.size() );
  for ( Vell::IpGenPrefix const& prefix : list.prefixes ) prefixes.push_back( { prefix, 1 } );
  for ( Vell::IpGenPrefix const& prefix : list.excepts ) prefixes.push_back( { prefix, 0 } );
  // The same prefix as both is a prefix: of equal ones the first is kept.
  auto const ascends = []( PrefixValue const& a, PrefixValue const& b ) { return a.prefix < b.prefix; };
  if ( !std::is_sorted( prefixes.begin(), prefixes.end(), ascends ) )
    std::stable_sort( prefixes.begin(), prefixes.end(), ascends );
  auto const equalPrefixes = []( PrefixValue const& a, PrefixValue const& b ) { return a.prefix == b.prefix; };
  prefixes.erase( std::unique( prefixes.begin(), prefixes.end(), equalPrefixes ), prefixes.end() );
  return stretchesOf( prefixes, 0 );
}

void AddressAtoms::cutAt( std::vector<Stretch> const& stretches ) {
  for ( Stretch const& stretch : stretches ) cuts_.push_back( stretch.first );
}

void AddressAtoms::settle() {
  std::sort( cuts_.begin(), cuts_.end() );
  cuts_.erase( std::unique( cuts_.begin(), cuts_.end() ), cuts_.end() );
}

AddressNumber AddressAtoms::lastOf( std::uint32_t atom ) const {
  return atom + 1 == count() ? ones( Vell::addressWidthBits( family_ ) ) : cuts_[atom + 1] - 1;
}

std::vector<Interval> AddressAtoms::atomsOf( std::vector<Stretch> const& stretches ) const {
  std::vector<Interval> atoms;
  for ( Stretch const& stretch : stretches ) {
    auto const at = std::lower_bound( cuts_.begin(), cuts_.end(), stretch.first ) - cuts_.begin();
    if ( !atoms.empty() ) atoms.back().last = static_cast<std::uint32_t>( at - 1 );
    atoms.push_back( { static_cast<std::uint32_t>( at ), count() - 1 } );
  }
  return atoms;
}

}  // namespace Orvex::Verify
