#include "json/JsonTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Orvex::Host::Test {

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct Reading {
  explicit Reading( std::string text ) {
    file = SourceFile::fromText( "a.json", std::move( text ), diagnostics );
    root = readJson( *file, diagnostics );
  }
  Diagnostics diagnostics;
  std::shared_ptr<SourceFile const> file;
  std::optional<JsonNode> root;
};

/// Every value, innermost first, as it stands in the text.
void addSources( JsonNode const& node, std::vector<std::string>& sources ) {
  if ( auto const* const elements = node.as<JsonNode::Elements>() )
    for ( JsonNode const& element : *elements ) addSources( element, sources );
  if ( auto const* const members = node.as<JsonNode::Members>() )
    for ( JsonMember const& member : *members ) {
      sources.emplace_back( member.nameSource );
      addSources( member.value, sources );
    }
  sources.emplace_back( node.source() );
}

std::vector<std::string> sourcesIn( std::string const& text ) {
  Reading const reading( text );
  EXPECT_EQ( "", reading.diagnostics.text() );
  std::vector<std::string> sources;
  if ( reading.root ) addSources( *reading.root, sources );
  return sources;
}

}  // namespace

TEST( JsonTree, EverythingKnowsWhereItStands ) {
  EXPECT_THAT( sourcesIn( R"( {"a" :[1, -2.5e3,true] , "\"b\\" : "c\"\\\\", "":null})" ),
               ElementsAre( "\"a\"", "1", "-2.5e3", "true", "[1, -2.5e3,true]", R"("\"b\\")", R"("c\"\\\\")", "\"\"",
                            "null", R"({"a" :[1, -2.5e3,true] , "\"b\\" : "c\"\\\\", "":null})" ) );
  EXPECT_THAT( sourcesIn( "12" ), ElementsAre( "12" ) );
  EXPECT_THAT( sourcesIn( "[false,\"x\"]" ), ElementsAre( "false", "\"x\"", "[false,\"x\"]" ) );
}

TEST( JsonTree, ValuesAreReadAsWhatTheyAre ) {
  Reading const reading( R"([18446744073709551615, -9223372036854775808, 0, -0, 1.5, 1e2, "\u00e9\n", {"k": {}}])" );
  auto const& all = *reading.root->as<JsonNode::Elements>();
  EXPECT_EQ( ~std::uint64_t{ 0 }, *all[0].as<std::uint64_t>() );
  EXPECT_EQ( std::numeric_limits<std::int64_t>::min(), *all[1].as<std::int64_t>() );
  EXPECT_EQ( 0U, *all[2].as<std::uint64_t>() );
  EXPECT_NE( nullptr, all[3].as<std::int64_t>() );
  EXPECT_EQ( 1.5, *all[4].as<double>() );
  EXPECT_EQ( 100.0, *all[5].as<double>() );
  EXPECT_EQ( "\xC3\xA9\n", *all[6].as<std::string>() );
  EXPECT_NE( nullptr, all[7].member( "k" ) );
  EXPECT_EQ( nullptr, all[7].member( "K" ) );
  EXPECT_EQ( nullptr, all[0].member( "k" ) );
}

TEST( JsonTree, NestsAsDeepAsItMay ) {
  auto const nested = []( std::size_t depth ) { return std::string( depth, '[' ) + std::string( depth, ']' ); };
  EXPECT_TRUE( Reading( nested( kMaxJsonDepth ) ).root );
  Reading const deeper( nested( kMaxJsonDepth + 1 ) );
  EXPECT_FALSE( deeper.root );
  EXPECT_THAT( deeper.diagnostics.text(), HasSubstr( "a.json:1:65: error: this is nested too deep" ) );
}

TEST( JsonTree, ARepeatedNameIsFoundAmongManyMembers ) {
  std::string text = "{";
  for ( int i = 0; i != 20000; ++i ) text += "\"m" + std::to_string( i ) + "\": 0,\n";
  for ( int const repeated : { 0, 15, 16, 19999 } ) {
    Reading const reading( text + "\"m" + std::to_string( repeated ) + "\": 0}" );
    EXPECT_FALSE( reading.root );
    EXPECT_THAT( reading.diagnostics.text(),
                 HasSubstr( "a.json:20001:1: error: \"m" + std::to_string( repeated ) + "\" stands twice" ) );
  }
  EXPECT_TRUE( Reading( text + "\"m20000\": 0}" ).root );
}

// Of random texts, some are JSON. The tree's places of all others lie within the text, and nothing is read twice.
TEST( JsonTree, AnyTextIsReadOrRefused ) {
  std::string const letters = "{}[]\",:\\019-.eEtrufalsn \n\x01";
  std::uint32_t state = 1;
  int read = 0;
  for ( int i = 0; i != 30000; ++i ) {
    std::string text;
    for ( std::size_t length = static_cast<std::size_t>( i % 12 ); text.size() <= length; ) {
      state = state * 1664525U + 1013904223U;
      text += letters[( state >> 16U ) % letters.size()];
    }
    Reading const reading( text );
    ASSERT_NE( reading.root.has_value(), reading.diagnostics.failed() ) << text;
    ASSERT_LE( reading.diagnostics.errors(), 20U ) << text;
    read += reading.root.has_value() ? 1 : 0;
  }
  EXPECT_GT( read, 300 );
}

}  // namespace Orvex::Host::Test
