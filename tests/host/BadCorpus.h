#pragma once

/// A folder of inputs that are wrong, each beside a file of all that is to be said about it: NAME.acl and NAME.expected.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "input/Diagnostics.h"
#include "input/Utf8.h"

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

/// Each message with what is underlined of its line: `edge.acl:3:13: error: "tpc" is no protocol [tpc]`. How lines are shown
/// is tested beside the messages themselves (InputTest).
inline std::string messagesOf( Diagnostics const& diagnostics ) {
  std::vector<std::string> lines;
  std::istringstream text( diagnostics.text() );
  for ( std::string line; std::getline( text, line ); ) {
    std::size_t const caret = line.find_first_not_of( " \t" );
    if ( caret == std::string::npos || line[caret] != '^' ) {
      lines.push_back( line );
      continue;
    }
    std::string_view source = lines.back();
    source.remove_prefix( firstCodePoints( source, caret ).size() );
    std::string const part( firstCodePoints( source, line.size() - caret ) );
    lines.pop_back();
    lines.back() += " [" + part + "]";
  }
  std::string messages;
  for ( std::string const& line : lines ) messages += line + "\n";
  return messages;
}

}  // namespace Orvex::Host::Test
