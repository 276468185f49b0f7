#pragma once

/// How many packets, and bytes of them, each rule of an ACL has decided:
///
///     IPv4 ACL edge-in: 1,204 packets, 822,310 bytes
///
///          rule  name  action       packets             bytes
///            40  web   permit           860           790,112
///            90        permit             0                 0
///       default        deny             344            32,198

#include <cstdint>
#include <string>
#include <vector>

#include "policy/Policy.h"
#include "verify/Packet.h"

namespace Orvex::Cli {

class HitTable {
 public:
  /// The ACL is kept.
  explicit HitTable( Host::Acl const& acl );

  /// Counts a packet that the ACL has decided so; its bytes are those of the IP packet.
  /// Requires: the verdict is the ACL's.
  /// Cost: O(log rules).
  void add( Verify::Verdict const& verdict, Verify::Packet const& packet );

  /// All rules, those without packets too, in their order; then the default action.
  std::string text() const;

 private:
  struct Hits {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;
  };

  Host::Acl const& acl_;
  std::vector<Hits> ofRules_;  // in the order of the rules
  Hits ofDefault_;
};

}  // namespace Orvex::Cli
