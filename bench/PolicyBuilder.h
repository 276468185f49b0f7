#pragma once

/// What every generated policy is made with: one ACL on one chip, rules in order, sets in the form in which a host
/// gives them to the library.

#include <cstdint>
#include <string>
#include <vector>

#include "Orvex/OrvexAclTypes.h"
#include "Vell/AddressFamily.h"

namespace Orvex::Bench {

/// Sorted and merged, touching ranges too; empty when the whole field is covered, for that is no match on the field.
/// Requires: each range starts at or before its end.
std::vector<L4PortRange> normalised( std::vector<L4PortRange> ranges );

/// A list of one prefix.
Kiv::Ptr<IpPrefixList> listOf( Vell::IpGenPrefix const& prefix );

/// Fills one ACL, "ipv4/bench" or "ipv6/bench", with rules that permit unless they are told to drop.
class PolicyBuilder {
 public:
  explicit PolicyBuilder( Vell::AddressFamily family );

  /// The next rule in order: "rule0" at index 0, "rule1" at index 1, and so on.
  Kiv::Ptr<RuleConfig> addRule();
  Kiv::Ptr<AclConfigColl> const& config() const { return config_; }

 private:
  Kiv::Ptr<AclConfigColl> config_;
  Kiv::Ptr<AclConfig> acl_;
  std::uint32_t rules_ = 0;
};

}  // namespace Orvex::Bench
