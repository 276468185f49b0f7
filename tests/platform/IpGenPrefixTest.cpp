#include "Vell/IpGenPrefix.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bitset>
#include <random>

#include "Vell/DscpValue.h"

namespace {

using Kiv::strepToValue;
using Kiv::valueToStrep;
using Kiv::TextForm::operator<<;
using testing::EndsWith;
using testing::ThrowsMessage;
using Vell::AddressFamily;
using Vell::Ip6Addr;
using Vell::IpGenPrefix;

IpGenPrefix prefix( std::string_view text ) { return strepToValue<IpGenPrefix>( text ); }
Ip6Addr address( std::string_view text ) { return strepToValue<Ip6Addr>( text ); }
std::string text( auto const& value ) { return std::string( valueToStrep( value ).view() ); }

/// All bits of an address, first bit first; an IPv4 address has 32.
std::string bits( std::uint32_t ipv4 ) { return std::bitset<32>( ipv4 ).to_string(); }
std::string bits( Ip6Addr const& ipv6 ) {
  return std::bitset<64>( ipv6.high() ).to_string() + std::bitset<64>( ipv6.low() ).to_string();
}
std::string bits( IpGenPrefix const& whole ) {
  return whole.af() == AddressFamily::ipv4 ? bits( whole.ipv4Address() ) : bits( whole.ipv6Address() );
}

struct RandomAddresses {
  std::mt19937_64 random;
  std::uint32_t ipv4() { return static_cast<std::uint32_t>( random() ); }
  Ip6Addr ipv6() { return { random(), random() }; }
};

TEST( IpGenPrefix, KeepsExactlyTheBitsOfItsLength ) {
  RandomAddresses addresses{ std::mt19937_64( 1 ) };
  auto const check = []( auto const& whole ) {
    std::string const all = bits( whole );
    for ( std::uint32_t length = 0; length <= all.size(); ++length ) {
      IpGenPrefix const cut( whole, length );
      EXPECT_EQ( all.substr( 0, length ) + std::string( all.size() - length, '0' ), bits( cut ) ) << cut;
      EXPECT_EQ( length, cut.length() );
    }
  };
  check( addresses.ipv4() );
  check( 0xFFFFFFFFU );
  check( addresses.ipv6() );
  check( Ip6Addr( ~0ULL, ~0ULL ) );
}

TEST( IpGenPrefix, ContainsWhatSharesItsBits ) {
  auto const check = []( auto const& whole, auto const& withBitFlipped ) {
    std::uint32_t const width = static_cast<std::uint32_t>( bits( whole ).size() );
    for ( std::uint32_t length = 0; length <= width; ++length ) {
      IpGenPrefix const outer( whole, length );
      for ( std::uint32_t bit = 0; bit < width; ++bit )
        EXPECT_EQ( bit >= length, outer.contains( withBitFlipped( bit ) ) ) << outer << " bit " << bit;
      for ( std::uint32_t inner = 0; inner <= width; ++inner )
        EXPECT_EQ( inner >= length, outer.contains( IpGenPrefix( whole, inner ) ) ) << outer << " in /" << inner;
    }
  };
  check( 0xC0000201U, []( std::uint32_t bit ) { return 0xC0000201U ^ 0x80000000U >> bit; } );
  check( Ip6Addr( 0x20010DB8ULL << 32, 1 ), []( std::uint32_t bit ) {
    std::uint64_t const flip = 1ULL << ( 63 - bit % 64 );
    return bit < 64 ? Ip6Addr( 0x20010DB8ULL << 32 ^ flip, 1 ) : Ip6Addr( 0x20010DB8ULL << 32, 1 ^ flip );
  } );
}

TEST( IpGenPrefix, FamiliesAreStrangers ) {
  EXPECT_FALSE( prefix( "0.0.0.0/0" ).contains( prefix( "::/0" ) ) );
  EXPECT_FALSE( prefix( "::/0" ).contains( prefix( "0.0.0.0/32" ) ) );
  EXPECT_FALSE( prefix( "::/0" ).contains( 0U ) );
  EXPECT_NE( prefix( "0.0.0.0/0" ), prefix( "::/0" ) );
  EXPECT_EQ( prefix( "::/0" ), IpGenPrefix::defaultRoute( AddressFamily::ipv6 ) );
  EXPECT_EQ( prefix( "0.0.0.0/0" ), IpGenPrefix() );
}

TEST( IpGenPrefix, OrderIsFamilyThenTheOrderOfTheBitStrings ) {
  unsigned const seed = 2;
  SCOPED_TRACE( testing::Message() << "seed " << seed );
  RandomAddresses addresses{ std::mt19937_64( seed ) };
  std::vector<IpGenPrefix> all;
  for ( std::uint32_t length = 0; length <= 128; ++length ) {
    for ( std::uint32_t const ipv4 : { 0xFFFFFFFFU, 0x80000000U, addresses.ipv4() } )
      all.emplace_back( ipv4, length % 33 );
    for ( Ip6Addr const& ipv6 : { Ip6Addr(), addresses.ipv6() } ) all.emplace_back( ipv6, length );
  }
  auto const key = []( IpGenPrefix const& each ) {
    return std::pair( each.af(), bits( each ).substr( 0, each.length() ) );
  };
  for ( IpGenPrefix const& a : all )
    for ( IpGenPrefix const& b : all ) EXPECT_EQ( key( a ) <=> key( b ), a <=> b ) << a << " and " << b;
}

TEST( IpGenPrefix, IsReadBackFromItsText ) {
  unsigned const seed = 3;
  SCOPED_TRACE( testing::Message() << "seed " << seed );
  RandomAddresses addresses{ std::mt19937_64( seed ) };
  for ( std::uint32_t i = 0; i != 5000; ++i ) {
    IpGenPrefix const four( addresses.ipv4(), i % 33 );
    EXPECT_EQ( four, prefix( text( four ) ) );
    IpGenPrefix const six( addresses.ipv6(), i % 129 );
    EXPECT_EQ( six, prefix( text( six ) ) );
  }
  EXPECT_EQ( "10.0.0.0/8", text( prefix( "10.1.2.3/8" ) ) );
  EXPECT_EQ( "::/0", text( prefix( "0::0/0" ) ) );
  EXPECT_EQ( "2001:db8::/32", text( prefix( "2001:DB8:1::1/32" ) ) );
  std::string const longest = "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff/128";
  EXPECT_EQ( longest, text( prefix( longest ) ) );
}

TEST( IpGenPrefix, ParseErrorSaysWhereAndWhatIsExpected ) {
  struct Case {
    char const* want;
    char const* text;
  };
  Case const cases[] = {
      { "a number from 0 to 255 at column 1", "" },
      { "a number from 0 to 255 at column 4", "10.x.0.0/8" },
      { "a number from 0 to 255 at column 4", "10.256.0.0/8" },
      { "a number without leading zeros at column 6", "10.0.00.0/8" },
      { "\".\" at column 5", "10.0" },
      { "\"/\" at column 9", "10.0.0.0" },
      { "a number from 0 to 32 at column 10", "10.0.0.0/" },
      { "a number from 0 to 32 at column 10", "10.0.0.0/-1" },
      { "a number without leading zeros at column 10", "10.0.0.0/08" },
      { "nothing more at column 11", "10.0.0.0/8x" },
      { "a number from 0 to 128 at column 4", "::/" },
      { "\"/\" at column 3", "::" },
      { "\"/\" at column 3", ":::/0" },
      { "one to four hexadecimal digits at column 1", ":1/64" },
      { "one to four hexadecimal digits at column 1", "12345::/64" },
      { "one to four hexadecimal digits at column 3", "1:/64" },
      { "one to four hexadecimal digits at column 3", "1:g::/64" },
      { "\":\" and the rest of eight groups at column 4", "1:2/64" },
      { "\"::\" only once at column 5", "1::2::3/64" },
      { "\"/\" at column 16", "1:2:3:4:5:6:7:8:9/64" },
      { "\"/\" at column 16", "1:2:3:4:5:6:7:8::/64" },
      { "\"/\" at column 16", "1:2:3:4:5:6:7::8/64" },
      { "\"/\" at column 16", "::1:2:3:4:5:6:7:8/64" },
      { "a dotted quad only in place of the last two groups at column 3", "1:1.2.3.4/64" },
      { "a dotted quad only in place of the last two groups at column 15", "1:2:3:4:5:6:7:1.2.3.4/64" },
      { "a dotted quad only in place of the last two groups at column 15", "::1:2:3:4:5:6:1.2.3.4/64" },
      { "\"/\" at column 10", "::1.2.3.4:1/64" },
      { "a number from 0 to 255 at column 5", "::1.a.3.4/64" },
  };
  for ( Case const& each : cases )
    EXPECT_THAT( [&] { prefix( each.text ); },
                 ThrowsMessage<Kiv::ParseException>( EndsWith( std::string( "expected " ) + each.want ) ) )
        << each.text;
}

TEST( IpGenPrefix, LengthOutsideTheFamilyIsARangeError ) {
  auto const four = ThrowsMessage<Kiv::RangeException>( std::string( IpGenPrefix::kIpv4LengthRange ) );
  auto const six = ThrowsMessage<Kiv::RangeException>( std::string( IpGenPrefix::kIpv6LengthRange ) );
  EXPECT_THAT( [] { IpGenPrefix( 0U, 33 ); }, four );
  EXPECT_THAT( [] { prefix( "10.0.0.0/33" ); }, four );
  EXPECT_THAT( [] { prefix( "10.0.0.0/99999999999" ); }, four );
  EXPECT_THAT( [] { IpGenPrefix( Ip6Addr(), 129 ); }, six );
  EXPECT_THAT( [] { prefix( "::/4294967296" ); }, six );
}

TEST( Ip6Addr, HasOnePrintedFormForItsManyTexts ) {
  struct Case {
    char const* want;
    char const* text;
  };
  Case const cases[] = {
      { "::", "0:0:0:0:0:0:0:0" },
      { "::1", "0:0::0:1" },
      { "1::", "1:0:0:0:0:0:0::" },
      { "2001:db8::1", "2001:0DB8:0:0:0:0:0:1" },
      { "2001:db8:0:1:1:1:1:1", "2001:db8::1:1:1:1:1" },
      { "2001:0:0:1::1", "2001:0:0:1:0:0:0:1" },
      { "2001:db8::1:0:0:1", "2001:db8:0:0:1::1" },
      { "0:2:3:4:5:6:7:8", "::2:3:4:5:6:7:8" },
      { "1:2:3:4:5:6::", "1:2:3:4:5:6:0.0.0.0" },
      { "64:ff9b::a00:1", "64:ff9b::10.0.0.1" },
      { "::ffff:10.0.0.1", "0:0:0:0:0:FFFF:A00:1" },
      { "::ffff:0.0.0.0", "::ffff:0:0" },
      { "::a00:1", "::10.0.0.1" },
      { "1::ffff:a00:1", "1::ffff:10.0.0.1" },
  };
  for ( Case const& each : cases ) EXPECT_EQ( each.want, text( address( each.text ) ) ) << each.text;
}

TEST( Ip6Addr, AnyRunOfZerosMayBeTheGap ) {
  // Every choice of which groups are zero, and every run of those that could be left out.
  for ( unsigned zeros = 0; zeros != 256; ++zeros ) {
    std::string groups[8];
    std::uint64_t halves[2] = { 0, 0 };
    for ( unsigned i = 0; i != 8; ++i ) {
      unsigned const group = zeros >> i & 1 ? 0 : 0xA0 + i;
      groups[i] = zeros >> i & 1 ? "0" : std::string( "a" ) + std::to_string( i );
      halves[i / 4] = halves[i / 4] << 16 | group;
    }
    Ip6Addr const want( halves[0], halves[1] );
    EXPECT_EQ( want, address( text( want ) ) );
    for ( unsigned begin = 0; begin != 8; ++begin ) {
      for ( unsigned end = begin + 1; end <= 8 && ( zeros >> ( end - 1 ) & 1 ); ++end ) {
        std::string written;
        for ( unsigned i = 0; i != begin; ++i ) written.append( i == 0 ? "" : ":" ).append( groups[i] );
        written += "::";
        for ( unsigned i = end; i != 8; ++i ) written.append( i == end ? "" : ":" ).append( groups[i] );
        EXPECT_EQ( want, address( written ) ) << written;
      }
    }
  }
}

TEST( DscpValue, HoldsSixBits ) {
  auto const outOfRange = ThrowsMessage<Kiv::RangeException>( std::string( Vell::DscpValue::kValueRange ) );
  Vell::DscpValue dscp( 63 );
  EXPECT_THAT( [&] { dscp.valueIs( 64 ); }, outOfRange );
  EXPECT_EQ( "63", text( dscp ) );
  EXPECT_THAT( [] { Vell::DscpValue( 64 ); }, outOfRange );
  EXPECT_THAT( [] { strepToValue<Vell::DscpValue>( "64" ); }, outOfRange );
}

}  // namespace
