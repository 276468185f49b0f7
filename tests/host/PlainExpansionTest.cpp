#include "pipeline/PlainExpansion.h"

#include <gtest/gtest.h>

#include "RandomPolicy.h"
#include "host/PolicyNotation.h"
#include "verify/Interpreter.h"

namespace Orvex::Host::Test {

namespace {

/// Blocks of a power of two that cover the members, which merge from single values up.
std::uint64_t fewestBlocks( std::vector<bool> const& member ) {
  std::uint64_t blocks = 0;
  std::vector<bool> whole = member;
  while ( whole.size() > 1 ) {
    std::vector<bool> next( whole.size() / 2 );
    for ( std::size_t i = 0; i != next.size(); ++i ) {
      next[i] = whole[2 * i] && whole[2 * i + 1];
      if ( !next[i] ) blocks += whole[2 * i] || whole[2 * i + 1] ? 1 : 0;
    }
    whole = next;
  }
  return blocks + ( whole.front() ? 1 : 0 );
}

}  // namespace

TEST( PlainExpansion, ARangeIsTheFewestBlocksThatCoverIt ) {
  for ( std::uint32_t first = 0; first != 64; ++first )
    for ( std::uint32_t last = first; last != 64; ++last ) {
      std::vector<bool> member( 64 );
      for ( std::uint32_t value = first; value <= last; ++value ) member[value] = true;
      ASSERT_EQ( fewestBlocks( member ), plainEntries( RangeSet{ { first, last } } ) ) << first << "-" << last;
    }
  EXPECT_EQ( 30U, plainEntries( ranges( "1-65534" ) ) );
  EXPECT_EQ( 1U, plainEntries( ranges( "65535" ) ) );
}

// Lists of prefixes of 32 addresses, with holes and holes filled again.
TEST( PlainExpansion, AListIsTheFewestPrefixesThatMatchTheSame ) {
  constexpr std::uint32_t kFirst = 0x0A000000;
  for ( std::uint64_t seed = 1; seed != 2000; ++seed ) {
    SCOPED_TRACE( "seed " + std::to_string( seed ) );
    Random random( seed );
    PrefixList list;
    for ( std::uint32_t left = random.between( 1, 8 ); left != 0; --left ) {
      Vell::IpGenPrefix const prefix( kFirst + random.between( 0, 31 ), random.between( 27, 32 ) );
      ( random.percent( 50 ) ? list.prefixes : list.excepts ).push_back( prefix );
    }
    auto const shared = std::make_shared<PrefixList const>( list );
    std::vector<bool> member( 32 );
    for ( std::uint32_t i = 0; i != 32; ++i )
      member[i] = Verify::matches( shared, Vell::IpGenPrefix( kFirst + i, 32 ) );
    ASSERT_EQ( fewestBlocks( member ), plainEntries( SharedPrefixList( shared ) ) ) << textOf( list );
  }
  EXPECT_EQ( 128U, plainEntries( prefixes( "::/0 !2001:db8::1/128" ) ) );
}

TEST( PlainExpansion, ARuleIsAllCombinations ) {
  EXPECT_EQ( 8U, plainEntries( rule( 10, "source 10.0.0.0/8 !10.0.0.0/9; dport 1-6; established" ) ) );
  EXPECT_EQ( 4U, plainEntries( rule( 10, "dport 1-6; init; established" ) ) ) << "init alone counts";
  EXPECT_EQ( 1U, plainEntries( rule( 10, "" ) ) );
  EXPECT_EQ( 0U, plainEntries( rule( 10, "source !0.0.0.0/0; dport 1-6" ) ) );
  EXPECT_EQ( std::uint64_t{ 128 } * 128 * 30 * 30 * 30 * 14 * 14 * 14 * 24 * 10 * 2,
             plainEntries( rule( 10,
                                 "source ::/0 !::1/128; destination ::/0 !::1/128; sport 1-65534; dport 1-65534; "
                                 "length 1-65534; icmpType 1-254; proto 1-254; ttl 1-254; fragment 1-8190; "
                                 "dscp 1-62; established" ) ) );
}

}  // namespace Orvex::Host::Test
