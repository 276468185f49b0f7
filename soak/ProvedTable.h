#pragma once

/// A random policy's way onto a chip that has room for it, through everything that users go through.

#include <memory>
#include <optional>
#include <string>

#include "Soak.h"
#include "chip/SoftwareChip.h"
#include "pipeline/ProvedCompile.h"
#include "verify/Packet.h"

namespace Orvex::Soak {

inline constexpr Brae::ChipId kSoakChip( 1 );

/// Why a policy was refused that the chip has not enough for: "labels", "room", ...; nothing when it has.
std::optional<std::string> shortageOf( Host::CompileResult const& result );

/// Whether a version is in force now, which the chip otherwise has refused for a shortage.
/// Fails with: Failure, when it has been refused for another reason, or has been loaded without a proof.
bool isLoaded( Host::ProvedResult const& result, Host::Policy const& policy, Host::ChipProfile const& profile );

/// Fails with: Failure, when the chip does not take the policy.
void loadProved( Host::Policy const& policy, Host::SoftwareChip& chip );

struct ProvedTable {
  std::unique_ptr<Host::SoftwareChip> chip;
  Kiv::Ptr<PDData const> snapshot;
};

/// Tries random chips until one takes the policy, the last of them the widest that there can be. Chips that refuse it for
/// want of something are counted by what that is, and are not failures.
/// Requires: the policy is normalised.
/// Fails with: Failure, when a chip refuses it for another reason, or has loaded it without a proof.
ProvedTable provedTable( Host::Policy const& policy, Case& one );

/// Packets of an ACL that a chip is asked about.
class AskedChip {
 public:
  /// Keep all of them. The ACL is one of the policy.
  AskedChip( Host::SoftwareChip const& chip, Host::Policy const& policy, Host::Acl const& acl );

  /// What the policy says about the packet, and the chip too.
  /// Fails with: Failure, when it does not.
  Verify::Verdict verdict( Verify::Packet const& packet ) const;

 private:
  Host::SoftwareChip const& chip_;
  Host::Policy const& policy_;
  Host::Acl const& acl_;
  PDAclKey key_;
};

/// Asks a chip about packets on the boundaries of each ACL.
/// Fails with: Failure, when it does not do what the policy says.
void askAboutBoundaries( Host::SoftwareChip const& chip, Host::Policy const& policy, std::uint64_t packetsAnAcl,
                         Random& random );

}  // namespace Orvex::Soak
