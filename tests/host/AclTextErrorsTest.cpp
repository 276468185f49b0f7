#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/BadCorpus.h"
#include "policy/AclTextReader.h"

namespace Orvex::Host::Test {

namespace {

std::filesystem::path const kCorpus = ORVEX_BAD_POLICIES;

std::string errorsOf( std::string text ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText( "edge.acl", std::move( text ), diagnostics );
  EXPECT_FALSE( readAclText( { file }, diagnostics ) );
  return diagnostics.text();
}

/// Messages name files as they were given, so the test goes where they are.
class AclTextErrors : public testing::TestWithParam<std::string> {
 public:
  AclTextErrors() : before_( std::filesystem::current_path() ) { std::filesystem::current_path( kCorpus ); }
  ~AclTextErrors() override { std::filesystem::current_path( before_ ); }

 private:
  std::filesystem::path before_;
};

}  // namespace

/// Each file of the corpus stands beside all that is to be said about it.
TEST_P( AclTextErrors, AreAllToldWithPlaceAndRemedy ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::read( GetParam() + ".acl", diagnostics );
  ASSERT_NE( nullptr, file );
  EXPECT_FALSE( readAclText( { file }, diagnostics ) );
  EXPECT_TRUE( diagnostics.failed() );
  EXPECT_EQ( contentOf( GetParam() + ".expected" ), messagesOf( diagnostics ) );
}

INSTANTIATE_TEST_SUITE_P( Corpus, AclTextErrors, testing::ValuesIn( corpusNames( kCorpus, ".acl" ) ),
                          []( auto const& test ) { return testNameOf( test.param ); } );

TEST( AclTextLongLine, IsReadAndShownInPart ) {
  std::string const ports( 10'000'000 / 3, '9' );
  std::string line = "ip access-list edge\n10 permit tcp any any eq";
  for ( int i = 0; i != 2'000'000; ++i ) line += " 8080";
  std::string const errors = errorsOf( line + " 8o8o\n20 permit tcp any any eq " + ports + "\n" );
  EXPECT_THAT( errors, testing::StartsWith( "edge.acl:2:10000026: error: \"8o8o\" is no port; " ) );
  EXPECT_THAT( errors,
               testing::HasSubstr( "edge.acl:3:26: error: \"" + ports.substr( 0, 40 ) + "...\" is no port; " ) );
  EXPECT_LT( errors.size(), 2000U );
}

}  // namespace Orvex::Host::Test
