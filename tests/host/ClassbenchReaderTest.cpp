#include "policy/ClassbenchReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/PolicyNotation.h"

namespace Orvex::Host::Test {

using testing::HasSubstr;

namespace {

struct Reading {
  std::optional<LocatedPolicy> located;
  Diagnostics diagnostics;
};

Reading read( std::string const& text, ClassbenchOptions const& options = {},
              std::string const& name = "dir/set.txt" ) {
  Reading reading;
  std::vector const files = { SourceFile::fromText( name, text, reading.diagnostics ) };
  reading.located = readClassbench( files, options, reading.diagnostics );
  return reading;
}

/// The rules in short notation, with what they do.
std::vector<std::string> rulesOf( Reading const& reading ) {
  std::vector<std::string> rules;
  if ( !reading.located ) return { reading.diagnostics.text() };
  for ( Rule const& rule : reading.located->policy.acls.at( 0 ).rules )
    rules.push_back( std::to_string( rule.index ) + ( rule.action.dropEnabled ? " deny " : " permit " ) +
                     textOf( rule ) );
  return rules;
}

constexpr char const* kTwoFilters =
    "@10.0.0.0/8\t192.0.2.0/24\t0 : 65535\t80 : 443\t0x06/0xFF\t0x0000/0x0000\t\n"
    "@0.0.0.0/0\t0.0.0.0/0\t0 : 65535\t0 : 65535\t0x00/0x00\t0x0000/0x0000\t\n";

}  // namespace

TEST( ClassbenchReader, AFileIsAnAclAndAFilterARule ) {
  auto const reading = read( kTwoFilters );
  ASSERT_TRUE( reading.located ) << reading.diagnostics.text();
  Acl const& acl = reading.located->policy.acls.at( 0 );
  EXPECT_EQ( "set", acl.name );
  EXPECT_EQ( Vell::AddressFamily::ipv4, acl.family );
  EXPECT_EQ( DefaultAction::deny, acl.defaultAction );
  EXPECT_THAT( rulesOf( reading ),
               testing::ElementsAre( "1 permit source 10.0.0.0/8; destination 192.0.2.0/24; dport 80-443; proto 6",
                                     "2 permit " ) );
  EXPECT_EQ( 0U, reading.diagnostics.warnings() );
  EXPECT_EQ( 2U, reading.located->places.placeOf( acl.family, acl.name, 2 ).line );
}

TEST( ClassbenchReader, TakesTheFormatsVariants ) {
  EXPECT_THAT( rulesOf( read( "# comment\r\n\r\n  @10.0.0.0/8 192.0.2.0/24   7:9  80 :443 0X06/0xff\r\n" ) ),
               testing::ElementsAre(
                   "1 permit source 10.0.0.0/8; destination 192.0.2.0/24; sport 7-9; dport 80-443; proto 6" ) );
  EXPECT_THAT( rulesOf( read( "@2001:db8::/32 ::/0 0 : 65535 53 : 53 0x11/0xFF 0x0000/0x0000 4 5\n" ) ),
               testing::ElementsAre( "1 permit source 2001:db8::/32; dport 53; proto 17" ) );
  EXPECT_THAT( rulesOf( read( "@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 0x06/0xfe\n" ) ),
               testing::ElementsAre( "1 permit proto 6-7" ) );
  EXPECT_THAT( rulesOf( read( "@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 0x00/0xFF\n" ) ),
               testing::ElementsAre( "1 permit proto 0" ) );
}

TEST( ClassbenchReader, TheOptionSaysWhatRulesDo ) {
  auto const actions = []( ClassbenchAction action ) {
    std::string text;
    for ( std::string const& rule : rulesOf( read( kTwoFilters, { action, {} } ) ) ) text += rule.substr( 0, 3 );
    return text;
  };
  EXPECT_EQ( "1 p2 p", actions( ClassbenchAction::permit ) );
  EXPECT_EQ( "1 d2 d", actions( ClassbenchAction::deny ) );
  EXPECT_EQ( "1 p2 d", actions( ClassbenchAction::alternate ) );
}

TEST( ClassbenchReader, FlagsAreCountedOrHonoured ) {
  std::string const start = "@0.0.0.0/0 0.0.0.0/0 0:65535 0:65535 ";
  std::string const init = start + "0x06/0xFF 0x0200/0x1200\n";
  std::string const type = start + "0x01/0xFF 0x0800/0xff00\n";
  std::string const other = start + "0x06/0xFF 0x1000/0x1000\n";
  auto const ignored = read( init + type + other );
  EXPECT_THAT( rulesOf( ignored ), testing::ElementsAre( "1 permit proto 6", "2 permit proto 1", "3 permit proto 6" ) );
  EXPECT_EQ( 1U, ignored.diagnostics.warnings() );
  EXPECT_THAT( ignored.diagnostics.text(), HasSubstr( "the flags of 3 filters are left out" ) );

  ClassbenchOptions const honour{ {}, ClassbenchFlags::honour };
  EXPECT_THAT( rulesOf( read( init + type, honour ) ),
               testing::ElementsAre( "1 permit proto 6; init", "2 permit icmpType 8; proto 1" ) );
  EXPECT_THAT( read( other, honour ).diagnostics.text(),
               HasSubstr( "set.txt:1:48: error: a table cannot express these flags" ) );
  EXPECT_THAT( read( start + "0x11/0xFF 0x0200/0x1200\n", honour ).diagnostics.text(),
               HasSubstr( "a table cannot express these flags" ) );
}

TEST( ClassbenchReader, PortsWithoutMeaningAreCounted ) {
  auto const reading =
      read( "@0.0.0.0/0 0.0.0.0/0 0:65535 53:53 0x00/0x00\n@0.0.0.0/0 0.0.0.0/0 1:1 0:65535 0x01/0xFF\n" );
  EXPECT_THAT( rulesOf( reading ), testing::ElementsAre( "1 permit dport 53", "2 permit sport 1; proto 1" ) );
  EXPECT_THAT( reading.diagnostics.text(), HasSubstr( "2 filters match ports on protocols without ports" ) );
}

TEST( ClassbenchReader, EveryFaultIsToldWithItsPlace ) {
  struct {
    char const* line;
    char const* want;
  } const cases[] = {
      { "10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFF", "1:1: error: a filter begins with @" },
      { "@10.0.0.0 0.0.0.0/0 0:1 0:1 0x06/0xFF", "1:2: error: this source prefix has no length" },
      { "@10.0.0.0/33 0.0.0.0/0 0:1 0:1 0x06/0xFF", "1:11: error: \"33\" is no prefix length" },
      { "@10.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFF", "1:2: error: \"10.0.0/8\" is no prefix" },
      { "@10.0.0.0/8 ::/0 0:1 0:1 0x06/0xFF", "1:13: error: source and destination are of different families" },
      { "@10.0.0.0/8 0.0.0.0/0 0:65536 0:1 0x06/0xFF", "1:25: error: \"65536\" is no source port" },
      { "@10.0.0.0/8 0.0.0.0/0 9 : 7 0:1 0x06/0xFF", "1:23: error: this range ends before it begins; write 7 : 9" },
      { "@10.0.0.0/8 0.0.0.0/0 0 1 0:1 0x06/0xFF", "1:25: error: the source port range has no colon" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1 6", "1:31: error: \"6\" are no protocol and mask" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0x1FF", "1:31: error: \"0x06/0x1FF\" are no protocol and mask" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFF 0x02", "1:41: error: \"0x02\" are no flags and mask" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFF 0x0000/0x0000 x", "1:55: error: \"x\" is no extra field" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1", "error: the destination port is missing" },
  };
  for ( auto const& [line, want] : cases ) {
    auto const reading = read( line );
    EXPECT_FALSE( reading.located ) << line;
    EXPECT_THAT( reading.diagnostics.text(), HasSubstr( want ) ) << line;
  }
  auto const several = read( std::string( kTwoFilters ) + "@x\n@2001:db8::/32 ::/0 0:1 0:1 0x06/0xFF\n" );
  EXPECT_EQ( 2U, several.diagnostics.errors() ) << several.diagnostics.text();
  EXPECT_THAT( several.diagnostics.text(), HasSubstr( "not of the family of those before it" ) );
}

TEST( ClassbenchReader, APrefixWithFurtherBitsIsCutWithAWarning ) {
  auto const reading = read( "@10.1.2.3/8 0.0.0.0/0 0:65535 0:65535 0x00/0x00\n" );
  EXPECT_THAT( rulesOf( reading ), testing::ElementsAre( "1 permit source 10.0.0.0/8" ) );
  EXPECT_THAT( reading.diagnostics.text(),
               HasSubstr( "1:2: warning: this address has bits beyond its prefix length" ) );
}

TEST( ClassbenchReader, TellsItsFilesByTheFirstLineWithContent ) {
  Diagnostics diagnostics;
  auto const looks = [&]( char const* text ) {
    return looksLikeClassbench( *SourceFile::fromText( "x", text, diagnostics ) );
  };
  EXPECT_TRUE( looks( "# filters\n\n @10.0.0.0/8" ) );
  EXPECT_FALSE( looks( "ip access-list edge\n" ) );
  EXPECT_FALSE( looks( "" ) );
}

}  // namespace Orvex::Host::Test
