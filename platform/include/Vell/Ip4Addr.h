#pragma once

/// The text of IPv4 addresses, the dotted quad. An IPv4 address itself is a plain 32-bit number in host order:
/// 10.0.0.1 is 0x0A000001.

#include <cstddef>
#include <cstdint>

#include "Kiv/Value.h"

namespace Vell {

inline constexpr std::size_t kIp4AddrTextSize = sizeof "255.255.255.255" - 1;

/// Writes at most kIp4AddrTextSize characters and returns where they end.
char* ip4AddrToChars( char* out, std::uint32_t address ) noexcept;

/// Reads exactly four decimal numbers. Leading zeros are refused, because some programs take 010 for eight.
/// Fails with: Kiv::ParseException.
std::uint32_t readIp4Addr( Kiv::TextReader& reader );

}  // namespace Vell
