#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/BadCorpus.h"
#include "host/InstanceTexts.h"

namespace Orvex::Host::Test {

namespace {

std::filesystem::path const kCorpus = ORVEX_BAD_INSTANCES;

class InstanceErrors : public testing::TestWithParam<std::string> {};

/// One ACL that a table cannot express between two that it can, in which rules are alike.
constexpr char const* kMixed = R"({"ietf-access-control-list:acls": {"acl": [
  {"name": "a", "type": "ipv4-acl-type", "aces": {"ace": [{"name": "1", "actions": {"forwarding": "drop"}}]}},
  {"name": "b", "type": "ipv4-acl-type", "aces": {"ace": [
    {"name": "1", "actions": {"forwarding": "drop"}},
    {"name": "2", "matches": {"ipv4": {"ecn": 1}}, "actions": {"forwarding": "reject"}}]}},
  {"name": "c", "type": "ipv4-acl-type"}]}})";

}  // namespace

/// Each file of the corpus stands beside all that is to be said about it.
TEST_P( InstanceErrors, AreAllToldWithPathPlaceAndRemedy ) {
  auto const reading = readInstance( contentOf( kCorpus / ( GetParam() + ".json" ) ), {}, GetParam() + ".json" );
  EXPECT_FALSE( reading.located );
  EXPECT_TRUE( reading.diagnostics.failed() );
  EXPECT_EQ( contentOf( kCorpus / ( GetParam() + ".expected" ) ), messagesOf( reading.diagnostics ) );
}

INSTANTIATE_TEST_SUITE_P( Corpus, InstanceErrors, testing::ValuesIn( corpusNames( kCorpus, ".json" ) ),
                          []( auto const& test ) { return testNameOf( test.param ); } );

TEST( SkippedAcls, GoWholeAndWithAWarningForEach ) {
  auto const reading = readInstance( kMixed, Unsupported::skipsAcl );
  ASSERT_TRUE( reading.located ) << reading.diagnostics.text();
  std::vector<std::string> names;
  for ( Acl const& acl : reading.located->policy.acls ) names.push_back( acl.name );
  EXPECT_THAT( names, testing::ElementsAre( "a", "c" ) );
  EXPECT_EQ( 1U, reading.diagnostics.warnings() );
  EXPECT_THAT(
      reading.diagnostics.text(),
      testing::AllOf( testing::HasSubstr( "edge.json:3:3: warning: /ietf-access-control-list:acls/acl[name='b']:" ),
                      testing::HasSubstr( "edge.json:5:40: note:" ), testing::HasSubstr( "matches/ipv4/ecn" ),
                      testing::HasSubstr( "edge.json:5:78: note:" ) ) );
}

TEST( SkippedAcls, DoNotHideWhatIsInvalid ) {
  std::string text = kMixed;
  text.insert( text.find( "\"ecn\"" ), "\"tll\": 1, " );
  auto const reading = readInstance( text, Unsupported::skipsAcl );
  EXPECT_FALSE( reading.located );
  EXPECT_THAT( reading.diagnostics.text(), testing::HasSubstr( "did you mean \"ttl\"?" ) );
}

}  // namespace Orvex::Host::Test
