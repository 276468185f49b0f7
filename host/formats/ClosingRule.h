#pragma once

/// The last rule that formats without default actions need where an ACL permits what no rule matches. (Where it denies,
/// they need none: their readers deny it.)

#include <cstdint>
#include <optional>
#include <string>

#include "policy/Policy.h"

namespace Orvex::Host {

/// The next multiple of ten behind the last rule's; none when there is no number left.
std::optional<std::uint32_t> closingRuleNumber( Acl const& acl );

/// That number, or the first of "default", "default-2", ... that no rule of the ACL is called.
std::string closingRuleName( Acl const& acl );

}  // namespace Orvex::Host
