#include "pipeline/Remedies.h"

#include <gmock/gmock.h>

#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "host/TestChips.h"
#include "policy/Normalise.h"

namespace Orvex::Host::Test {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

LocatedPolicy locatedOf( std::vector<Rule> rules, PrefixListNames names = {} ) {
  return { normalised( { { acl( "ipv4 edge", std::move( rules ) ) } } ), {}, std::move( names ) };
}

Remedies remediesOn( ChipProfile const& profile, LocatedPolicy const& located, RemedyLimits const& limits = {} ) {
  SoftwareChip chip( Brae::ChipId( 1 ), profile );
  CompileResult const failure = compile( located.policy, chip );
  EXPECT_NE( CompileOutcome::loaded, failure.outcome );
  EXPECT_TRUE( isForWantOfRoom( failure ) );
  return remediesFor( located, profile, failure, limits );
}

ChipProfile chipWith( Resource resource, std::uint64_t capacity ) {
  ChipProfile profile = plainChip();
  profile.capacities[resource] = capacity;
  return profile;
}

}  // namespace

TEST( Remedies, OfRulesWhoseRemovalIsEnoughTheSmallestIsNamed ) {
  auto const located = locatedOf( { rule( 10, "ttl 1-255" ), rule( 20, "length 1-2 4" ), rule( 30, "dscp 1-15" ),
                                    rule( 40, "proto 6" ), rule( 50, "fragment 3-4" ) } );
  for ( auto const& [capacity, smallest] : { std::pair( 17, "rule 40 (1 entry)" ),
                                             { 16, "rule 50 (2 entries)" },
                                             { 15, "rule 20 (3 entries)" },
                                             { 11, "rule 10 (8 entries)" } } )
    EXPECT_THAT(
        remediesOn( chipWith( Resource::ruleEntries, static_cast<std::uint64_t>( capacity ) ), located ).enough,
        Contains( std::string( "without ipv4 ACL edge, " ) + smallest ) );
}

TEST( Remedies, ATableIsSwitchedOnWithTheRoomThatItTakesOrOff ) {
  ChipProfile raw = chipWith( Resource::ruleEntries, 10 );
  raw.capacities[Resource::rangeEntries] = 0;
  EXPECT_THAT(
      remediesOn( raw, locatedOf( { rule( 10, "dport 1-65534" ), rule( 20, "ttl 7; dport 1-65534" ) } ) ).enough,
      ElementsAre( "with the dport table on (16 bits; it takes 1 rangeEntries, of which this chip has none)" ) );
  ChipProfile narrow = plainChip();
  narrow.ranges[Field::dport] = { 1, 0 };
  EXPECT_THAT(
      remediesOn( narrow, locatedOf( { rule( 10, "dport 1" ), rule( 20, "dport 2" ), rule( 30, "dport 3" ) } ) ).enough,
      ElementsAre( "with the dport table off" ) );
}

TEST( Remedies, AListGoesWithTheRulesThatNameIt ) {
  auto const list = prefixes( "10.0.0.0/8 20.0.0.0/8 30.0.0.0/8 40.0.0.0/8" );
  auto const located = locatedOf( { rule( 10, "source 10.0.0.0/8 20.0.0.0/8 30.0.0.0/8 40.0.0.0/8; dport 1" ),
                                    rule( 20, "source 10.0.0.0/8 20.0.0.0/8 30.0.0.0/8 40.0.0.0/8; dport 2" ),
                                    rule( 30, "source 50.0.0.0/8 60.0.0.0/8" ) },
                                  { { *list, "WIDE" } } );
  EXPECT_THAT( remediesOn( chipWith( Resource::ipv4PrefixEntries, 3 ), located ).enough,
               Contains( "without prefix list WIDE and the 2 rules that name it (4 prefixes)" ) );
}

TEST( Remedies, WithinItsLimitsItSaysWhatWasLeftOut ) {
  auto const located = locatedOf( { rule( 10, "proto 1-254" ), rule( 20, "ttl 1-254" ) } );
  Remedies const none = remediesOn( chipWith( Resource::ruleEntries, 1 ), located, { 0, std::chrono::seconds( 1 ) } );
  EXPECT_THAT( none.enough, IsEmpty() );
  EXPECT_THAT( none.notEnough, IsEmpty() );
  EXPECT_TRUE( none.isCutShort );
  EXPECT_TRUE(
      remediesOn( chipWith( Resource::ruleEntries, 1 ), located, { 9, std::chrono::seconds( 0 ) } ).isCutShort );
}

}  // namespace Orvex::Host::Test
