#include "formats/OpenConfigSets.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/InstanceValues.h"
#include "formats/OpenConfigKeys.h"
#include "formats/OpenConfigPrefixSets.h"
#include "input/NearestWord.h"
#include "policy/AclAddresses.h"
#include "policy/RangeSets.h"

namespace Orvex::Host {

namespace {

using Prefixes = std::vector<Vell::IpGenPrefix>;

constexpr std::string_view kName[] = { "name" };

constexpr InstanceMember kDefinedSets[] = {
    { "ipv4-prefix-sets" }, { "ipv6-prefix-sets" }, { "port-sets" }, { "state", Take::leaveOut } };
constexpr InstanceMember kIpv4Sets[] = { { "ipv4-prefix-set" } };
constexpr InstanceMember kIpv6Sets[] = { { "ipv6-prefix-set" } };
constexpr InstanceMember kPortSets[] = { { "port-set" } };
constexpr InstanceMember kSet[] = { { "name" }, { "config" }, { "state", Take::leaveOut } };
constexpr InstanceMember kPrefixConfig[] = {
    { "name" }, { "description", Take::leaveOut }, { "prefix" }, { "exclude-prefix" } };
constexpr InstanceMember kPortConfig[] = {
    { "name" }, { "description", Take::leaveOut }, { "port" }, { "exclude-port" } };

/// None when one of the values is faulty.
std::optional<Prefixes> readPrefixes( InstanceNode const& config, std::string_view name, Vell::AddressFamily family ) {
  Prefixes prefixes;
  bool isGood = true;
  if ( auto const list = config.member( name ) ) {
    isGood = list->json().as<JsonNode::Elements>() != nullptr;
    for ( InstanceNode const& each : list->values() ) {
      auto const prefix = readPrefix( each, family );
      isGood = isGood && prefix;
      if ( prefix ) prefixes.push_back( *prefix );
    }
  }
  return isGood ? std::optional( std::move( prefixes ) ) : std::nullopt;
}

std::optional<RangeSet> readPorts( InstanceNode const& config, std::string_view name ) {
  RangeSet ports;
  bool isGood = true;
  if ( auto const list = config.member( name ) ) {
    isGood = list->json().as<JsonNode::Elements>() != nullptr;
    for ( InstanceNode const& each : list->values() ) {
      auto const range = readOpenConfigRange( each, Field::dport );
      isGood = isGood && range;
      if ( range ) ports.push_back( *range );
    }
  }
  return isGood ? std::optional( std::move( ports ) ) : std::nullopt;
}

bool isEmpty( SharedPrefixList const& list ) { return list->prefixes.empty(); }
bool isEmpty( RangeSet const& ports ) { return ports.empty(); }

std::optional<std::uint32_t> decimal( std::string_view text, std::uint32_t maximum ) {
  std::uint32_t value = 0;
  auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
  bool const isGood = !text.empty() && error == std::errc() && end == text.data() + text.size() && value <= maximum &&
                      ( text.size() == 1 || text[0] != '0' );
  return isGood ? std::optional( value ) : std::nullopt;
}

}  // namespace

void OpenConfigSets::read( InstanceNode const& definedSets ) {
  if ( !definedSets.isObject( kDefinedSets ) ) return;
  if ( auto const sets = definedSets.member( "ipv4-prefix-sets" ); sets && sets->isObject( kIpv4Sets ) )
    if ( auto const list = sets->member( "ipv4-prefix-set" ) ) readPrefixSets( *list, Vell::AddressFamily::ipv4 );
  if ( auto const sets = definedSets.member( "ipv6-prefix-sets" ); sets && sets->isObject( kIpv6Sets ) )
    if ( auto const list = sets->member( "ipv6-prefix-set" ) ) readPrefixSets( *list, Vell::AddressFamily::ipv6 );
  if ( auto const sets = definedSets.member( "port-sets" ); sets && sets->isObject( kPortSets ) )
    if ( auto const list = sets->member( "port-set" ) ) readPortSets( *list );
}

void OpenConfigSets::readPrefixSets( InstanceNode const& sets, Vell::AddressFamily family ) {
  for ( InstanceNode const& entry : sets.entries( kName ) ) {
    if ( !entry.isObject( kSet ) ) continue;
    auto const name = entry.member( "name" );
    auto const key = name ? readText( *name ) : std::nullopt;
    auto const config = configOf( entry, kName, kPrefixConfig );
    if ( !key || !config ) continue;
    auto prefixes = readPrefixes( *config, "prefix", family );
    auto const excludes = readPrefixes( *config, "exclude-prefix", family );
    Set<SharedPrefixList> set{ name->place(), std::nullopt };
    bool const isAnyBut = prefixes && prefixes->empty() && excludes && !excludes->empty();
    if ( isAnyBut ) prefixes = { Vell::IpGenPrefix::defaultRoute( family ) };
    if ( prefixes && excludes )
      set.value = std::make_shared<PrefixList const>( listOfOpenConfigSet( { *prefixes, *excludes } ) );
    addSet( prefixSets_[Kiv::enumValue( family )], *key, *name, std::move( set ) );
  }
}

void OpenConfigSets::readPortSets( InstanceNode const& sets ) {
  for ( InstanceNode const& entry : sets.entries( kName ) ) {
    if ( !entry.isObject( kSet ) ) continue;
    auto const name = entry.member( "name" );
    auto const key = name ? readText( *name ) : std::nullopt;
    auto const config = configOf( entry, kName, kPortConfig );
    if ( !key || !config ) continue;
    auto ports = readPorts( *config, "port" );
    auto const excludes = readPorts( *config, "exclude-port" );
    Set<RangeSet> set{ name->place(), std::nullopt };
    if ( ports && ports->empty() && excludes && !excludes->empty() ) ports = { { 0, maximumOf( Field::dport ) } };
    if ( ports && excludes ) set.value = difference( *ports, *excludes );
    addSet( portSets_, *key, *name, std::move( set ) );
  }
}

/// Files together can define a set twice, which the lists of one file cannot.
template <class Value>
void OpenConfigSets::addSet( Sets<Value>& sets, std::string const& name, InstanceNode const& leaf, Set<Value> set ) {
  auto const [known, isNew] = sets.emplace( name, std::move( set ) );
  bool const isOfOtherFile = !isNew && known->second.place.file != leaf.place().file;
  if ( isOfOtherFile )
    leaf.error( "this set stands twice", "rename one of the two", { { known->second.place, "the first one" } } );
}

template <class Value>
Value const* OpenConfigSets::find( Sets<Value> const& sets, InstanceNode const& leaf, std::string const& kind ) {
  auto const name = readText( leaf );
  if ( !name ) return nullptr;
  auto const found = sets.find( *name );
  if ( found == sets.end() ) {
    NearestWord nearest( *name );
    for ( auto const& [each, set] : sets ) nearest.consider( each );
    leaf.error( "there is no " + kind + " " + inQuotes( *name ), nearest.question() );
    return nullptr;
  }
  if ( !found->second.value ) return nullptr;
  if ( isEmpty( *found->second.value ) ) {
    leaf.error( kind + " " + inQuotes( *name ) + " leaves nothing to match",
                "take the rule out, or put something into the set", { { found->second.place, "the set" } } );
    return nullptr;
  }
  return &*found->second.value;
}

SharedPrefixList OpenConfigSets::prefixes( InstanceNode const& leaf, Vell::AddressFamily family ) const {
  auto const* const found =
      find( prefixSets_[Kiv::enumValue( family )], leaf, std::string( familyName( family ) ) + " prefix set" );
  return found == nullptr ? nullptr : *found;
}

std::optional<RangeSet> OpenConfigSets::ports( InstanceNode const& leaf ) const {
  auto const* const found = find( portSets_, leaf, "port set" );
  return found == nullptr ? std::nullopt : std::optional( *found );
}

PrefixListNames OpenConfigSets::names() const {
  PrefixListNames names;
  for ( auto const& sets : prefixSets_ )
    for ( auto const& [name, set] : sets )
      if ( set.value && !isEmpty( *set.value ) ) names.emplace( **set.value, name );
  return names;
}

std::optional<ValueRange> readOpenConfigRange( InstanceNode const& leaf, Field field ) {
  static constexpr std::string_view kDots = "..";
  std::uint32_t const maximum = maximumOf( field );
  auto const* const text = leaf.json().as<std::string>();
  if ( text == nullptr ) {
    auto const number = readNumber( leaf, 0, maximum );
    return number ? std::optional( ValueRange{ *number, *number } ) : std::nullopt;
  }
  if ( *text == "ANY" ) return ValueRange{ 0, maximum };
  std::string_view const view = *text;
  std::size_t const dots = view.find( kDots );
  auto const first = decimal( view.substr( 0, dots ), maximum );
  auto const last =
      dots == std::string_view::npos ? std::nullopt : decimal( view.substr( dots + kDots.size() ), maximum );
  if ( first && last && *first <= *last ) return ValueRange{ *first, *last };
  if ( first && last )
    leaf.error(
        "this range ends before it starts: " + std::to_string( *first ) + " is above " + std::to_string( *last ),
        "write \"" + std::to_string( *last ) + ".." + std::to_string( *first ) + "\"" );
  else if ( first && dots == std::string_view::npos )
    leaf.error( "this is a string", "write the number without quotes" );
  else
    leaf.error( inQuotes( *text ) + " is no number and no range",
                "write a number up to " + std::to_string( maximum ) + R"(, "FIRST..LAST" or "ANY")" );
  return std::nullopt;
}

}  // namespace Orvex::Host
