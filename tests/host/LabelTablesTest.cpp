#include "chip/LabelTables.h"

#include <gtest/gtest.h>

#include "host/PolicyNotation.h"

namespace Orvex::Host::Test {

namespace {

std::string const kIpv4Addresses[] = { "0.0.0.0",         "9.255.255.255", "10.0.0.0",        "10.0.255.255",
                                       "10.1.0.0",        "10.1.2.2",      "10.1.2.3",        "10.1.2.4",
                                       "10.1.255.255",    "10.2.0.0",      "10.255.255.255",  "11.0.0.0",
                                       "127.255.255.255", "128.0.0.0",     "255.255.255.254", "255.255.255.255" };
std::string const kIpv6Addresses[] = { "::",          "2001:db7:ffff:ffff:ffff:ffff:ffff:ffff",
                                       "2001:db8::",  "2001:db8::1",
                                       "2001:db8::2", "2001:db8:0:0:8000::",
                                       "2001:db9::",  "ffff:ffff:ffff:ffff:ffff:ffff:ffff:fffe",
                                       "8000::",      "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" };

/// The label of the longest prefix, by looking at all of them.
std::uint16_t longestPrefixLabel( PDPrefixXformEntryColl const& table, Vell::IpGenPrefix const& address,
                                  std::uint16_t invalid ) {
  std::uint16_t label = invalid;
  for ( auto const& [prefix, entry] : table.entry() )  // a longer prefix comes after those that contain it
    if ( prefix.contains( address ) ) label = entry.value.value();
  return label;
}

}  // namespace

// All sets of prefixes of a small pool: nested, side by side, equal in label, at both ends of the address space.
TEST( AddressTable, GivesTheLabelOfTheLongestPrefix ) {
  struct World {
    Vell::AddressFamily family;
    std::vector<std::string> prefixes;
    std::span<std::string const> addresses;
  };
  World const worlds[] = { { Vell::AddressFamily::ipv4,
                             { "0.0.0.0/0", "0.0.0.0/1", "10.0.0.0/8", "10.1.0.0/16", "10.1.2.3/32", "11.0.0.0/8",
                               "128.0.0.0/1", "255.255.255.255/32" },
                             kIpv4Addresses },
                           { Vell::AddressFamily::ipv6,
                             { "::/0", "8000::/1", "2001:db8::/32", "2001:db8::/64", "2001:db8::1/128",
                               "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128" },
                             kIpv6Addresses } };
  for ( World const& world : worlds )
    for ( std::uint32_t chosen = 0; chosen >> world.prefixes.size() == 0; ++chosen ) {
      auto const table = Kiv::make<PDPrefixXformEntryColl>( PrefixXformKey( world.family, true ) );
      for ( std::uint32_t i = 0; i != world.prefixes.size(); ++i )
        if ( ( chosen >> i & 1U ) != 0 )
          table->entryIs( { prefix( world.prefixes[i] ), EncodedLabel( static_cast<std::uint16_t>( i % 3 ) ) } );
      AddressTable const fast( *table, 9 );
      std::string const length = world.family == Vell::AddressFamily::ipv4 ? "/32" : "/128";
      for ( std::string const& address : world.addresses )
        ASSERT_EQ( longestPrefixLabel( *table, prefix( address + length ), 9 ),
                   fast.labelOf( prefix( address + length ) ) )
            << address << " with prefixes " << chosen;
    }
}

TEST( PairTable, GivesTheLabelOfAPair ) {
  auto const pairs = Kiv::make<PDComboEntryColl>();
  for ( std::uint16_t source = 0; source != 300; source = static_cast<std::uint16_t>( source + 2 ) )
    for ( std::uint16_t destination = 0; destination != 30; ++destination )
      pairs->entryIs( { EncodedComboLabel( EncodedLabel( source ), EncodedLabel( destination ) ),
                        EncodedLabel( static_cast<std::uint16_t>( source * 30 + destination ) ) } );
  PairTable const table( *pairs, 7 );
  for ( std::uint16_t source = 0; source != 302; ++source )
    for ( std::uint16_t destination = 0; destination != 32; ++destination ) {
      bool const there = source % 2 == 0 && source < 300 && destination < 30;
      ASSERT_EQ( there ? source * 30 + destination : 7, table.labelOf( source, destination ) );
    }
  EXPECT_EQ( 7, PairTable( 7 ).labelOf( 0, 0 ) );
}

}  // namespace Orvex::Host::Test
