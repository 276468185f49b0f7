#pragma once

/// Other ways to write a policy that do not change what it means.
///
///     splitPrefix         10.0.0.0/8                 10.0.0.0/9 10.128.0.0/9, in one list
///     splitRange          dport 10-20                dport 10-14 15-20
///     splitRuleByPrefix   one rule                   two, each with one half of a prefix
///     splitRuleByRange    one rule                   two, each with one part of a field's values
///     unreachableRule     another rule, behind one that matches all that it does
///     renamed             ACLs, rules and lists have other names, and ACLs come in another order
///     permuted            neighbours that do the same, or match nothing in common, change places

#include <array>
#include <span>
#include <string_view>

#include "packets/Random.h"
#include "policy/Policy.h"

namespace Orvex::Host::Test {

enum class Rewriting : std::uint32_t {
  splitPrefix,
  splitRange,
  splitRuleByPrefix,
  splitRuleByRange,
  unreachableRule,
  renamed,
  permuted
};

inline constexpr std::array<std::string_view, 7> kRewritingNames = {
    "splitPrefix", "splitRange", "splitRuleByPrefix", "splitRuleByRange", "unreachableRule", "renamed", "permuted" };
static_assert( kRewritingNames.size() == Kiv::enumValue( Rewriting::permuted ) + 1 );
constexpr std::span<std::string_view const> enumNames( Rewriting ) { return kRewritingNames; }

/// Whether the packets that a rule decides are afterwards still decided by the rule of that number.
constexpr bool keepsRules( Rewriting how ) {
  return how != Rewriting::splitRuleByPrefix && how != Rewriting::splitRuleByRange && how != Rewriting::permuted;
}

/// Numbers the rules so that there is room between them, in the order in which they are tried.
Policy withRoomBetweenRules( Policy policy );

/// In one place. The ACLs stay in their places; it is to be normalised. False when nothing could be found to rewrite so.
/// Requires: the policy is normalised, with room between rules, or comes from here.
bool rewrite( Policy& policy, Rewriting how, Random& random );

}  // namespace Orvex::Host::Test
