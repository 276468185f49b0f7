#pragma once

/// Enumerations with names. A named enumeration is a 32-bit unsigned enum class with a table of names beside it:
///
///     enum class Light : std::uint32_t { red, green };
///     inline constexpr std::array< std::string_view, 2 > kLightNames = { "red", "green" };
///     static_assert( kLightNames.size() == Kiv::enumValue( Light::green ) + 1 );
///     constexpr std::span< std::string_view const > enumNames( Light ) { return kLightNames; }
///     inline Light LightInstance( Kiv::String const& name ) { return Kiv::enumInstance< Light >( name ); }
///
/// and then streams as its name, once its namespace says `using Kiv::TextForm::operator<<;`.

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <ostream>
#include <span>
#include <string_view>
#include <type_traits>

#include "Kiv/Exception.h"
#include "Kiv/String.h"

namespace Kiv {

template <class E>
concept NamedEnum = std::is_enum_v<E> && sizeof( E ) == sizeof( std::uint32_t ) && requires( E value ) {
  { enumNames( value ) } -> std::same_as<std::span<std::string_view const>>;
};

template <class E>
requires std::is_enum_v<E>
constexpr std::uint32_t enumValue( E value ) noexcept { return static_cast<std::uint32_t>( value ); }

/// The value's name; "unknown" for a value outside the table.
template <NamedEnum E>
constexpr std::string_view stringValue( E value ) noexcept {
  std::span<std::string_view const> const names = enumNames( value );
  return enumValue( value ) < names.size() ? names[enumValue( value )] : std::string_view( "unknown" );
}

/// The value of a name.
/// Fails with: ParseException when there is no such name; its text lists those there are.
template <NamedEnum E>
E enumInstance( String const& name ) {
  std::span<std::string_view const> const names = enumNames( E{} );
  auto const found = std::find( names.begin(), names.end(), name.view() );
  if ( found != names.end() ) return static_cast<E>( found - names.begin() );

  String known;
  for ( std::string_view const each : names ) known += String( known.empty() ? "" : ", " ) + String( each );
  throw ParseException( ( String( "unknown name '" ) + name + "'; known are " + known ).view(), 1 );
}

namespace TextForm {

template <NamedEnum E>
std::ostream& operator<<( std::ostream& out, E value ) {
  return out << stringValue( value );
}

}  // namespace TextForm

}  // namespace Kiv
