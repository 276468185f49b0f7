#include "compare/FilterSets.h"

#include <filesystem>

namespace Orvex::Bench {

namespace {

/// Fills in what the set's file holds, and writes the ruleset for nft.
void complete( ComparedSet& set, Programs const& programs ) {
  auto facts = factsOf( programs.runRole( { "describe", set.path } ).output );
  set.ipv6 = facts["ipv6"] != 0;
  set.rules = static_cast<std::uint64_t>( facts["rules"] );
  set.sources = static_cast<std::uint64_t>( facts["sources"] );
  set.destinations = static_cast<std::uint64_t>( facts["destinations"] );
  set.nftPath = programs.work().file( set.name + ".nft" );
  programs.runRole( { "nft", set.path, set.nftPath } );
}

}  // namespace

std::vector<ComparedSet> givenSets( std::vector<std::string> const& files, Programs const& programs ) {
  std::vector<ComparedSet> sets;
  for ( std::string const& file : files ) {
    ComparedSet set;
    set.name = std::filesystem::path( file ).stem();
    set.series = set.name.substr( 0, set.name.find_last_of( '_' ) );
    set.path = file;
    complete( set, programs );
    sets.push_back( std::move( set ) );
  }
  return sets;
}

std::vector<ComparedSet> generatedSets( std::vector<std::uint64_t> const& sizes, Programs const& programs ) {
  std::vector<ComparedSet> sets;
  for ( char const* const style : { "acl", "firewall", "chain" } )
    for ( char const* const family : { "ipv4", "ipv6" } )
      for ( std::uint64_t const size : sizes ) {
        ComparedSet set;
        set.series = std::string( style ) + ":" + family;
        set.name = set.series + ":" + std::to_string( size ) + ":1";
        set.path = programs.work().file( std::string( style ) + "-" + family + "-" + std::to_string( size ) );
        set.generated = true;
        programs.runRole( { "write", set.name, set.path } );
        complete( set, programs );
        sets.push_back( std::move( set ) );
      }
  return sets;
}

}  // namespace Orvex::Bench
