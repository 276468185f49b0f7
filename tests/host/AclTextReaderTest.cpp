#include "policy/AclTextReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/PolicyNotation.h"
#include "policy/Lint.h"
#include "policy/NumberNames.h"

namespace Orvex::Host::Test {

namespace {

struct Case {
  char const* want;
  char const* from;
};

std::string messagesOf( std::string text ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText( "edge.acl", std::move( text ), diagnostics );
  readAclText( { file }, diagnostics );
  return diagnostics.text();
}

Policy read( std::string text ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText( "edge.acl", std::move( text ), diagnostics );
  auto const result = readAclText( { file }, diagnostics );
  EXPECT_TRUE( result ) << diagnostics.text();
  return result ? result->policy : Policy();
}

Rule readRule( std::string const& line, std::string const& family = "ip", std::string const& objects = "" ) {
  Policy const policy = read( objects + family + " access-list edge\n" + line + "\n" );
  if ( policy.acls.size() == 1 && policy.acls[0].rules.size() == 1 ) return policy.acls[0].rules[0];
  ADD_FAILURE() << line << " is not one rule";
  return {};
}

std::string matchOf( std::string const& line, std::string const& family = "ip", std::string const& objects = "" ) {
  return textOf( readRule( line, family, objects ) );
}

std::string textOf( Policy const& policy ) {
  std::string text;
  for ( Acl const& acl : policy.acls ) text += Test::textOf( acl );
  return text;
}

}  // namespace

TEST( AclText, AddressesAreAnyHostsPrefixesAndWildcardMasks ) {
  Case const ipv4[] = {
      { "", "permit ip any any" },
      { "source 10.0.0.1/32; destination 10.0.0.2/32", "permit ip host 10.0.0.1 host 10.0.0.2" },
      { "source 10.0.0.0/8; destination 10.1.2.0/23", "permit ip 10.0.0.0/8 10.1.2.0/23" },
      { "source 10.0.0.0/24; destination 10.0.0.1/32", "permit ip 10.0.0.0 0.0.0.255 10.0.0.1 0.0.0.0" },
      { "destination 128.0.0.0/1", "permit ip 10.1.2.3 255.255.255.255 128.0.0.0 127.255.255.255" },
      { "", "permit ip 0.0.0.0/0 0.0.0.0 255.255.255.255" },
      { "source !0.0.0.0/0", "permit ip none any" },
  };
  for ( auto const& [want, from] : ipv4 ) EXPECT_EQ( want, matchOf( from ) ) << from;
  Case const ipv6[] = {
      { "source 2001:db8::/32; destination ::1/128", "permit ipv6 2001:DB8::/32 host 0:0::1" },
      { "", "permit ipv6 any ::/0" },
      { "destination !::/0", "permit ipv6 any none" },
  };
  for ( auto const& [want, from] : ipv6 ) EXPECT_EQ( want, matchOf( from, "ipv6" ) ) << from;
}

TEST( AclText, PortsAreListsRangesAndComparisonsByNumberOrName ) {
  Case const cases[] = {
      { "dport 80; proto 6", "permit tcp any any eq 80" },
      { "dport 22 80 443 8000-8100; proto 6", "permit tcp any any eq https 80 ssh 8000-8100" },
      { "sport 20; proto 6", "permit tcp any eq ftp-data any" },
      { "sport 1024-65535; dport 53; proto 17", "permit udp any gt 1023 any eq domain" },
      { "dport 0-1023; proto 6", "permit tcp any any lt 1024" },
      { "dport 0; proto 6", "permit tcp any any lt 1" },
      { "dport 65535; proto 6", "permit tcp any any gt 65534" },
      { "dport 0-79 81-442 444-65535; proto 6", "permit tcp any any neq 443 80" },
      { "dport 1-65534; proto 6", "permit tcp any any neq 0 65535" },
      { "dport 0-99 201-65535; proto 6", "permit tcp any any neq 100-150 120-200" },
      { "dport 20-80; proto 6", "permit tcp any any range ftp-data http" },
      { "dport 20-80; proto 6", "permit tcp any any eq ftp-data-http" },
      { "proto 6", "permit tcp any any range 0 65535" },
      { "dport 5; proto 6 17 33 132 136", "permit tcp,udp,dccp,sctp,136 any any eq 5" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, matchOf( from ) ) << from;
}

TEST( AclText, ProtocolsAreNumbersNamesAndRanges ) {
  Case const cases[] = {
      { "", "permit ip any any" },
      { "", "permit ipv4 any any" },
      { "proto 0", "permit 0 any any" },
      { "proto 47", "permit gre any any" },
      { "proto 50-51 89", "permit ospf, esp-ah any any" },
      { "", "permit 0-255 any any" },
      { "proto 58", "permit 58 any any" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, matchOf( from ) ) << from;
  EXPECT_EQ( "proto 58", matchOf( "permit icmpv6 any any", "ipv6" ) );
  EXPECT_EQ( "proto 1", matchOf( "permit 1 any any", "ipv6" ) );
}

TEST( AclText, QualifiersMatchFieldsInAnyOrder ) {
  Case const cases[] = {
      { "proto 6; established", "permit tcp any any established" },
      { "proto 6; init", "permit tcp any any init" },
      { "icmpType 0 3-4 8; proto 1", "permit icmp any any icmp-type echo 3-4 echo-reply" },
      { "proto 1", "permit icmp any any icmp-type 0-255" },
      { "dscp 10-12 46", "permit ip any any dscp ef af11-af12" },
      { "dscp 1-63", "permit ip any any dscp gt default" },
      { "ttl 0-1", "permit ip any any ttl lt 2" },
      { "length 0-99 1501-65535", "permit ip any any length neq 100-1500" },
      { "fragment 1-8191", "permit ip any any fragments" },
      { "fragment 0", "permit ip any any fragment-offset 0" },
      { "proto 6; length 40; dscp 0; ttl 64-128; established",
        "permit tcp any any ttl range 64 128 established length 40 dscp default" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, matchOf( from ) ) << from;
}

TEST( AclText, IcmpTypeNamesAreThoseOfTheRulesProtocol ) {
  EXPECT_EQ( "icmpType 128; proto 58", matchOf( "permit icmpv6 any any icmp-type echo-request", "ipv6" ) );
  EXPECT_EQ( "icmpType 8; proto 1", matchOf( "permit 1 any any icmp-type echo-request", "ipv6" ) );
  EXPECT_EQ( "icmpType 128; proto 58", matchOf( "permit 58 any any icmp-type echo-request", "ip" ) );
}

TEST( AclText, ActionsHaveCompanions ) {
  struct {
    OrvexActionValue want;
    char const* from;
  } const cases[] = {
      { { false, false, {}, false, {}, false, false }, "permit ip any any" },
      { { true, true, {}, false, {}, false, false }, "deny ip any any log" },
      { { false, false, Vell::DscpValue( 46 ), true, {}, false, true }, "permit ip any any sflow set-dscp ef" },
      { { false, false, {}, false, OrvexTrafficClass( 7 ), true, false }, "permit ip any any set-tc 7" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, readRule( from ).action ) << from;
  EXPECT_EQ( "web \"in\"", readRule( R"(permit ip any any name "web \"in\"" log)" ).name );
}

TEST( AclText, ListsMatchTheirEntriesAndWhatNestedListsMatchByThemselves ) {
  std::string const objects =
      "ip prefix-list offices\n  10.0.0.0/8\n  except 10.9.0.0/16\n  list labs\n"
      "ip prefix-list labs\n  10.9.9.0 0.0.0.255\n  192.0.2.0/24\n  except host 192.0.2.1\n"
      "ip prefix-list all-labs\n  list labs, \"more labs\"\n"
      "ip prefix-list \"more labs\"\n  host 192.0.2.1\n"
      "ip prefix-list world\n  any\n  except 10.0.0.0/8\n"
      "port-list web\n  80 https\n  list alternatives\n"
      "port-list alternatives\n  range 8000 8100\n  neq 0-50000\n";
  Case const cases[] = {
      { "source 10.0.0.0/8 10.9.9.0/24 192.0.2.0/24 !10.9.0.0/16 !192.0.2.1/32", "permit ip prefix-list offices any" },
      { "source 10.9.9.0/24 192.0.2.0/24 !192.0.2.1/32", "permit ip prefix-list labs any" },
      { "destination 10.9.9.0/24 192.0.2.0/24", "permit ip any prefix-list all-labs" },
      { "destination 10.9.9.0/24 192.0.2.0/24", "permit ip any prefix-list labs, \"more labs\"" },
      { "source 0.0.0.0/0 !10.0.0.0/8", "permit ip prefix-list world any" },
      { "source 0.0.0.0/0 10.9.9.0/24 !10.0.0.0/8", "permit ip prefix-list world,labs any" },
      { "dport 80 443 8000-8100 50001-65535; proto 6", "permit tcp any any port-list web" },
      { "sport 8000-8100 50001-65535; proto 6", "permit tcp any port-list alternatives any" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_EQ( want, matchOf( from, "ip", objects ) ) << from;
}

TEST( AclText, ListsMayBeDefinedBehindTheirUseAndEachFamilyHasItsOwn ) {
  EXPECT_EQ( "ipv4 a deny\n  10: source 10.0.0.0/8\nipv6 a deny\n  10: source 2001:db8::/32\n",
             textOf( read( "ip access-list a\n permit ip prefix-list x any\n"
                           "ipv6 access-list a\n permit ipv6 prefix-list x any\n"
                           "ip prefix-list x\n 10.0.0.0/8\nipv6 prefix-list x\n 2001:db8::/32\n" ) ) );
}

TEST( AclText, RulesWithoutNumbersGetTheNextMultipleOfTen ) {
  EXPECT_EQ( "ipv4 a deny\n  5: proto 1\n  10: proto 2\n  32: proto 3\n  40: proto 4\n  50: proto 5\n",
             textOf( read( "ip access-list a\n 5 permit 1 any any\n permit 2 any any\n 32 permit 3 any any\n"
                           " permit 4 any any\n permit 5 any any\n" ) ) );
  EXPECT_EQ( "ipv4 a deny\n  10: \n  4294967293: \n",
             textOf( read( "ip access-list a\n permit ip any any\n 4294967293 deny ip any any\n" ) ) );
}

TEST( AclText, TheDefaultActionIsDenyUnlessStated ) {
  EXPECT_EQ( "ipv4 a deny\nipv4 b permit\nipv4 c permit\nipv6 a deny\n",
             textOf( read( "ip access-list a\nip access-list b\n default permit\nip access-list c default permit\n"
                           "ipv6 access-list a\n default deny\n" ) ) );
}

TEST( AclText, CommentsRemarksBlankLinesAndCarriageReturnsAreNoRules ) {
  EXPECT_EQ( "ipv4 edge deny\n  10: proto 6\n",
             textOf( read( "\xEF\xBB\xBF! top\r\n\r\nremark \"free text\r\nip access-list edge # here\r\n\t# there\r\n"
                           "  remark permit ip any any\r\n\tpermit\ttcp any any !permit\r\n!" ) ) );
}

/// A list of ports ends at the first word that is no port: "eq 80 sflow" once matched port 6343 too.
TEST( AclText, NoKeywordIsTheNameOfANumber ) {
  std::istringstream keywords(
      "any host none prefix-list port-list eq neq lt gt range established init icmp-type dscp ttl length "
      "fragment-offset fragments log sflow set-dscp set-tc name ip ipv4 ipv6 include remark list" );
  for ( std::string keyword; keywords >> keyword; )
    for ( NumberNames const* const names :
          { &kServiceNames, &kProtocolNames, &kDscpNames, &icmpTypeNames( Vell::AddressFamily::ipv4 ),
            &icmpTypeNames( Vell::AddressFamily::ipv6 ) } )
      EXPECT_FALSE( names->number( keyword ) ) << keyword;
}

TEST( AclText, MatchesOfOtherProtocolsAreTakenWhereTheCheckIsOff ) {
  EXPECT_EQ( "dport 80", matchOf( "protocol-check off\npermit ip any any eq 80" ) );
  EXPECT_EQ( "icmpType 8; proto 17; established",
             matchOf( "protocol-check off\npermit udp any any icmp-type echo established" ) );
}

TEST( AclText, PrefixesThatAreNotCanonicalAreCutWithAWarning ) {
  EXPECT_EQ( "source 10.0.0.0/8", matchOf( "permit ip 10.1.2.3/8 any" ) );
  EXPECT_EQ(
      "edge.acl:2:11: warning: this address has bits beyond its prefix length; it is read as 10.0.0.0/8\n"
      "permit ip 10.1.2.3 0.255.255.255 any\n          ^~~~~~~~\n",
      messagesOf( "ip access-list a\npermit ip 10.1.2.3 0.255.255.255 any\n" ) );
}

TEST( AclText, ExceptsThatCutNothingAreWarnedAbout ) {
  auto const warned = []( std::string const& entries ) {
    return messagesOf( "ip access-list a\nip prefix-list b\n 11.0.0.0/8\nip prefix-list a\n" + entries )
               .find( "warning: this except cuts nothing" ) != std::string::npos;
  };
  EXPECT_TRUE( warned( " list b\n 10.0.0.0/8\n except 11.1.0.0/16\n" ) );
  EXPECT_TRUE( warned( " 10.0.0.0/8\n except 10.0.0.0/8\n" ) );
  EXPECT_TRUE( warned( " 10.0.0.0/8\n except 10.1.0.0/16\n except 10.1.2.0/24\n" ) );
  EXPECT_TRUE( warned( " 10.0.0.0/8\n except any\n" ) );
  EXPECT_FALSE( warned( " except 10.1.0.0/16\n 10.0.0.0/8\n" ) );
  EXPECT_FALSE( warned( " 10.0.0.0/8\n except 10.1.0.0/16\n 10.1.2.0/24\n except 10.1.2.3/32\n" ) );
  EXPECT_FALSE( warned( " any\n except 10.0.0.0/8\n" ) );
}

TEST( AclText, IncludesAreRelativeToTheirFileAndReadOnce ) {
  namespace fs = std::filesystem;
  fs::path const directory = fs::path( testing::TempDir() ) / "orvex-includes";
  fs::create_directories( directory / "lists" );
  std::ofstream( directory / "main.acl" ) << "include lists/a.acl\ninclude \"lists/../lists/b.acl\"\n"
                                             "ip access-list edge\n permit ip prefix-list a prefix-list b\n";
  std::ofstream( directory / "lists/a.acl" ) << "include b.acl\nip prefix-list a\n 10.0.0.0/8\n";
  std::ofstream( directory / "lists/b.acl" ) << "ip prefix-list b\n 11.0.0.0/8\n";
  Diagnostics diagnostics;
  auto const result = readAclText( { SourceFile::read( ( directory / "main.acl" ).string(), diagnostics ),
                                     SourceFile::read( ( directory / "lists/b.acl" ).string(), diagnostics ) },
                                   diagnostics );
  fs::remove_all( directory );
  ASSERT_TRUE( result ) << diagnostics.text();
  EXPECT_EQ( "ipv4 edge deny\n  10: source 10.0.0.0/8; destination 11.0.0.0/8\n", textOf( result->policy ) );
}

TEST( AclText, AFileWithoutAclsIsWarnedAbout ) {
  EXPECT_EQ( "edge.acl: warning: there is no ACL; an ACL begins with ip access-list NAME\n",
             messagesOf( "! nothing\n" ) );
}

}  // namespace Orvex::Host::Test
