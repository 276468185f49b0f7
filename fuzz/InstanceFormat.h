#pragma once

/// What is promised of the two formats of policies in JSON instance data, RFC 8519 and OpenConfig:
///
///  1. all that is promised of any policy (PolicyChecks.h);
///  2. a policy that came in the format can be written in it; what is read back does the same to every packet; and written
///     again it is the same text.

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "formats/InstanceDocument.h"

namespace Orvex::Fuzz {

struct InstanceFormat {
  std::optional<Host::LocatedPolicy> ( *read )( std::span<Host::InstanceDocument const>, Host::Unsupported,
                                                Host::Diagnostics& );
  std::optional<std::string> ( *write )( Host::LocatedPolicy const&, Host::Diagnostics& );
};

void checkInstance( std::string_view input, InstanceFormat const& format );

}  // namespace Orvex::Fuzz
