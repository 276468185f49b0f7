#include "policy/AclTextWriter.h"

#include <gtest/gtest.h>

#include "policy/AclTextReader.h"

namespace Orvex::Host::Test {

namespace {

std::optional<LocatedPolicy> read( std::string text, Diagnostics& diagnostics ) {
  auto const file = SourceFile::fromText( "edge.acl", std::move( text ), diagnostics );
  return readAclText( { file }, diagnostics );
}

std::string formatted( std::string const& text ) {
  Diagnostics diagnostics;
  auto const policy = read( text, diagnostics );
  EXPECT_TRUE( policy ) << diagnostics.text();
  return policy ? aclText( policy->policy, policy->listNames ) : "";
}

}  // namespace

TEST( AclTextWriter, FormatsTextAndKeepsTheNamesOfLists ) {
  EXPECT_EQ(
      "ip prefix-list \"all offices\"\n"
      "  10.0.0.0/8\n"
      "  11.0.0.0/8\n"
      "  except host 10.0.0.1\n"
      "\n"
      "ip prefix-list list1\n"
      "  11.0.0.0/8\n"
      "  12.0.0.0/8\n"
      "\n"
      "ip prefix-list dns\n"
      "  host 192.0.2.53\n"
      "\n"
      "ip access-list edge\n"
      "  default permit\n"
      "  5 deny tcp prefix-list \"all offices\" gt 1023 any eq 80 443 established log\n"
      "  20 permit udp prefix-list list1 prefix-list dns eq 53 set-dscp ef name \"to dns\"\n",
      formatted(
          "ip access-list edge\n 20 permit udp prefix-list eleven, twelve prefix-list dns eq domain set-dscp 46 name "
          "\"to dns\"\n 5 deny tcp prefix-list \"all offices\" range 1024 65535 any eq https www log established\n"
          "default permit\nip prefix-list \"all offices\"\n except 10.0.0.1/32\n list eleven\n 10.0.0.0/8\n"
          "ip prefix-list eleven\n 11.0.0.0/8\nip prefix-list twelve\n 12.0.0.0/8\n"
          "ip prefix-list dns\n host 192.0.2.53\n" ) );
}

TEST( AclTextWriter, WritesEachSetInItsShortestSpelling ) {
  char const* const lines[] = {
      "permit tcp any eq 5 any lt 10",
      "permit tcp any range 5 6 any gt 10",
      "permit tcp any any neq 10 12-20",
      "permit tcp,udp,50-51 any any dscp neq 1",
      "permit icmp any any icmp-type 3-4 echo ttl lt 2 length gt 1500",
      "deny ip host 10.0.0.1 none fragments",
      "deny ip 10.0.0.0/8 any fragment-offset 5 log sflow set-dscp af11 set-tc 0",
  };
  for ( std::string const line : lines ) {
    std::string const want = "ip access-list edge\n  default deny\n  10 " + line + "\n";
    EXPECT_EQ( want, formatted( want ) );
  }
}

TEST( AclTextWriter, GivesUpTheProtocolCheckOnlyWhereItMust ) {
  std::string const head = "ipv6 access-list edge\n";
  std::string const off =
      "  ! Ports, ICMP types and TCP flags are compared whatever the protocol is.\n  protocol-check off\n";
  for ( std::string const rule : { "ipv6 any any eq 80", "tcp,icmpv6 any any eq 80", "tcp any any icmp-type 200",
                                   "ipv6 any any established", "1 any any init" } ) {
    std::string const rest = "  default deny\n  10 permit " + rule + "\n";
    EXPECT_EQ( head + off + rest, formatted( head + off + rest ) );
  }
  std::string const needless = "  default deny\n  10 permit sctp any any eq 80\n";
  EXPECT_EQ( head + needless, formatted( head + off + needless ) );
}

}  // namespace Orvex::Host::Test
