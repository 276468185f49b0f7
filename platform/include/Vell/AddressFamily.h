#pragma once

/// The two versions of IP and how wide their addresses are.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Kiv/Enumeration.h"

namespace Vell {

using Kiv::TextForm::operator<<;

enum class AddressFamily : std::uint32_t { ipv4, ipv6 };
inline constexpr std::array<std::string_view, 2> kAddressFamilyNames = { "ipv4", "ipv6" };
static_assert( kAddressFamilyNames.size() == Kiv::enumValue( AddressFamily::ipv6 ) + 1 );
constexpr std::span<std::string_view const> enumNames( AddressFamily ) { return kAddressFamilyNames; }
inline AddressFamily AddressFamilyInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<AddressFamily>( name );
}

constexpr std::uint32_t addressWidthBits( AddressFamily af ) noexcept { return af == AddressFamily::ipv4 ? 32 : 128; }

}  // namespace Vell
