#include "policy/Normalise.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/PolicyNotation.h"

namespace Orvex::Host::Test {

namespace {

Policy policy( std::vector<Rule> rules, std::string const& name = "ipv4 edge" ) {
  return { { acl( name, std::move( rules ) ) } };
}

Rule normalisedRule( std::string const& text ) { return normalised( policy( { rule( 10, text ) } ) ).acls[0].rules[0]; }

std::string errorOf( Policy const& faulty ) {
  try {
    normalised( faulty );
  } catch ( PolicyError const& error ) {
    return error.what();
  }
  return "no error";
}

}  // namespace

TEST( Normalise, ListsAscendAndWhatMatchesAnythingIsLeftOut ) {
  struct {
    char const* want;
    char const* from;
  } const cases[] = {
      { "dport 80-90 443", "dport 443 82-90 80-81 82" },
      { "dport 0 2 65535", "dport 65535 2 0" },
      { "dport 1-65535", "dport 1 2-65535" },
      { "dport 0-65534", "dport 0-65534" },
      { "sport 10-40", "sport 10-40 20-30" },
      { "sport 10-40", "sport 10-20 10-40 20-30" },
      { "", "sport 0-65535" },
      { "", "dport 101-65535 0-100" },
      { "", "icmpType 0-255; proto 0-255; length 0-65535; fragment 0-8191; dscp 0-63; ttl 0-255" },
      { "length 0-255; fragment 0-255; dscp 0-62", "length 0-255; fragment 0-255; dscp 0-62" },
      { "source 10.0.0.0/8 11.0.0.0/8 !10.1.0.0/16", "source 11.0.0.0/8 10.0.0.0/8 11.0.0.0/8 !10.1.0.0/16" },
      { "source 10.0.0.0/8 !10.0.0.0/8", "source 10.0.0.0/8 !10.0.0.0/8" },
      { "", "source 0.0.0.0/0; destination 10.0.0.0/8 0.0.0.0/0" },
      { "source 0.0.0.0/0 !10.0.0.0/8", "source 0.0.0.0/0 !10.0.0.0/8" },
      // A list that matches nothing.
      { "source !0.0.0.0/0; destination !0.0.0.0/0", "source; destination !10.0.0.0/8 !11.0.0.0/8" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, textOf( normalisedRule( from ) ) ) << from;
}

TEST( Normalise, EqualListsAreOneObjectInAllAclsOfAFamily ) {
  auto const one = normalised( { { acl( "ipv4 b", { rule( 1, "source 10.0.0.0/8 11.0.0.0/8" ) } ),
                                   acl( "ipv4 a", { rule( 1, "destination 11.0.0.0/8 10.0.0.0/8 10.0.0.0/8" ),
                                                    rule( 2, "source 11.0.0.0/8" ) } ) } } );
  auto const& a = one.acls[0].rules;
  EXPECT_EQ( one.acls[1].rules[0].source.get(), a[0].destination.get() );
  EXPECT_NE( a[0].destination.get(), a[1].source.get() );
}

TEST( Normalise, AListThatRulesOfBothFamiliesHoldIsRefusedInOne ) {
  auto const list = prefixes( "10.0.0.0/8" );
  Policy both{ { acl( "ipv4 a", { rule( 1, "" ) } ), acl( "ipv6 b", { rule( 1, "" ) } ) } };
  both.acls[0].rules[0].source = both.acls[1].rules[0].source = list;
  EXPECT_THAT( errorOf( both ), testing::StartsWith( "ipv6 ACL b, rule 1, source: prefix 10.0.0.0/8" ) );
}

TEST( Normalise, AclsAscendByFamilyAndNameAndRulesByIndex ) {
  Policy const result = normalised(
      { { acl( "ipv6 a", {} ), acl( "ipv4 b permit", { rule( 20, "init" ), rule( 3, "" ) } ), acl( "ipv4 a", {} ) } } );
  std::string text;
  for ( Acl const& each : result.acls ) text += textOf( each );
  EXPECT_EQ( "ipv4 a deny\nipv4 b permit\n  3: \n  20: init\nipv6 a deny\n", text );
  EXPECT_EQ( "3", result.acls[1].rules[0].name );
}

TEST( Normalise, WhatAnActionDoesNotSetHasItsInitialValue ) {
  Rule raw = rule( 10, "" );
  raw.action = OrvexActionValue( true, true, Vell::DscpValue( 46 ), false, OrvexTrafficClass( 3 ), false, true );
  OrvexActionValue const want( true, true, Vell::DscpValue( 0 ), false, OrvexTrafficClass(), false, true );
  EXPECT_EQ( want, normalised( policy( { raw } ) ).acls[0].rules[0].action );
  raw.action.setDscpEnabled = raw.action.setTcEnabled = true;
  EXPECT_EQ( raw.action, normalised( policy( { raw } ) ).acls[0].rules[0].action );
}

TEST( Normalise, SaysWhatIsWrongWhereAndWhatWouldBeRight ) {
  Rule named = rule( 10, "dport 90-80" );
  named.name = "web";
  Rule continuing = rule( 10, "" );
  continuing.continueRule = true;
  Rule classless = rule( 10, "" );
  classless.action.setTcEnabled = true;
  Rule namesake = rule( 20, "" );
  namesake.name = "10";
  struct {
    std::string want;
    Policy from;
  } const cases[] = {
      { "ipv4 ACL edge, rule 10 (web), dport: range 90-80 ends before it starts; write 80-90", policy( { named } ) },
      { "ipv4 ACL edge, rule 10, dscp: range 60-64 goes beyond the field; its values are 0-63",
        policy( { rule( 10, "dscp 60-64" ) } ) },
      { "ipv4 ACL edge, rule 10, fragment: range 8192-8192 goes beyond the field; its values are 0-8191",
        policy( { rule( 10, "fragment 8192" ) } ) },
      { "ipv4 ACL edge, rule 10, sport: range 1-4294967295 goes beyond the field; its values are 0-65535",
        policy( { rule( 10, "sport 1-4294967295" ) } ) },
      { "ipv6 ACL edge, rule 10, destination: prefix 10.0.0.0/8 is not of the ACL's family; name prefixes of ipv6, or "
        "move the rule to an ACL of the other family",
        policy( { rule( 10, "source ::/0; destination !10.0.0.0/8" ) }, "ipv6 edge" ) },
      { "ipv4 ACL edge, rule 10: the index is used twice; give each rule of an ACL an index of its own",
        policy( { rule( 10, "" ), rule( 10, "init" ) } ) },
      { "ipv4 ACL edge, rule 20 (10): rule 10 is named 10 too; give each rule of an ACL a name of its own",
        policy( { rule( 10, "" ), namesake } ) },
      { "ipv4 ACL edge, rule 4294967294: the index is too large; indices are 0-4294967293",
        policy( { rule( 4294967294, "" ) } ) },
      { "ipv4 ACL edge, rule 10: a rule cannot continue with later rules; state all actions in the rule that decides",
        policy( { continuing } ) },
      { "ipv4 ACL edge, rule 10, action: it sets the traffic class and names none; traffic classes are 0-7",
        policy( { classless } ) },
      { "ipv4 ACL edge: the name is used twice in this family; rename one of the two ACLs, or join their rules",
        { { acl( "ipv4 edge", {} ), acl( "ipv6 edge", {} ), acl( "ipv4 edge", {} ) } } },
      { "ipv4 ACL : an ACL has no name; give every ACL a name", { { Acl() } } },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, errorOf( from ) );
}

}  // namespace Orvex::Host::Test
