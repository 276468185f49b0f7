#pragma once

/// A compile whose table is proved before it is loaded.
///
///     snapshot  ->  the chip is asked to acquire it  ->  proved equal to the policy?  ->  load
///                                                        a witness, or no proof       ->  refused, the old table stays
///
/// What is promised: no table that was not proved equal to the policy is loaded, and success is reported for nothing else.

#include <chrono>

#include "pipeline/Compile.h"
#include "verify/Prover.h"

namespace Orvex::Host {

enum class ProofMode : std::uint32_t {
  prove,
  /// The chip refuses, and the snapshot is there to be looked at.
  loadNothing
};

struct ProvedResult {
  CompileResult compile;
  /// Of the snapshot that the chip was asked to acquire; undecided when there was none, or nothing was to be proved.
  Verify::Proof proof;
  std::chrono::nanoseconds proofTime{ 0 };
};

/// Requires: as compile(). An objection in `options` is asked after the proof.
ProvedResult compileProved( Policy const& policy, ChipDriver& chip, CompileOptions const& options = {},
                            ProofMode mode = ProofMode::prove );

}  // namespace Orvex::Host
