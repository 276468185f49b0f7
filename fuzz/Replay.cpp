/// Runs a fuzz target once on every file of the folders that are named, in ascending order.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzTarget.h"

namespace {

std::vector<std::filesystem::path> filesIn( std::vector<std::string> const& folders ) {
  std::vector<std::filesystem::path> files;
  for ( std::string const& folder : folders )
    for ( auto const& each : std::filesystem::directory_iterator( folder ) )
      if ( each.is_regular_file() ) files.push_back( each.path() );
  std::sort( files.begin(), files.end() );
  return files;
}

/// In memory of its own, so that a sanitizer sees what reads beyond it.
std::vector<std::uint8_t> bytesOf( std::filesystem::path const& path ) {
  std::ifstream file( path, std::ios::binary );
  std::vector<std::uint8_t> bytes( std::istreambuf_iterator<char>( file ), {} );
  bytes.shrink_to_fit();
  return bytes;
}

}  // namespace

int main( int argc, char** argv ) {
  auto const files = filesIn( { argv + 1, argv + argc } );
  for ( auto const& path : files ) {
    // Said before, for what ends the process.
    std::printf( "%s\n", path.c_str() );
    (void)std::fflush( stdout );
    auto const bytes = bytesOf( path );
    LLVMFuzzerTestOneInput( bytes.data(), bytes.size() );
  }
  std::printf( "%zu inputs\n", files.size() );
  return files.empty() ? 1 : 0;
}
