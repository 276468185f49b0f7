#include "policy/Lint.h"

#include <gtest/gtest.h>

#include "RandomPolicy.h"
#include "host/PolicyNotation.h"
#include "packets/BoundaryPackets.h"
#include "policy/AclTextReader.h"
#include "policy/CoverIndex.h"
#include "verify/Interpreter.h"

namespace Orvex::Host::Test {

namespace {

Diagnostics linted( std::string const& rules ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText( "edge.acl", "ip access-list edge\n" + rules, diagnostics );
  auto const policy = readAclText( { file }, diagnostics );
  EXPECT_TRUE( policy ) << diagnostics.text();
  if ( policy ) lint( *policy, diagnostics );
  return diagnostics;
}

/// The warnings, without what they propose.
std::string problems( std::string const& rules ) {
  std::string text;
  for ( Diagnostic const& each : linted( rules ).sorted() ) text += ( text.empty() ? "" : "; " ) + each.problem;
  return text;
}

}  // namespace

TEST( Lint, WarnsOfRulesThatAnEarlierRuleCoversWhole ) {
  std::string const shadowed = "rule 20 never decides: rule 10 matches all of it";
  struct {
    bool want;
    char const* from;
  } const cases[] = {
      { true, "permit ip any any\n permit ip any any" },
      { true, "permit tcp 10.0.0.0/8 any\n permit tcp 10.1.0.0/16 any eq 80" },
      { true, "permit tcp any any range 1 1024\n permit tcp any 10.0.0.0/8 eq 22 80" },
      { true, "permit tcp any any eq 80 443\n permit tcp any any eq 443 dscp ef" },
      { true, "permit tcp any any established\n permit tcp any any eq 80 established" },
      { true, "permit ip any any fragment-offset 0\n permit ip any any fragment-offset 0 ttl 1" },
      { false, "permit tcp any any eq 80\n permit tcp any any" },
      { false, "permit tcp 10.1.0.0/16 any\n permit tcp 10.0.0.0/8 any" },
      { false, "permit tcp any any established\n permit tcp any any init" },
      { false, "permit tcp any any established\n permit tcp any any" },
      { false, "permit ip 10.0.0.0/8 any\n permit ip any 10.0.0.0/8" },
      { false, "permit ip none any\n permit ip 10.0.0.0/8 any" },
      { false, "permit ip any any\n permit ip none any" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want ? shadowed : "", problems( from ) ) << from;
}

TEST( Lint, WarnsOfDeniesWhoseLaterFragmentsGetThrough ) {
  std::string const by20 =
      "later fragments of what rule 10 denies get through: rule 20 does not look at what they lack";
  std::string const by30 =
      "later fragments of what rule 10 denies get through: rule 30 does not look at what they lack";
  std::string const byDefault = "later fragments of what rule 10 denies get through: the ACL's default permits them";
  struct {
    std::string want;
    char const* from;
  } const cases[] = {
      { by20, "deny tcp any any eq 23\n permit ip any any" },
      { by20, "deny udp any any eq 161\n permit ip any 10.0.0.0/8" },
      { by20, "deny udp 10.1.0.0/16 any eq 161\n permit ip 10.0.0.0/8 any" },
      { by20, "deny icmp any any icmp-type echo\n permit icmp any any" },
      { by30, "deny tcp any any eq 23\n permit udp any any\n permit tcp any any" },
      { byDefault, "deny tcp any any eq 23\n default permit" },
      { byDefault, "deny tcp any any eq 23\n deny tcp 10.0.0.0/8 any fragments\n default permit" },
      { "", "deny tcp any any eq 23" },
      { "", "deny tcp any any range 0 65535\n permit ip any any" },
      { "", "deny tcp any any eq 23\n permit udp any any" },
      { "", "deny tcp any any eq 23\n permit tcp any any eq 80" },
      { "", "deny tcp 10.0.0.0/8 any eq 23\n permit ip 11.0.0.0/8 any" },
      { "", "deny tcp any any eq 23\n deny tcp any any fragments\n permit ip any any" },
      { "", "deny tcp any any eq 23\n deny ip any 10.0.0.0/8 fragments\n permit ip any 10.1.0.0/16" },
      { "", "5 deny ip any any fragments\n 10 deny tcp any any eq 23\n permit ip any any\n default permit" },
      { "", "5 deny tcp any 10.0.0.0/8 fragments\n 10 deny tcp any any eq 23\n permit ip any 10.1.0.0/16" },
      { "", "deny tcp any any eq 23 fragment-offset 0\n permit ip any any" },
      { "", "permit tcp any any eq 23\n permit ip any any" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, problems( from ) ) << from;
}

TEST( Lint, GivesTheRuleThatClosesTheGap ) {
  EXPECT_EQ(
      "edge.acl:2:2: warning: later fragments of what rule 10 denies get through: rule 20 does not look at what they "
      "lack; write \"deny tcp 10.0.0.0/8 any dscp ef fragments\" before rule 20\n"
      " 10 deny tcp 10.0.0.0/8 any eq 80 dscp ef established log name x\n ^~\n"
      "edge.acl:3:2: note: this is rule 20\n 20 permit ip any any\n ^~\n",
      linted( " 10 deny tcp 10.0.0.0/8 any eq 80 dscp ef established log name x\n 20 permit ip any any\n" ).text() );
}

TEST( Lint, WarnsOfRulesThatAskForWhatLaterFragmentsLack ) {
  EXPECT_EQ( "rule 10 matches nothing: later fragments carry no ports, ICMP types and TCP flags",
             problems( "permit tcp any any eq 80 fragment-offset 1-5" ) );
}

/// Far behind the rules that are compared one by one, too.
TEST( Lint, FindsShadowsAndGapsAmongManyRulesOfTheSameAddresses ) {
  std::string rules = " deny tcp any any eq 60000\n";
  for ( int port = 1; port <= 500; ++port ) rules += " permit tcp any any eq " + std::to_string( port ) + "\n";
  rules += " permit tcp 10.0.0.0/8 any eq 400 ttl 1\n permit ip any any\n";
  EXPECT_EQ(
      "later fragments of what rule 10 denies get through: rule 5030 does not look at what they lack; "
      "rule 5020 never decides: rule 4010 matches all of it",
      problems( rules ) );
}

TEST( CoverIndex, FindsWhatComparingAllPairsFinds ) {
  std::size_t found = 0;
  for ( std::uint64_t seed = 1; seed <= 300; ++seed ) {
    SCOPED_TRACE( "seed " + std::to_string( seed ) );
    Random random( seed );
    Acl const acl = randomPolicy( random, { 1, 25, 3, 2 } ).acls[0];
    ListContainers lists( acl );
    CoverIndex index( acl, lists );
    for ( std::size_t at = 0; at != acl.rules.size(); ++at ) {
      std::optional<std::size_t> want;
      for ( std::size_t earlier = at; earlier-- != 0; )
        if ( covers( acl.rules[earlier], acl.rules[at] ) ) want = earlier;
      Rule const& inner = acl.rules[at];
      bool const namesNone = ( inner.source && inner.source->prefixes.empty() ) ||
                             ( inner.destination && inner.destination->prefixes.empty() );
      if ( !namesNone ) {
        EXPECT_EQ( want, index.covering( inner ) ) << textOf( acl );
      }
      found += want ? 1 : 0;
      index.add( at );
    }
  }
  EXPECT_GT( found, 100U );
}

TEST( CoverIndex, ARuleThatCoversMatchesWhatTheOtherMatches ) {
  for ( std::uint64_t seed = 1; seed <= 200; ++seed ) {
    SCOPED_TRACE( "seed " + std::to_string( seed ) );
    Random random( seed );
    Acl const acl = randomPolicy( random, { 1, 12, 3, 2 } ).acls[0];
    BoundaryPackets packets( random, acl );
    for ( int i = 0; i != 100; ++i ) {
      Verify::Packet const packet = packets.next();
      for ( Rule const& outer : acl.rules )
        for ( Rule const& inner : acl.rules )
          if ( Verify::matches( inner, packet ) && covers( outer, inner ) ) {
            ASSERT_TRUE( Verify::matches( outer, packet ) ) << textOf( outer ) << " / " << textOf( inner );
          }
    }
  }
}

}  // namespace Orvex::Host::Test
