/// What the ways to place labels come to, beside plain prefix expansion, on many policies.
///
///     compare_placements [options] POLICY...
///
///     acl1_10k.txt              a ClassBench filter set, by path
///     acl:ipv4:10000:1          a generated policy; NamedPolicy.h has their names
///
///     --width BITS              of address and port labels; 16 unless it is said
///     --least                   each table as wide as its labels need
///     --no-proof                tables are not proved
///
/// A line a policy and placement: entries, entries a rule, mean lengths of the lists that addresses and ports are matched
/// with, entries of the label tables, the bits in which the values of the widest address and port table differ, and the time
/// of the compile without the proof. Where each list is a single prefix, a line with the least mean length of lists that
/// addresses can be matched with in aligned blocks, however labels are placed. Exits 1 when a table is not proved or does not come about.

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "compare/AddressBound.h"
#include "compare/NamedPolicy.h"
#include "pipeline/PlacementComparison.h"

namespace {

using namespace Orvex;

struct Options {
  std::uint64_t widthBits = EncodingAttr::kMaxWidth;
  bool leastWidths = false;
  Host::ProofMode proof = Host::ProofMode::prove;
  std::vector<std::string> policies;
};

std::optional<std::uint64_t> numberOf( std::string const& text ) {
  std::uint64_t number = 0;
  auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
  return error == std::errc() && end == text.data() + text.size() ? std::optional( number ) : std::nullopt;
}

std::optional<Options> optionsOf( std::vector<std::string> const& words ) {
  Options options;
  for ( std::size_t at = 0; at != words.size(); ++at ) {
    if ( words[at] == "--least" ) {
      options.leastWidths = true;
    } else if ( words[at] == "--no-proof" ) {
      options.proof = Host::ProofMode::loadNothing;
    } else if ( words[at] == "--width" && at + 1 != words.size() ) {
      auto const width = numberOf( words[++at] );
      if ( !width || *width == 0 || *width > EncodingAttr::kMaxWidth ) return std::nullopt;
      options.widthBits = *width;
    } else if ( words[at].starts_with( "--" ) ) {
      return std::nullopt;
    } else {
      options.policies.push_back( words[at] );
    }
  }
  return options.policies.empty() ? std::nullopt : std::optional( options );
}

Host::ChipProfile profileOf( std::uint64_t widthBits ) {
  Host::ChipProfile profile;
  profile.name = "compare";
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) profile.prefix( space ).widthBits = widthBits;
  for ( Host::Field const field : { Host::Field::sport, Host::Field::dport } )
    profile.ranges[field].widthBits = widthBits;
  for ( Host::Resource const resource : Host::kResources ) profile.capacities[resource] = Host::kUnlimited;
  return profile;
}

/// Each table as narrow as the labels allow that the policy has.
Host::ChipProfile leastProfile( Host::Policy const& policy ) {
  Host::ChipProfile profile = profileOf( EncodingAttr::kMaxWidth );
  auto const figures = Host::figuresOf( policy, profile, LabelPlacement::costOrder, Host::ProofMode::loadNothing );
  auto const widthOf = [&]( std::string const& table ) {
    for ( Host::LabelUse const& use : figures.result.compile.labels )
      if ( use.table == table )
        for ( std::uint64_t bits = 1;; ++bits )
          if ( use.needed < std::uint64_t{ 1 } << bits ) return bits;
    return std::uint64_t{ 1 };
  };
  for ( PrefixXformKey const space : Host::kPrefixSpaces )
    profile.prefix( space ).widthBits = widthOf( Host::tableText( space ) );
  for ( Host::Field const field : { Host::Field::sport, Host::Field::dport } )
    profile.ranges[field].widthBits = widthOf( Host::tableText( Host::rangeTableOf( field ) ) );
  return profile;
}

bool printFigures( std::string const& name, std::size_t rules, Host::PlacementFigures const& figures,
                   Host::ProofMode mode ) {
  std::string const placement( Kiv::stringValue( figures.placement ) );
  if ( !figures.isCompiled() ) {
    std::printf( "%-24s %-10s %s\n", name.c_str(), placement.c_str(), figures.result.compile.message.c_str() );
    return false;
  }
  std::uint64_t addressBits = 0;
  std::uint64_t portBits = 0;
  for ( Host::TableBits const& table : figures.tables ) {
    std::uint64_t& bits = table.table.find( "port" ) == std::string::npos ? addressBits : portBits;
    bits = std::max( bits, table.bits );
  }
  std::chrono::duration<double, std::milli> time{ 0 };
  for ( Host::StageTime const& stage : figures.result.compile.stages )
    if ( stage.stage != OrvexActiveStage::stageLoader ) time += stage.time;
  bool const proved = mode == Host::ProofMode::loadNothing || figures.result.proof.isProved();
  std::printf( "%-24s %-10s %9llu %7.3f %9.4f %7.3f %8llu %5llu %5llu %8.1f%s\n", name.c_str(), placement.c_str(),
               static_cast<unsigned long long>( figures.entries ),
               static_cast<double>( figures.entries ) / static_cast<double>( rules ), figures.addressListLength,
               figures.portListLength, static_cast<unsigned long long>( figures.labelEntries ),
               static_cast<unsigned long long>( addressBits ), static_cast<unsigned long long>( portBits ),
               time.count(), proved ? "" : " NOT PROVED" );
  return proved;
}

bool comparePlacements( std::string const& name, Host::Policy const& policy, Options const& options ) {
  std::size_t rules = 0;
  for ( Host::Acl const& acl : policy.acls ) rules += acl.rules.size();
  std::uint64_t const plain = Host::plainEntries( policy );
  std::printf( "%-24s %-10s %9llu %7.3f\n", name.c_str(), "plain", static_cast<unsigned long long>( plain ),
               static_cast<double>( plain ) / static_cast<double>( rules ) );
  Host::ChipProfile const profile = options.leastWidths ? leastProfile( policy ) : profileOf( options.widthBits );
  bool good = true;
  for ( LabelPlacement const placement : { LabelPlacement::costOrder, LabelPlacement::nested } )
    good = printFigures( name, rules, Host::figuresOf( policy, profile, placement, options.proof ), options.proof ) &&
           good;
  if ( auto const least = Bench::leastAddressListLength( policy, profile ) )
    std::printf( "%-24s %-10s %27.4f\n", name.c_str(), "bound", *least );
  return good;
}

}  // namespace

int main( int argc, char** argv ) {
  auto const options = optionsOf( { argv + 1, argv + argc } );
  if ( !options ) {
    std::cerr << "usage: compare_placements [--width BITS] [--least] [--no-proof] FILE | KIND:FAMILY:COUNT:SEED ...\n"
                 "kinds are acl, firewall, chain, hosts, lists, scattered and crowded; families ipv4 and ipv6\n";
    return 2;
  }
  std::printf( "%-24s %-10s %9s %7s %9s %7s %8s %5s %5s %8s\n", "policy", "placement", "entries", "a rule", "addresses",
               "ports", "labels", "abits", "pbits", "ms" );
  bool good = true;
  for ( std::string const& text : options->policies ) {
    auto const policy = Bench::policyNamed( text );
    if ( !policy ) {
      std::cerr << text << ": error: neither a readable ClassBench filter set nor KIND:FAMILY:COUNT:SEED\n";
      return 2;
    }
    good = comparePlacements( text.substr( text.rfind( '/' ) + 1 ), *policy, *options ) && good;
  }
  return good ? 0 : 1;
}
