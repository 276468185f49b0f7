#include "output/OutputFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace Orvex::Host::Test {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class OutputFileTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = ( fs::temp_directory_path() / "output-file-XXXXXX" ).string();
    directory = mkdtemp( name.data() );
    path = directory / "out.json";
  }
  void TearDown() override { fs::remove_all( directory ); }

  static void put( fs::path const& file, std::string const& text ) { std::ofstream( file ) << text; }
  static std::string contentOf( fs::path const& file ) {
    std::ifstream in( file );
    return { std::istreambuf_iterator( in ), {} };
  }
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for ( auto const& each : fs::directory_iterator( directory ) ) names.push_back( each.path().filename().string() );
    return names;
  }
  /// The message of a write that fails.
  static std::string failure( fs::path const& file, std::string const& text ) {
    try {
      OutputFile out( file.string() );
      out.write( text );
      out.commit();
      return "none";
    } catch ( OutputError const& error ) {
      return error.what();
    }
  }

  fs::path directory;
  fs::path path;
};

}  // namespace

TEST_F( OutputFileTest, TheOldFileStaysUntilTheNewOneIsCommitted ) {
  put( path, "old" );
  fs::permissions( path, fs::perms::owner_read | fs::perms::owner_write );
  std::string const large( 200000, 'x' );
  {
    OutputFile out( path.string() );
    out.write( large );
    EXPECT_EQ( "old", contentOf( path ) );
    out.commit();
    EXPECT_EQ( large, contentOf( path ) );
  }
  EXPECT_EQ( fs::perms::owner_read | fs::perms::owner_write, fs::status( path ).permissions() );
  { OutputFile( path.string() ).write( large + large ); }
  EXPECT_EQ( large, contentOf( path ) ) << "it was not committed";
  EXPECT_THAT( files(), ElementsAre( "out.json" ) );
}

TEST_F( OutputFileTest, WhatCannotBeAFileIsToldWithItsReason ) {
  EXPECT_EQ( "cannot write " + directory.string() + ": Is a directory", failure( directory, "" ) );
  fs::path const nowhere = directory / "none" / "out.json";
  EXPECT_EQ( "cannot write " + nowhere.string() + ": No such file or directory", failure( nowhere, "" ) );
  put( path, "old" );
  EXPECT_THAT( failure( path / "out.json", "" ), HasSubstr( "Not a directory" ) );
}

TEST_F( OutputFileTest, ALinkIsFollowedAndADeviceWrittenAsItIs ) {
  put( directory / "real", "old" );
  fs::create_symlink( "real", path );
  EXPECT_EQ( "none", failure( path, "new" ) );
  EXPECT_TRUE( fs::is_symlink( path ) );
  EXPECT_EQ( "new", contentOf( directory / "real" ) );
  EXPECT_EQ( "none", failure( "/dev/null", "new" ) );
  EXPECT_TRUE( fs::is_character_file( "/dev/null" ) );
}

}  // namespace Orvex::Host::Test
