#pragma once

/// Two versions of a policy that no packet's worth of a table can be taken for one another, and all the packets that they
/// can tell apart.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "chip/SoftwareChip.h"
#include "policy/Policy.h"

namespace Orvex::Soak {

/// The versions differ in a default, in actions, in ranges and prefixes, in rules, and each has an ACL that the other has
/// not. Packets are every combination of the values at which something begins or has ended, so a chip that decides all of
/// them as one version does has that version in force.
class PolicyPair {
 public:
  /// `blanket`: one policy for everything, and the one that the operator has chosen. `nothing`: no table, all is denied.
  enum class InForce : std::uint32_t { nothing, oldVersion, newVersion, blanket, mixture };
  static constexpr std::array<std::string_view, 5> kInForceNames = { "nothing", "the old version", "the new version",
                                                                     "the blanket policy", "mixture" };

  /// Enough rule entries for either version, and too few for both.
  static constexpr std::uint64_t kEntries = 6;

  PolicyPair();

  /// Requires: one of the versions.
  Host::Policy const& policy( InForce version ) const { return version == InForce::oldVersion ? old_ : new_; }

  /// What the chip does with every packet.
  InForce inForce( Host::SoftwareChip const& chip, bool blanketPermits ) const;

 private:
  struct Question {
    PDAclKey acl;
    Verify::Packet packet;
    Verify::Verdict ofOld;
    Verify::Verdict ofNew;
  };

  void ask( Vell::AddressFamily family, std::string const& name );

  Host::Policy old_;
  Host::Policy new_;
  std::vector<Question> questions_;
};

constexpr std::span<std::string_view const> enumNames( PolicyPair::InForce ) { return PolicyPair::kInForceNames; }

}  // namespace Orvex::Soak
