#include "formats/ClosingRule.h"

#include <algorithm>

#include "policy/AclRules.h"

namespace Orvex::Host {

namespace {

bool isTaken( Acl const& acl, std::string const& name ) {
  return std::any_of( acl.rules.begin(), acl.rules.end(), [&name]( Rule const& rule ) { return rule.name == name; } );
}

}  // namespace

std::optional<std::uint32_t> closingRuleNumber( Acl const& acl ) {
  static constexpr std::uint32_t kStep = 10;
  std::uint32_t const last = acl.rules.empty() ? 0 : acl.rules.back().index;
  std::uint32_t const step = kStep - last % kStep;
  return last <= kMaxRuleNumber - step ? std::optional( last + step ) : std::nullopt;
}

std::string closingRuleName( Acl const& acl ) {
  auto const number = closingRuleNumber( acl );
  std::string name = number ? std::to_string( *number ) : "default";
  for ( std::size_t attempt = 2; isTaken( acl, name ); ++attempt ) name = "default-" + std::to_string( attempt );
  return name;
}

}  // namespace Orvex::Host
