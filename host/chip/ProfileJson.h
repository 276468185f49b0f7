#pragma once

/// Chip profiles in files:
///
///     {"schema": "orvex.chip/1",
///      "name": "edge", "description": "the edge routers",
///      "prefixes": {"ipv4": {"source": {"width": 12, "invalid": 0}, "destination": {"width": 12}},
///                   "ipv6": {"source": {"width": 10}, "destination": {"width": 10}}},
///      "ranges": {"sport": {"width": 5}, "dport": {"width": 6, "invalid": 63}},
///      "combos": {"srcDstL4Port": {"width": 8}},
///      "capacities": {"ruleEntries": 4096, "ipv4PrefixEntries": 16384, "ipv6PrefixEntries": 8192,
///                     "rangeEntries": 512, "comboEntries": "unlimited"},
///      "hitfulPolicy": "deny", "labelPlacement": "nested"}
///
/// Schema, name and the four prefix tables must be there. Ranges and combinations that are not named are off, an invalid
/// value is 0 and a capacity 0 unless given, the policy during hitful loads is "deny".

#include <memory>
#include <optional>
#include <string>

#include "chip/ChipProfile.h"
#include "input/Diagnostics.h"
#include "input/SourceFile.h"

namespace Orvex::Host {

/// Nothing, with all errors of the file, when it holds no good profile.
std::optional<ChipProfile> readChipProfile( SourceFile const& file, Diagnostics& diagnostics );

/// The profile as a file; read again it is the same.
std::string profileJson( ChipProfile const& profile );

}  // namespace Orvex::Host
