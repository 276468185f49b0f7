#include "formats/InstanceValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>

#include "Kiv/Value.h"
#include "input/NearestWord.h"
#include "input/Utf8.h"
#include "policy/AclAddresses.h"

namespace Orvex::Host {

namespace {

constexpr std::size_t kMaxNameCharacters = 64;

bool isDecimal( std::string_view text ) {
  return !text.empty() && text.find_first_not_of( "0123456789" ) == std::string_view::npos &&
         ( text.size() == 1 || text[0] != '0' );
}

std::optional<Vell::IpGenPrefix> parsedPrefix( std::string const& text ) {
  try {
    return Kiv::strepToValue<Vell::IpGenPrefix>( text );
  } catch ( Kiv::ParseException const& ) {
  } catch ( Kiv::RangeException const& ) {
  }
  return std::nullopt;
}

Vell::IpGenPrefix firstAddressOf( Vell::IpGenPrefix const& prefix ) {
  std::uint32_t const width = Vell::addressWidthBits( prefix.af() );
  if ( prefix.af() == Vell::AddressFamily::ipv4 ) return { prefix.ipv4Address(), width };
  return { prefix.ipv6Address(), width };
}

std::string choiceText( std::span<NamedNumber const> names ) {
  std::string text;
  for ( std::size_t at = 0; at != names.size(); ++at )
    text += ( at == 0 ? "" : at + 1 == names.size() ? " or " : ", " ) + inQuotes( names[at].name );
  return text;
}

}  // namespace

bool isMeantAsNumber( InstanceNode const& leaf ) {
  auto const* const text = leaf.json().as<std::string>();
  return text == nullptr || isDecimal( *text );
}

std::optional<std::uint32_t> readNumber( InstanceNode const& leaf, std::uint32_t first, std::uint32_t last ) {
  std::string const wanted = "a number from " + std::to_string( first ) + " to " + std::to_string( last );
  auto const* const number = leaf.json().as<std::uint64_t>();
  auto const* const text = leaf.json().as<std::string>();
  if ( text != nullptr && isDecimal( *text ) )
    leaf.error( "this is a string", "write the number without quotes" );
  else if ( number == nullptr )
    leaf.wrongKind( wanted );
  else if ( *number < first || *number > last )
    leaf.error( std::to_string( *number ) + " is out of range", "write " + wanted );
  else
    return static_cast<std::uint32_t>( *number );
  return std::nullopt;
}

std::optional<std::string> readText( InstanceNode const& leaf ) {
  if ( auto const* const text = leaf.json().as<std::string>() ) return *text;
  leaf.wrongKind( "a string" );
  return std::nullopt;
}

std::optional<std::string> readShortName( InstanceNode const& leaf ) {
  auto text = readText( leaf );
  if ( !text ) return std::nullopt;
  std::size_t const length = countCodePoints( *text );
  if ( length != 0 && length <= kMaxNameCharacters ) return text;
  leaf.error( length == 0 ? "this name is empty" : "this name has " + std::to_string( length ) + " characters",
              "names have 1 to " + std::to_string( kMaxNameCharacters ) + " characters" );
  return std::nullopt;
}

std::optional<std::uint32_t> readIdentity( InstanceNode const& leaf, Identities const& identities ) {
  auto const text = readText( leaf );
  if ( !text ) return std::nullopt;
  std::string_view name = *text;
  std::string const qualifier = std::string( identities.module ) + ":";
  if ( !identities.module.empty() && name.starts_with( qualifier ) ) name.remove_prefix( qualifier.size() );
  for ( NamedNumber const& each : identities.names )
    if ( each.name == name ) return each.number;
  NearestWord nearest( name );
  for ( NamedNumber const& each : identities.names ) nearest.consider( each.name );
  std::string const question = nearest.question();
  leaf.error( inQuotes( *text ) + " is no " + std::string( identities.noun ),
              question.empty() ? "expected " + choiceText( identities.names ) : question );
  return std::nullopt;
}

std::optional<Vell::IpGenPrefix> readPrefix( InstanceNode const& leaf, Vell::AddressFamily family ) {
  auto const text = readText( leaf );
  if ( !text ) return std::nullopt;
  auto const prefix = parsedPrefix( *text );
  if ( !prefix || prefix->af() != family ) {
    leaf.error( inQuotes( *text ) + " is no " + std::string( familyName( family ) ) + " prefix",
                family == Vell::AddressFamily::ipv4 ? "write ADDRESS/LENGTH, as 192.0.2.0/24"
                                                    : "write ADDRESS/LENGTH, as 2001:db8::/32" );
    return std::nullopt;
  }
  std::string const width = std::to_string( Vell::addressWidthBits( family ) );
  auto const address = parsedPrefix( text->substr( 0, text->find( '/' ) + 1 ) + width );
  if ( address && *address != firstAddressOf( *prefix ) )
    leaf.report().diagnostics().warning( leaf.place(), leaf.path() + ": this address has bits beyond its prefix length",
                                         "it is read as " + textOf( *prefix ) );
  return prefix;
}

void readSingle( InstanceNode const& container, std::string_view name, Field field, Rule& rule ) {
  auto const leaf = container.member( name );
  auto const value = leaf ? readNumber( *leaf, 0, maximumOf( field ) ) : std::nullopt;
  if ( value ) rule.ranges[field] = { { *value, *value } };
}

void checkCounters( InstanceNode const& container ) {
  static constexpr std::array<std::string_view, 2> kCounters = { "matched-packets", "matched-octets" };
  for ( std::string_view const name : kCounters ) {
    auto const leaf = container.member( name );
    if ( !leaf ) continue;
    auto const* const text = leaf->json().as<std::string>();
    if ( text == nullptr ) {
      leaf->wrongKind( "a string: numbers of 64 bits stand in quotes" );
      continue;
    }
    std::uint64_t value = 0;
    auto const [end, error] = std::from_chars( text->data(), text->data() + text->size(), value );
    if ( !isDecimal( *text ) || error != std::errc() || end != text->data() + text->size() )
      leaf->error( inQuotes( *text ) + " is no counter", "write a number from 0 to 18446744073709551615 in quotes" );
  }
}

}  // namespace Orvex::Host
