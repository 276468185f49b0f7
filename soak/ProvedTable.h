#pragma once

/// A random policy's way onto a chip that has room for it, through everything that users go through.

#include <memory>
#include <optional>
#include <string>

#include "Soak.h"
#include "chip/SoftwareChip.h"
#include "pipeline/ProvedCompile.h"

namespace Orvex::Soak {

/// Why a policy was refused that the chip has not enough for: "labels", "room", ...; nothing when it has.
std::optional<std::string> shortageOf( Host::CompileResult const& result );

struct ProvedTable {
  std::unique_ptr<Host::SoftwareChip> chip;
  Kiv::Ptr<PDData const> snapshot;
};

/// Tries random chips until one takes the policy, the last of them the widest that there can be. Chips that refuse it for
/// want of something are counted by what that is, and are not failures.
/// Requires: the policy is normalised.
/// Fails with: Failure, when a chip refuses it for another reason, or has loaded it without a proof.
ProvedTable provedTable( Host::Policy const& policy, Case& one );

}  // namespace Orvex::Soak
