#pragma once

/// What would make a policy fit that does not, found by trying: the policy is compiled again with one change at a time.
///
///     on the chip      another label placement; a combination on that is off; a range table off that is on, or the reverse
///     in the policy    without one rule; without one prefix list and the rules that name it
///
/// A table that the chip has no room for at all is tried with much, and the remedy says how much of it was taken. Of rules and lists, the largest is tried first; when its removal is enough, smaller ones are tried by bisection. Size
/// is what ran out: entries, or else prefixes and ranges. Removing more frees more, as a rule but not always, as labels are
/// dealt anew: what is reported was enough, and a smaller one can be overlooked.
///
/// Nothing is loaded. At most `tries` compiles, half of them for either kind, and at most `time` for all.

#include <chrono>
#include <string>
#include <vector>

#include "pipeline/Compile.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

struct RemedyLimits {
  std::size_t tries = 16;
  std::chrono::milliseconds time{ 20'000 };
};

struct Remedies {
  /// "with srcDstL4Port on (16 bits; it takes 40 comboEntries)", "without ipv4 ACL edge-in, rule 40 (700 entries)"
  std::vector<std::string> enough;
  /// What was tried and was not enough.
  std::vector<std::string> notEnough;
  std::chrono::milliseconds time{ 0 };
  /// Some were left out, for want of tries or of time.
  bool isCutShort = false;
};

/// Requires: `failure` is what compiling the policy for a chip of that profile came to, and it does not fit.
Remedies remediesFor( LocatedPolicy const& located, ChipProfile const& profile, CompileResult const& failure,
                      RemedyLimits const& limits = {} );

/// Whether the chip, or the width of its labels, is too small for the policy.
bool isForWantOfRoom( CompileResult const& result );

}  // namespace Orvex::Host
