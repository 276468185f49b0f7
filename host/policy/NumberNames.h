#pragma once

/// The numbers of packet fields by name, as IANA assigns them.
///
/// The tables are part of the program, because the machine's own would make a policy mean something else on another
/// machine. Where a number has several names, all are read and the first in the alphabet is written.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "Vell/AddressFamily.h"

namespace Orvex::Host {

class NearestWord;

struct NamedNumber {
  std::string_view name;
  std::uint32_t number;
};

class NumberNames {
 public:
  /// Requires: the entries ascend by name.
  constexpr explicit NumberNames( std::span<NamedNumber const> entries ) : entries_( entries ) {}

  std::optional<std::uint32_t> number( std::string_view name ) const;
  /// Empty for a number without one. Cost: O(entries).
  std::string_view name( std::uint32_t number ) const;
  void considerFor( NearestWord& nearest ) const;

 private:
  std::span<NamedNumber const> entries_;
};

/// Ports of common services of TCP and UDP.
extern NumberNames const kServiceNames;
/// Without names for any protocol.
extern NumberNames const kProtocolNames;
extern NumberNames const kDscpNames;
/// For fields whose numbers have no names.
extern NumberNames const kNoNames;

/// Types of ICMP or of ICMPv6.
NumberNames const& icmpTypeNames( Vell::AddressFamily family );

/// Protocol numbers that rules depend on.
inline constexpr std::uint32_t kIcmp = 1;
inline constexpr std::uint32_t kTcp = 6;
inline constexpr std::uint32_t kUdp = 17;
inline constexpr std::uint32_t kDccp = 33;
inline constexpr std::uint32_t kIcmp6 = 58;
inline constexpr std::uint32_t kSctp = 132;
inline constexpr std::uint32_t kUdpLite = 136;

}  // namespace Orvex::Host
