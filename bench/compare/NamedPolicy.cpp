#include "compare/NamedPolicy.h"

#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "FilterSetGenerator.h"
#include "ListPolicy.h"
#include "PolicyOfConfig.h"
#include "SinglePolicies.h"
#include "policy/AclConfigBuilder.h"
#include "policy/AclTextWriter.h"
#include "policy/ClassbenchReader.h"

namespace Orvex::Bench {

namespace {

using Vell::AddressFamily;

constexpr std::uint64_t kMostRules = 1000000;

struct Parameters {
  std::string kind;
  AddressFamily family = AddressFamily::ipv4;
  std::uint32_t rules = 0;
  std::uint64_t seed = 1;
};

std::optional<std::uint64_t> numberOf( std::string const& text ) {
  std::uint64_t number = 0;
  auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), number );
  return error == std::errc() && end == text.data() + text.size() ? std::optional( number ) : std::nullopt;
}

/// KIND:FAMILY:COUNT:SEED
std::optional<Parameters> parametersOf( std::string const& name ) {
  std::vector<std::string> parts;
  std::istringstream in( name );
  for ( std::string part; std::getline( in, part, ':' ); ) parts.push_back( part );
  if ( parts.size() != 4 || ( parts[1] != "ipv4" && parts[1] != "ipv6" ) ) return std::nullopt;
  auto const rules = numberOf( parts[2] );
  auto const seed = numberOf( parts[3] );
  if ( !rules || !seed || *rules == 0 || *rules > kMostRules ) return std::nullopt;
  return Parameters{ parts[0], parts[1] == "ipv4" ? AddressFamily::ipv4 : AddressFamily::ipv6,
                     static_cast<std::uint32_t>( *rules ), *seed };
}

std::optional<FilterSetStyle> styleOf( std::string const& kind ) {
  if ( kind == "acl" ) return FilterSetStyle::acl;
  if ( kind == "firewall" ) return FilterSetStyle::firewall;
  return kind == "chain" ? std::optional( FilterSetStyle::chain ) : std::nullopt;
}

std::optional<Host::Policy> listPolicy( Parameters const& parameters ) {
  if ( parameters.kind == "hosts" )
    return policyOf( *separatePrefixes( parameters.rules, parameters.family, parameters.seed ) );
  ListPolicyParameters lists = parameters.kind == "lists" ? ListPolicyParameters() : stressParameters();
  if ( parameters.kind == "crowded" ) {
    lists.lists = 2000;
    lists.distinctPrefixes = PrefixListParameters::kMaxDistinctPrefixes;
  } else if ( parameters.kind != "lists" && parameters.kind != "scattered" ) {
    return std::nullopt;
  }
  lists.rules = parameters.rules;
  lists.family = parameters.family;
  lists.seed = parameters.seed;
  return policyOf( *makeListPolicy( lists ).config );
}

std::optional<Host::Policy> readClassbench( std::string const& name, std::string text ) {
  Host::Diagnostics diagnostics;
  std::vector<std::shared_ptr<Host::SourceFile const>> const files = {
      Host::SourceFile::fromText( name, std::move( text ), diagnostics ) };
  auto policy = Host::readClassbench( files, {}, diagnostics );
  if ( diagnostics.errors() != 0 || !policy ) return std::nullopt;
  return std::move( policy->policy );
}

std::string filterSet( FilterSetStyle style, Parameters const& parameters ) {
  return filterSetText( { style, parameters.family, parameters.rules, parameters.seed } );
}

}  // namespace

std::optional<std::string> generatedText( std::string const& name ) {
  auto const parameters = parametersOf( name );
  if ( !parameters ) return std::nullopt;
  if ( auto const style = styleOf( parameters->kind ) ) return filterSet( *style, *parameters );
  auto const policy = listPolicy( *parameters );
  return policy ? std::optional( Host::aclText( *policy ) ) : std::nullopt;
}

std::optional<Host::Policy> policyNamed( std::string const& name ) {
  if ( auto const parameters = parametersOf( name ) ) {
    auto const style = styleOf( parameters->kind );
    return style ? readClassbench( "set", filterSet( *style, *parameters ) ) : listPolicy( *parameters );
  }
  std::ifstream in( name );
  if ( !in ) return std::nullopt;
  return readClassbench( "set", std::string( std::istreambuf_iterator<char>( in ), {} ) );
}

Kiv::Ptr<AclConfigColl> configNamed( std::string const& name ) {
  auto const policy = policyNamed( name );
  if ( !policy ) return nullptr;
  auto config = Kiv::make<AclConfigColl>( Brae::ChipId( 0 ) );
  Host::buildAclConfig( *policy, *config );
  return config;
}

}  // namespace Orvex::Bench
