#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "formats/OpenConfigPrefixSets.h"
#include "host/InstanceTexts.h"
#include "host/PolicyNotation.h"
#include "packets/Random.h"

namespace Orvex::Host::Test {

using testing::ElementsAre;

namespace {

/// The rules of all ACLs: number, name, action, matches.
std::vector<std::string> rulesOf( InstanceReading const& reading ) {
  if ( !reading.located ) return { reading.diagnostics.text() };
  std::vector<std::string> rules;
  for ( Acl const& acl : reading.located->policy.acls )
    for ( Rule const& rule : acl.rules )
      rules.push_back( std::to_string( rule.index ) + " " + rule.name +
                       ( rule.action.dropEnabled ? " deny" : " permit" ) + ( rule.action.logEnabled ? " log " : " " ) +
                       textOf( rule ) );
  return rules;
}

std::string rfc8519( std::string const& aces, std::string const& type = "ipv4-acl-type" ) {
  return R"({"ietf-access-control-list:acls": {"acl": [{"name": "edge", "type": ")" + type + R"(", "aces": {"ace": [)" +
         aces + "]}}]}}";
}

std::string openConfig( std::string const& entries, std::string const& type = "openconfig-acl:ACL_IPV4",
                        std::string const& sets = "" ) {
  return R"({"openconfig-acl:acl": {"acl-sets": {"acl-set": [{"name": "edge", "type": ")" + type +
         R"(", "config": {"name": "edge", "type": ")" + type + R"("}, "acl-entries": {"acl-entry": [)" + entries +
         R"(]}}]}}, "openconfig-defined-sets:defined-sets": {)" + sets + "}}";
}

std::string entry( std::string const& id, std::string const& members, std::string const& description = "" ) {
  return R"({"sequence-id": )" + id + R"(, "config": {"sequence-id": )" + id +
         ( description.empty() ? "" : R"(, "description": ")" + description + "\"" ) + "}, " + members +
         R"("actions": {"config": {"forwarding-action": "ACCEPT"}}})";
}

}  // namespace

TEST( Rfc8519Reader, ReadsEveryMatchThatATableHas ) {
  EXPECT_THAT( rulesOf( readInstance( rfc8519( R"(
        {"name": "web", "matches": {
           "ipv4": {"dscp": 46, "length": 60, "ttl": 1, "protocol": 6, "offset": 20,
                    "source-ipv4-network": "10.1.2.3/8", "destination-ipv4-network": "0.0.0.0/0"},
           "tcp": {"source-port": {"lower-port": 1024, "upper-port": 65535},
                   "destination-port": {"operator": "eq", "port": 443}}},
         "actions": {"forwarding": "accept", "logging": "log-none"}},
        {"name": "udp", "matches": {"udp": {"source-port": {"operator": "neq", "port": 0}, "destination-port": {"port": 53}}},
         "actions": {"forwarding": "ietf-access-control-list:drop", "logging": "ietf-access-control-list:log-syslog"}},
        {"name": "low", "matches": {"udp": {"source-port": {"operator": "lte", "port": 9}, "destination-port": {"operator": "gte", "port": 0}}},
         "actions": {"forwarding": "drop"}, "statistics": {"matched-packets": "18446744073709551615"}},
        {"name": "ping", "matches": {"icmp": {"type": 8}, "ietf-access-control-list:ipv4": {}}, "actions": {"forwarding": "accept"}},
        {"name": "rest", "actions": {"forwarding": "drop"}})" ) ) ),
               ElementsAre( "10 web permit source 10.0.0.0/8; sport 1024-65535; dport 443; proto 6; length 60; "
                            "fragment 20; dscp 46; ttl 1",
                            "20 udp deny log sport 1-65535; dport 53; proto 17", "30 low deny sport 0-9; proto 17",
                            "40 ping permit icmpType 8; proto 1", "50 rest deny " ) );
  EXPECT_THAT(
      rulesOf( readInstance( rfc8519(
          R"({"name": "a", "matches": {"ipv6": {"destination-ipv6-network": "2001:db8::53/128"}, "icmp": {"type": 128}},
                       "actions": {"forwarding": "accept"}})",
          "ietf-access-control-list:ipv6-acl-type" ) ) ),
      ElementsAre( "10 a permit destination 2001:db8::53/128; icmpType 128; proto 58" ) );
}

TEST( Rfc8519Reader, NamesThatAreAscendingNumbersAreTheRulesNumbers ) {
  auto const indices = []( std::vector<std::string> const& names ) {
    std::string aces;
    for ( std::string const& name : names ) {
      if ( !aces.empty() ) aces += ',';
      aces.append( R"({"name": ")" ).append( name ).append( R"(", "actions": {"forwarding": "drop"}})" );
    }
    std::string text;
    for ( std::string const& rule : rulesOf( readInstance( rfc8519( aces ) ) ) )
      text += rule.substr( 0, rule.find( ' ' ) ) + " ";
    return text;
  };
  EXPECT_EQ( "5 7 4294967293 ", indices( { "5", "7", "4294967293" } ) );
  for ( char const* const last : { "web", "4", "4294967294", "07", "-7" } )
    EXPECT_EQ( "10 20 30 ", indices( { "3", "5", last } ) ) << last;
}

