#pragma once

/// A folder of inputs that are wrong, each beside a file of all that is to be said about it: NAME.acl and NAME.expected.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace Orvex::Host::Test {

/// Ascending, so that tests come in the same order everywhere.
inline std::vector<std::string> corpusNames( std::filesystem::path const& folder, std::string_view extension ) {
  std::vector<std::string> names;
  for ( auto const& each : std::filesystem::directory_iterator( folder ) )
    if ( each.path().extension() == extension ) names.push_back( each.path().stem().string() );
  std::sort( names.begin(), names.end() );
  return names;
}

inline std::string contentOf( std::filesystem::path const& path ) {
  std::ifstream file( path, std::ios::binary );
  return { std::istreambuf_iterator<char>( file ), {} };
}

/// A name that a test may have.
inline std::string testNameOf( std::string corpusName ) {
  std::replace( corpusName.begin(), corpusName.end(), '-', '_' );
  return corpusName;
}

}  // namespace Orvex::Host::Test
