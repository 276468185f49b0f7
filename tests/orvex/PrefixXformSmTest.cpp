#include "Orvex/OrvexPrefixXformSm.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "orvex/TestSets.h"

namespace Orvex {
namespace {

using Test::checkedGroups;
using Test::Prefixes;
using Test::PrefixStage;
using Test::Sets;
using Vell::AddressFamily;
using Vell::IpGenPrefix;
__extension__ using Number = unsigned __int128;

/// An address is a prefix of full length.
std::uint32_t fullLength( AddressFamily af ) { return af == AddressFamily::ipv4 ? 32 : 128; }

IpGenPrefix prefixAt( AddressFamily af, Number address, std::uint32_t length ) {
  if ( af == AddressFamily::ipv4 ) return { static_cast<std::uint32_t>( address ), length };
  return { Vell::Ip6Addr( static_cast<std::uint64_t>( address >> 64 ), static_cast<std::uint64_t>( address ) ),
           length };
}

/// Adds the first and the last address of the prefix, and those below and above it.
void addBoundaries( IpGenPrefix const& prefix, std::set<IpGenPrefix>& addresses ) {
  AddressFamily const af = prefix.af();
  Number const first = af == AddressFamily::ipv4
                           ? Number{ prefix.ipv4Address() }
                           : Number{ prefix.ipv6Address().high() } << 64 | prefix.ipv6Address().low();
  std::uint32_t const hostBits = fullLength( af ) - prefix.length();
  Number const last = first | ( hostBits == 128 ? ~Number{ 0 } : ( Number{ 1 } << hostBits ) - 1 );
  for ( Number const address : { first, last, first - 1, last + 1 } )  // beyond the ends there is the other end
    addresses.insert( prefixAt( af, address, fullLength( af ) ) );
}

bool has( std::vector<IpGenPrefix> const& prefixes, IpGenPrefix const& prefix ) {
  return std::find( prefixes.begin(), prefixes.end(), prefix ) != prefixes.end();
}

/// A list matches when the longest of its own and excepted prefixes that contains the address is its own.
bool matches( Prefixes const& list, IpGenPrefix const& address ) {
  for ( std::uint32_t length = address.length() + 1; length-- != 0; ) {
    IpGenPrefix const prefix = address.af() == AddressFamily::ipv4 ? IpGenPrefix( address.ipv4Address(), length )
                                                                   : IpGenPrefix( address.ipv6Address(), length );
    if ( has( list.own, prefix ) ) return true;
    if ( has( list.excepted, prefix ) ) return false;
  }
  return false;
}

void checkAgainstModel( PrefixStage const& stage, std::vector<Prefixes> const& lists ) {
  auto const setsOf = [&]( IpGenPrefix const& address ) {
    Sets sets;
    for ( std::size_t at = 0; at != lists.size(); ++at )
      if ( matches( lists[at], address ) ) sets.insert( at + 1 );
    return sets;
  };
  auto const groups = checkedGroups( stage.pieces(), setsOf, *stage.status );

  std::set<IpGenPrefix> prefixes;
  for ( Prefixes const& list : lists ) {
    prefixes.insert( list.own.begin(), list.own.end() );
    prefixes.insert( list.excepted.begin(), list.excepted.end() );
  }
  std::set<IpGenPrefix> pieces;
  for ( auto const& [piece, label] : stage.pieces() ) pieces.insert( piece );
  EXPECT_EQ( prefixes, pieces );

  std::set<IpGenPrefix> addresses;
  for ( IpGenPrefix const& prefix : prefixes ) addBoundaries( prefix, addresses );
  for ( IpGenPrefix const& address : addresses ) {
    std::optional<IpGenPrefix> longest;
    for ( IpGenPrefix const& piece : pieces )
      if ( piece.contains( address ) && ( !longest || piece.length() > longest->length() ) ) longest = piece;
    Sets const have = longest ? groups.at( stage.pieces().find( *longest )->value() ) : Sets();
    EXPECT_EQ( setsOf( address ), have ) << address;
  }
}

/// Prefixes near each other: of a few addresses and of their neighbours one bit away, in all lengths.
struct AnyPrefix {
  AnyPrefix( AddressFamily family, std::uint32_t seed ) : af( family ), random( seed ) {
    for ( int at = 0; at != 2; ++at ) roots.push_back( Number{ random() } << 64 | random() );
  }
  IpGenPrefix operator()() {
    Number address = roots[random() % roots.size()];
    std::uint32_t const full = fullLength( af );
    if ( random() % 2 == 0 ) address ^= Number{ 1 } << random() % full;
    std::uint64_t const choice = random() % 8;
    std::uint64_t const length = choice == 0 ? full : choice < 3 ? random() % 4 : random() % ( full + 1 );
    return prefixAt( af, address, static_cast<std::uint32_t>( length ) );
  }
  std::vector<IpGenPrefix> some( std::uint64_t bound ) {
    std::vector<IpGenPrefix> prefixes( random() % bound );
    for ( IpGenPrefix& prefix : prefixes ) prefix = ( *this )();
    return prefixes;
  }

  AddressFamily af;
  std::mt19937_64 random;
  std::vector<Number> roots = { 0, ~Number{ 0 } };
};

class PrefixXformSmTest : public testing::TestWithParam<AddressFamily> {};

TEST_P( PrefixXformSmTest, AnAddressHasTheLabelOfTheListsThatMatchIt ) {
  for ( std::uint32_t seed = 1; seed <= 400 && !HasFailure(); ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    AnyPrefix any( GetParam(), seed );
    std::vector<Prefixes> lists( any.random() % 12 );
    for ( std::size_t at = 0; at != lists.size(); ++at ) {
      Prefixes const& earlier = lists[any.random() % ( at + 1 )];
      switch ( any.random() % 4 ) {
        case 0:  // the same, or the reverse: all that is named there is excepted here
          lists[at] = any.random() % 2 == 0 ? earlier : Prefixes{ earlier.excepted, earlier.own };
          break;
        case 1:  // holes in another list's prefixes
          lists[at] = { any.some( 4 ), earlier.own };
          break;
        default:
          lists[at] = { any.some( 8 ), any.some( 5 ) };
      }
    }
    PrefixStage stage( 16, GetParam() );
    for ( std::size_t at = 0; at != lists.size(); ++at ) stage.add( at + 1, lists[at] );
    EXPECT_EQ( StageStatusType::finishedSuccess, stage.kick() );
    checkAgainstModel( stage, lists );
  }
}

INSTANTIATE_TEST_SUITE_P( Families, PrefixXformSmTest, testing::Values( AddressFamily::ipv4, AddressFamily::ipv6 ),
                          []( auto const& family ) { return family.index == 0 ? "Ipv4" : "Ipv6"; } );

}  // namespace
}  // namespace Orvex