TEST( OpenConfigReader, ReadsEveryMatchThatATableHas ) {
  std::string const sets = R"("ipv4-prefix-sets": {"ipv4-prefix-set": [
        {"name": "A", "config": {"name": "A", "prefix": ["10.0.0.0/8", "10.1.1.0/24"], "exclude-prefix": ["10.1.0.0/16", "10.1.2.0/24"]}},
        {"name": "not", "config": {"name": "not", "exclude-prefix": ["10.0.0.0/9", "10.128.0.0/9"]}}]},
      "port-sets": {"port-set": [
        {"name": "web", "config": {"name": "web", "port": [80, 443, "8000..8099"], "exclude-port": [8005]}},
        {"name": "not", "config": {"name": "not", "exclude-port": ["0..1023"]}}]})";
  std::string const entries =
      entry( "20", R"("ipv4": {"config": {"source-address-prefix-set": "A", "destination-address": "192.0.2.1/24",
                        "protocol": "openconfig-packet-match-types:IP_TCP", "dscp-set": [0, 46], "length": 60, "hop-limit": 1}},
                      "transport": {"config": {"source-port": "1024..65535", "destination-port-set": "web"}},)",
             "web" ) +
      "," +
      entry( "10", R"("ipv4": {"config": {"protocol": "IP_UDP", "destination-address-prefix-set": "not", "dscp": 7}},
                      "transport": {"config": {"source-port": "ANY", "destination-port-set": "not"}},)",
             "twice" ) +
      "," +
      entry( "30",
             R"("ipv4": {"config": {"protocol": 1}, "icmpv4": {"config": {"type": "openconfig-icmpv4-types:ECHO"}}},)",
             "twice" ) +
      "," +
      entry( "40", R"("ipv4": {"config": {"fragment-offsets": [0, "185..200"]}},
                      "transport": {"config": {"detail-mode": "BUILTIN", "builtin-detail": "FRAGMENT"}},)",
             "10" ) +
      "," +
      entry(
          "50",
          R"("transport": {"config": {"detail-mode": "BUILTIN", "builtin-detail": "FRAGMENT", "source-port": "ANY"}},)" ) +
      "," + entry( "60", R"("ipv4": {"config": {"protocol": 6}}, "transport": {"config": {"detail-mode": "EXPLICIT",
                      "explicit-detail-match-mode": "ANY", "explicit-tcp-flags": ["TCP_RST", "openconfig-packet-match-types:TCP_ACK"]}},)" ) +
      "," +
      entry(
          "70",
          R"("ipv4": {"config": {"protocol": 6}}, "transport": {"config": {"detail-mode": "BUILTIN", "builtin-detail": "TCP_INITIAL"}},)" );
  EXPECT_THAT(
      rulesOf( readInstance( openConfig( entries, "ACL_IPV4", sets ) ) ),
      ElementsAre( "10 10 permit destination 0.0.0.0/0 !10.0.0.0/8; dport 1024-65535; proto 17; dscp 7",
                   "20 web permit source 10.0.0.0/8 !10.1.0.0/16; destination 192.0.2.0/24; sport 1024-65535; "
                   "dport 80 443 8000-8004 8006-8099; proto 6; length 60; dscp 0 46; ttl 1",
                   "30 30 permit icmpType 8; proto 1", "40 40 permit fragment 185-200", "50 50 permit fragment 1-8191",
                   "60 60 permit proto 6; established", "70 70 permit proto 6; init" ) );
  EXPECT_THAT( rulesOf( readInstance(
                   openConfig( entry( "1", R"("ipv6": {"config": {"source-address": "2001:db8::/32", "protocol": 58},
                                           "icmpv6": {"config": {"type": "PACKET_TOO_BIG"}}},)" ),
                               "ACL_IPV6" ) ) ),
               ElementsAre( "1 1 permit source 2001:db8::/32; icmpType 2; proto 58" ) );
}

TEST( OpenConfigReader, SetsCanStandInAnotherFile ) {
  Diagnostics diagnostics;
  std::string const texts[] = {
      openConfig( entry( "1", R"("ipv4": {"config": {"source-address-prefix-set": "A"}},)" ) ),
      R"({"openconfig-defined-sets:defined-sets": {"ipv4-prefix-sets": {"ipv4-prefix-set": [
            {"name": "A", "config": {"name": "A", "prefix": ["10.0.0.0/8", "11.0.0.0/8"]}}]}}})" };
  std::vector<InstanceDocument> documents;
  for ( std::string const& text : texts )
    documents.push_back( *readInstanceDocument( SourceFile::fromText( "x.json", text, diagnostics ), diagnostics ) );
  auto const located = readOpenConfig( documents, Unsupported::isError, diagnostics );
  ASSERT_TRUE( located ) << diagnostics.text();
  Rule const& rule = located->policy.acls.at( 0 ).rules.at( 0 );
  EXPECT_EQ( "source 10.0.0.0/8 11.0.0.0/8", textOf( rule ) );
  EXPECT_EQ( "A", located->listNames.at( *rule.source ) );
}

