#pragma once

/// Leaves of instance data, by the kinds of values that YANG gives them. Each reports what is wrong and returns nothing then.
///
/// In RFC 7951 numbers of up to 32 bits are JSON numbers, those of 64 bits (counters) are strings, and so are prefixes,
/// enumerations and identities. The other spelling is an error: "80" is not 80.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Vell/IpGenPrefix.h"
#include "formats/InstanceNode.h"
#include "policy/NumberNames.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// The identities that a leaf can have, or the names of an enumeration, which has no module.
struct Identities {
  std::string_view module;
  /// "ICMP type", for messages
  std::string_view noun;
  std::span<NamedNumber const> names;
};

/// Whether it is a number, or was meant to be one and stands in quotes.
bool isMeantAsNumber( InstanceNode const& leaf );

/// Both ends included.
std::optional<std::uint32_t> readNumber( InstanceNode const& leaf, std::uint32_t first, std::uint32_t last );

std::optional<std::string> readText( InstanceNode const& leaf );
/// Of 1 to 64 characters.
std::optional<std::string> readShortName( InstanceNode const& leaf );

/// With the name of its module, or without.
std::optional<std::uint32_t> readIdentity( InstanceNode const& leaf, Identities const& identities );

/// Warns of bits beyond the length, and cuts them.
std::optional<Vell::IpGenPrefix> readPrefix( InstanceNode const& leaf, Vell::AddressFamily family );

/// Sets the field to one value, if the container has the member.
void readSingle( InstanceNode const& container, std::string_view name, Field field, Rule& rule );

/// Checks members that are counters of 64 bits.
void checkCounters( InstanceNode const& container );

}  // namespace Orvex::Host
