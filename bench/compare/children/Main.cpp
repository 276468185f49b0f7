/// What `compare` measures in a process of its own. Not for use by hand, but it can be:
///
///     compare_child describe POLICY                   POLICY: a name that NamedPolicy.h knows
///     compare_child kick POLICY nested                or costOrder
///     compare_child plain POLICY                      makes the entries
///     compare_child plain-count POLICY                counts them
///     compare_child look-up POLICY
///     compare_child nft POLICY FILE                   writes FILE
///     compare_child write POLICY FILE                 writes a generated policy's text
///
/// Exits 1 when there is no result, 2 when the question is wrong.

#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "compare/NamedPolicy.h"
#include "compare/children/Roles.h"

namespace {

using namespace Orvex;

bool write( std::string const& path, std::string const& text ) {
  std::ofstream out( path, std::ios::binary );
  out << text;
  out.flush();
  return out.good();
}

/// Nothing when there is no such role.
std::optional<bool> play( std::string const& role, Host::Policy const& policy, std::string const& argument ) {
  if ( role == "kick" )
    return Bench::kick( policy, argument == "costOrder" ? LabelPlacement::costOrder : LabelPlacement::nested );
  if ( role == "look-up" ) return Bench::lookUp( policy );
  if ( role == "nft" ) return write( argument, Bench::nftRuleset( policy ) );
  if ( role == "describe" )
    Bench::describe( policy );
  else if ( role == "plain" )
    Bench::expandPlainly( policy );
  else if ( role == "plain-count" )
    Bench::countPlainly( policy );
  else
    return std::nullopt;
  return true;
}

int run( std::string const& role, std::string const& name, std::string const& argument ) {
  if ( role == "write" ) {
    auto const text = Bench::generatedText( name );
    return text && write( argument, *text ) ? 0 : 2;
  }
  auto const policy = Bench::policyNamed( name );
  if ( !policy ) {
    std::cerr << name << ": error: neither a readable ClassBench filter set nor a generated policy\n";
    return 2;
  }
  auto const done = play( role, *policy, argument );
  return !done ? 2 : *done ? 0 : 1;
}

}  // namespace

int main( int argc, char** argv ) {
  std::vector<std::string> words( argv + 1, argv + argc );
  if ( words.size() != 2 && words.size() != 3 ) {
    std::cerr << "usage: compare_child ROLE POLICY [ARGUMENT]\n";
    return 2;
  }
  words.resize( 3 );
  return run( words[0], words[1], words[2] );
}
