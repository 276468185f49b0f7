#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "input/Diagnostics.h"
#include "input/NearestWord.h"
#include "input/SourceFile.h"
#include "input/Utf8.h"

namespace Orvex::Host::Test {

namespace {

using testing::EndsWith;
using testing::HasSubstr;

std::shared_ptr<SourceFile const> file( std::string text ) {
  Diagnostics diagnostics;
  return SourceFile::fromText( "edge.acl", std::move( text ), diagnostics );
}

std::string readingErrors( std::string text ) {
  Diagnostics diagnostics;
  SourceFile::fromText( "edge.acl", std::move( text ), diagnostics );
  return diagnostics.text();
}

std::string shown( Place place ) {
  Diagnostics diagnostics;
  diagnostics.error( std::move( place ), "wrong" );
  return diagnostics.text();
}

std::string nearest( std::string_view misspelt, std::vector<std::string> const& words ) {
  NearestWord found( misspelt );
  for ( auto const& each : words ) found.consider( each );
  return found.found();
}

}  // namespace

TEST( SourceFile, LinesEndWithLfOrCrlfAndTheLastMayHaveNoEnd ) {
  auto const text = file( "\xEF\xBB\xBFone\r\n\ntwo\n\rthree" );
  ASSERT_EQ( 4U, text->lineCount() );
  EXPECT_EQ( "one", text->line( 1 ) );
  EXPECT_EQ( "", text->line( 2 ) );
  EXPECT_EQ( "two", text->line( 3 ) );
  EXPECT_EQ( "\rthree", text->line( 4 ) );
  EXPECT_EQ( 1U, file( "one\n" )->lineCount() );
  EXPECT_EQ( 0U, file( "" )->lineCount() );
}

TEST( SourceFile, ReportsTheFirstByteOfEachLineThatIsNotText ) {
  struct {
    char const* want;
    std::string from;
  } const cases[] = {
      { "", "\x01 control characters, ä and 𐍈 are text" },
      { "edge.acl:2:2: error: a NUL byte; ", std::string( "a\nb\0\0\nc", 7 ) },
      { "edge.acl:1:2: error: the byte 0xE4 is not UTF-8; ", "\xC3\xA4\xE4 Latin-1" },
      { "edge.acl:1:1: error: the byte 0xC0 ", "\xC0\x80 overlong" },
      { "edge.acl:1:1: error: the byte 0xED ", "\xED\xA0\x80 a surrogate" },
      { "edge.acl:1:1: error: the byte 0xF4 ", "\xF4\x90\x80\x80 beyond Unicode" },
      { "edge.acl:1:2: error: the byte 0xE2 ", "a\xE2\x82" },
  };
  for ( auto const& [want, from] : cases ) EXPECT_THAT( readingErrors( from ), testing::StartsWith( want ) ) << from;
  auto const mixed = file( "fine\n\xFF\nfine" );
  EXPECT_TRUE( mixed->lineIsText( 1 ) );
  EXPECT_FALSE( mixed->lineIsText( 2 ) );
  EXPECT_TRUE( mixed->lineIsText( 3 ) );
}

TEST( SourceFile, SaysWhyAFileCannotBeRead ) {
  Diagnostics diagnostics;
  EXPECT_EQ( nullptr, SourceFile::read( "no/such/file", diagnostics ) );
  EXPECT_EQ( nullptr, SourceFile::read( ".", diagnostics ) );
  EXPECT_EQ( "no/such/file: error: cannot be read: No such file or directory\n.: error: is a directory\n",
             diagnostics.text() );
}

TEST( SourceFile, ReadsFilesLongerThanOneChunkWhole ) {
  auto const path = std::filesystem::path( testing::TempDir() ) / "orvex-long-source-file";
  std::string const text( 200'000, 'x' );
  std::ofstream( path ) << text;
  Diagnostics diagnostics;
  auto const read = SourceFile::read( path.string(), diagnostics );
  std::filesystem::remove( path );
  ASSERT_NE( nullptr, read );
  EXPECT_EQ( text, read->text() );
}

TEST( Diagnostics, ShowTheLineWithACaretUnderThePlace ) {
  auto const text = file( "\tpermit tpc any\nä€ bad\n" );
  auto const place = [&]( std::string_view part ) {
    return text->placeOf( text->text().substr( text->text().find( part ), part.size() ) );
  };
  EXPECT_EQ( "edge.acl:1:9: error: wrong\n\tpermit tpc any\n\t       ^~~\n", shown( place( "tpc" ) ) );
  EXPECT_EQ( "edge.acl:2:4: error: wrong\nä€ bad\n   ^~~\n", shown( place( "bad" ) ) );
  EXPECT_EQ( "edge.acl:2:7: error: wrong\nä€ bad\n      ^\n", shown( { text, 2, 7, 0 } ) );
  EXPECT_EQ( "edge.acl:1:1: error: wrong\n", shown( { file( "" ), 1, 1, 0 } ) );
  EXPECT_EQ( "edge.acl: error: wrong\n", shown( text->whole() ) );
  EXPECT_EQ( "error: wrong\n", shown( {} ) );
}

TEST( Diagnostics, CutLongLinesToAWindowAroundThePlace ) {
  std::string const before( 5'000'000, 'a' );
  std::string const after( 5'000'000, 'b' );
  auto const text = file( before + "BAD" + after );
  EXPECT_EQ( "edge.acl:1:5000001: error: wrong\n..." + before.substr( 0, 60 ) + "BAD" + after.substr( 0, 57 ) +
                 "...\n" + std::string( 63, ' ' ) + "^~~\n",
             shown( { text, 1, 5'000'001, 3 } ) );
  EXPECT_EQ( "edge.acl:1:1: error: wrong\n" + before.substr( 0, 120 ) + "...\n^" + std::string( 119, '~' ) + "\n",
             shown( { text, 1, 1, 5'000'000 } ) );
  std::string const some = before.substr( 0, 100 );
  EXPECT_EQ( "edge.acl:1:101: error: wrong\n" + some + "BAD\n" + std::string( 100, ' ' ) + "^~~\n",
             shown( { file( some + "BAD" ), 1, 101, 3 } ) );
  EXPECT_EQ( "edge.acl:1:131: error: wrong\n..." + before.substr( 0, 60 ) + "BAD\n" + std::string( 63, ' ' ) + "^~~\n",
             shown( { file( before.substr( 0, 130 ) + "BAD" ), 1, 131, 3 } ) );
}

TEST( Diagnostics, LetNoInputWriteToTheTerminal ) {
  auto const text = file( "a\x1b[2J\xC2\x9B\xFF z" );
  EXPECT_EQ( "edge.acl:1:9: error: wrong\na\xEF\xBF\xBD[2J\xEF\xBF\xBD\xEF\xBF\xBD z\n        ^\n",
             shown( { text, 1, 9, 1 } ) );
  Diagnostics diagnostics;
  diagnostics.error( {}, "no protocol " + inQuotes( "\x1b[2J" + std::string( 50, 'x' ) ) );
  EXPECT_EQ( "error: no protocol \"\xEF\xBF\xBD[2J" + std::string( 36, 'x' ) + "...\"\n", diagnostics.text() );
}

TEST( Diagnostics, ComeByFileAndPlaceWithRelatedPlacesBehindTheirMessage ) {
  auto const first = file( "one\ntwo" );
  Diagnostics unread;
  auto const second = SourceFile::fromText( "b.acl", "three", unread );
  Diagnostics diagnostics;
  diagnostics.warning( { first, 2, 1, 1 }, "B" );
  Place const inFirst{ first, 2, 2, 1 };
  std::vector<RelatedPlace> related( 1 );
  related[0].place = inFirst;
  related[0].text = "here";
  diagnostics.error( { second, 1, 1, 1 }, "C", "see the first", related );
  diagnostics.note( { first, 1, 3, 1 }, "A" );
  EXPECT_EQ(
      "edge.acl:1:3: note: A\none\n  ^\n"
      "edge.acl:2:1: warning: B\ntwo\n^\n"
      "b.acl:1:1: error: C; see the first\nthree\n^\n"
      "edge.acl:2:2: note: here\ntwo\n ^\n",
      diagnostics.text() );
  EXPECT_TRUE( diagnostics.failed() );
  EXPECT_EQ( 1U, diagnostics.errors() );
  EXPECT_EQ( 1U, diagnostics.warnings() );
}

TEST( Diagnostics, StopShowingErrorsAfterTwenty ) {
  Diagnostics diagnostics;
  for ( int i = 0; i != 20; ++i ) diagnostics.error( {}, "wrong" );
  EXPECT_FALSE( diagnostics.tooManyErrors() );
  diagnostics.error( {}, "one more" );
  EXPECT_TRUE( diagnostics.tooManyErrors() );
  EXPECT_THAT( diagnostics.text(), EndsWith( "wrong\nerror: too many errors\n" ) );
  for ( int i = 0; i != 102; ++i ) diagnostics.warning( {}, "odd" );
  EXPECT_THAT( diagnostics.text(),
               EndsWith( "odd\nerror: too many errors\nwarning: too many warnings; the rest is not shown\n" ) );
}

TEST( Diagnostics, AreColouredOnRequest ) {
  Diagnostics diagnostics;
  diagnostics.error( { file( "x" ), 1, 1, 1 }, "wrong" );
  EXPECT_THAT( diagnostics.text( Colour::on ), HasSubstr( "\x1b[1;31merror: \x1b[0mwrong" ) );
}

TEST( NearestWord, CountsSwappedNeighboursAsOneMistakeAndLeavesFarWordsAlone ) {
  struct {
    char const* want;
    char const* misspelt;
  } const cases[] = {
      { "tcp", "tpc" },
      { "https", "htps" },
      { "permit", "Permit" },
      { "permit", "perimt" },
      { "established", "estblished" },
      { "", "x" },
      { "", "" },
      { "", "banana" },
      { "tcp", "tcp6" },
      { "", "ab" },
  };
  for ( auto const& [want, misspelt] : cases )
    EXPECT_EQ( want, nearest( misspelt, { "permit", "tcp", "udp", "ftps", "http", "https", "established" } ) )
        << misspelt;
  EXPECT_EQ( "", nearest( std::string( 100'000, 't' ), { "tcp", std::string( 99'999, 't' ) } ) );
}

}  // namespace Orvex::Host::Test
