#include "chip/ProfileJson.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "chip/BuiltInProfiles.h"
#include "host/BadCorpus.h"
#include "host/TestChips.h"

namespace Orvex::Host::Test {

namespace {

std::filesystem::path const kCorpus = ORVEX_BAD_PROFILES;

class BadProfile : public testing::TestWithParam<std::string> {};

}  // namespace

/// Each file of the corpus stands beside all that is to be said about it.
TEST_P( BadProfile, IsToldWithPlaceAndRemedy ) {
  Diagnostics diagnostics;
  auto const file =
      SourceFile::fromText( GetParam() + ".json", contentOf( kCorpus / ( GetParam() + ".json" ) ), diagnostics );
  EXPECT_FALSE( readChipProfile( *file, diagnostics ) );
  EXPECT_TRUE( diagnostics.failed() );
  EXPECT_EQ( contentOf( kCorpus / ( GetParam() + ".expected" ) ), messagesOf( diagnostics ) );
}

INSTANTIATE_TEST_SUITE_P( Corpus, BadProfile, testing::ValuesIn( corpusNames( kCorpus, ".json" ) ),
                          []( auto const& test ) { return testNameOf( test.param ); } );

TEST( ProfileJson, AProfileThatIsWrittenIsReadAsItWas ) {
  std::vector<ChipProfile> profiles = builtInProfiles();
  for ( ChipProfile const& shape : chipShapes() ) profiles.push_back( shape );
  profiles.back().name = "a \"b\"\\\n\xC3\xA9";
  profiles.back().hitfulPolicy = HitfulPolicy::permit;
  for ( ChipProfile const& profile : profiles ) {
    Diagnostics diagnostics;
    auto const file = SourceFile::fromText( "chip.json", profileJson( profile ), diagnostics );
    auto const read = readChipProfile( *file, diagnostics );
    EXPECT_EQ( "", diagnostics.text() );
    EXPECT_EQ( profile, read );
  }
}

TEST( ProfileJson, WhatIsNotNamedIsOffOrZeroOrDenied ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText(
      "chip.json",
      R"({"schema": "orvex.chip/1", "name": "edge", "capacities": {"ipv6PrefixEntries": 3, "ruleEntries": "unlimited",
          "ipv4PrefixEntries": 2}, "prefixes": {"ipv6": {"destination": {"width": 4}, "source": {"width": 3}},
          "ipv4": {"source": {"invalid": 1, "width": 1}, "destination": {"width": 2}}}})",
      diagnostics );
  ChipProfile want;
  want.name = "edge";
  want.prefixes = { { { { { 1, 1 }, { 2, 0 } } }, { { { 3, 0 }, { 4, 0 } } } } };
  want.capacities[Resource::ruleEntries] = kUnlimited;
  want.capacities[Resource::ipv4PrefixEntries] = 2;
  want.capacities[Resource::ipv6PrefixEntries] = 3;
  EXPECT_EQ( want, readChipProfile( *file, diagnostics ) );
  EXPECT_EQ( "", diagnostics.text() );
}

}  // namespace Orvex::Host::Test