TEST( InstanceReaders, KeepThePlacesOfAclsAndRules ) {
  auto const lines = []( std::string const& text, std::vector<std::uint32_t> const& rules ) {
    auto const reading = readInstance( text );
    std::vector<std::uint32_t> found;
    if ( !reading.located ) return found;
    found.push_back( reading.located->places.placeOf( Vell::AddressFamily::ipv4, "edge", std::nullopt ).line );
    for ( std::uint32_t const rule : rules )
      found.push_back( reading.located->places.placeOf( Vell::AddressFamily::ipv4, "edge", rule ).line );
    return found;
  };
  std::string const ace = R"(
    {"name": "NAME", "actions": {"forwarding": "drop"}})";
  EXPECT_THAT( lines( rfc8519( ace + "," + ace.substr( 0, 15 ) + "other" + ace.substr( 19 ) ), { 10, 20 } ),
               ElementsAre( 1U, 2U, 3U ) );
  EXPECT_THAT(
      lines( openConfig( std::string( "\n" ).append( entry( "7", "" ) ).append( ",\n" ).append( entry( "5", "" ) ) ),
             { 5, 7 } ),
      ElementsAre( 1U, 3U, 2U ) );
}

/// All addresses of a /28 against lists of up to six of its prefixes: reading a set is union minus union, and writing a
/// list as a set keeps what the longest prefix says.
TEST( OpenConfigSets, AreExactBothWays ) {
  Random random( 7 );
  auto const somePrefixes = [&random] {
    std::vector<Vell::IpGenPrefix> some;
    for ( std::uint32_t left = random.between( 0, 6 ); left != 0; --left )
      some.push_back( { 0x0A000000 | random.between( 0, 15 ), random.between( 28, 32 ) } );
    std::sort( some.begin(), some.end() );
    return some;
  };
  auto const longest = []( std::vector<Vell::IpGenPrefix> const& prefixes, std::uint32_t address ) {
    int length = -1;
    for ( auto const& each : prefixes )
      if ( each.contains( address ) ) length = std::max( length, static_cast<int>( each.length() ) );
    return length;
  };
  auto const json = []( std::vector<Vell::IpGenPrefix> const& prefixes ) {
    std::string text;
    for ( auto const& each : prefixes ) text += ( text.empty() ? "\"" : ", \"" ) + Host::textOf( each ) + "\"";
    return "[" + text + "]";
  };
  std::uint32_t empty = 0;
  for ( int round = 0; round != 2000; ++round ) {
    PrefixList const list{ somePrefixes(), somePrefixes() };
    PrefixList const set = openConfigSetOf( list );
    // Two excepts that are halves of a prefix of the list were written as one, without any prefix around it.
    for ( auto const& except : set.excepts )
      EXPECT_TRUE( std::any_of( set.prefixes.begin(), set.prefixes.end(),
                                [&]( auto const& each ) { return each.contains( except ); } ) )
          << textOf( list ) << " as " << textOf( set );
    std::string const sets =
        R"("ipv4-prefix-sets": {"ipv4-prefix-set": [{"name": "A", "config": {"name": "A", "prefix": )" +
        json( list.prefixes ) + R"(, "exclude-prefix": )" + json( list.excepts ) + "}}]}";
    auto const reading = readInstance(
        openConfig( entry( "1", R"("ipv4": {"config": {"source-address-prefix-set": "A"}},)" ), "ACL_IPV4", sets ) );
    bool const isAnyBut = list.prefixes.empty() && !list.excepts.empty();
    bool isEmpty = true;
    for ( std::uint32_t address = 0x0A000000; address != 0x0A000010; ++address ) {
      int const in = longest( list.prefixes, address );
      EXPECT_EQ( in >= 0 && in >= longest( list.excepts, address ),
                 longest( set.prefixes, address ) >= 0 && longest( set.excepts, address ) < 0 )
          << textOf( list ) << " as " << textOf( set );
      bool const matches = ( in >= 0 || isAnyBut ) && longest( list.excepts, address ) < 0;
      isEmpty = isEmpty && !matches;
      if ( !reading.located ) continue;
      SharedPrefixList const source = reading.located->policy.acls.at( 0 ).rules.at( 0 ).source;
      bool const reads = !source || ( longest( source->prefixes, address ) >= 0 &&
                                      longest( source->prefixes, address ) >= longest( source->excepts, address ) );
      EXPECT_EQ( matches, reads ) << textOf( list );
    }
    EXPECT_EQ( !isEmpty || isAnyBut, reading.located.has_value() ) << reading.diagnostics.text();
    empty += reading.located ? 0 : 1;
  }
  EXPECT_GT( empty, 100U );
}

}  // namespace Orvex::Host::Test
