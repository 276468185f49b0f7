#include "policy/PrefixSets.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "RandomPolicy.h"
#include "host/PolicyNotation.h"
#include "packets/BoundaryPackets.h"
#include "verify/Interpreter.h"

namespace Orvex::Host::Test {

namespace {

PrefixList joined( std::vector<SharedPrefixList> const& lists ) {
  std::vector<PrefixList const*> pointers;
  for ( auto const& each : lists ) pointers.push_back( each.get() );
  return unionOf( pointers );
}

std::vector<SharedPrefixList> listsOf( Acl const& acl ) {
  std::vector<SharedPrefixList> lists;
  for ( Rule const& rule : acl.rules )
    for ( auto const& list : { rule.source, rule.destination } )
      if ( list ) lists.push_back( list );
  return lists;
}

}  // namespace

TEST( PrefixSets, MatchesWhatAnyOfTheListsMatchesByItself ) {
  for ( std::uint64_t seed = 1; seed <= 300; ++seed ) {
    SCOPED_TRACE( "seed " + std::to_string( seed ) );
    Random random( seed );
    Acl const acl = randomRawPolicy( random ).acls[0];
    auto const lists = listsOf( acl );
    if ( lists.empty() ) continue;
    auto const result = std::make_shared<PrefixList const>( joined( lists ) );
    BoundaryPackets packets( random, acl );
    for ( int i = 0; i != 200; ++i ) {
      auto const address = packets.next().source;
      bool const want = std::any_of( lists.begin(), lists.end(),
                                     [&]( auto const& list ) { return Verify::matches( list, address ); } );
      ASSERT_EQ( want, Verify::matches( result, address ) ) << textOf( *result );
    }
  }
}

TEST( PrefixSets, ContainAndMeetByWhatTheListsMatch ) {
  struct {
    bool contained;
    bool meeting;
    char const* outer;
    char const* inner;
  } const cases[] = {
      { true, true, "10.0.0.0/8", "10.0.0.0/8" },
      { true, true, "10.0.0.0/8", "10.1.0.0/16 10.2.0.0/16" },
      { false, true, "10.0.0.0/8", "10.1.0.0/16 11.0.0.0/8" },
      { false, false, "10.0.0.0/8", "11.0.0.0/8" },
      { false, true, "10.0.0.0/8 !10.1.0.0/16", "10.0.0.0/8" },
      { true, true, "10.0.0.0/8 !10.1.0.0/16", "10.0.0.0/8 !10.1.0.0/16 !10.2.0.0/16" },
      { false, false, "10.0.0.0/8 !10.1.0.0/16", "10.1.2.0/24" },
      { true, true, "10.0.0.0/8 10.1.2.0/24 !10.1.0.0/16", "10.1.2.128/25" },
      { true, false, "10.0.0.0/8", "!10.0.0.0/8" },
  };
  for ( auto const& [contained, meeting, outer, inner] : cases ) {
    EXPECT_EQ( contained, contains( *prefixes( outer ), *prefixes( inner ) ) ) << outer << " " << inner;
    EXPECT_EQ( meeting, meet( *prefixes( outer ), *prefixes( inner ) ) ) << outer << " " << inner;
  }
}

}  // namespace Orvex::Host::Test
