#pragma once

/// The chips that a user can name without writing a file, each for a reason that its description says.

#include <string_view>
#include <vector>

#include "chip/ChipProfile.h"

namespace Orvex::Host {

/// The first is the default.
std::vector<ChipProfile> const& builtInProfiles();

/// Null when there is none of that name.
ChipProfile const* builtInProfile( std::string_view name );

}  // namespace Orvex::Host
