#pragma once

/// What the ways to place labels come to on one policy, beside the plain expansion into prefixes of bits.
///
///                   entries    addresses    ports
///     plain          12,752
///     costOrder      11,460         1.15     1.12
///     nested          9,577         1.00     1.00

#include <cstdint>
#include <string>
#include <vector>

#include "pipeline/ProvedCompile.h"

namespace Orvex::Host {

/// One label table that is on and in use.
struct TableBits {
  /// "ipv4 source"
  std::string table;
  std::uint64_t labels = 0;
  /// Low bits of the values that differ between labels, or between a label and the invalid value.
  std::uint64_t bits = 0;
};

struct PlacementFigures {
  LabelPlacement placement = LabelPlacement::costOrder;
  ProvedResult result;
  std::uint64_t entries = 0;
  /// Mean lengths of the lists that rules match addresses with, and ports; 0 where no rule does.
  double addressListLength = 0;
  double portListLength = 0;
  /// Entries of the label tables.
  std::uint64_t labelEntries = 0;
  std::vector<TableBits> tables;

  /// Whether there are figures: the rules were expanded.
  bool isCompiled() const { return result.compile.snapshot != nullptr; }
};

/// Compiles the policy onto a software chip of the profile, with labels placed this way.
PlacementFigures figuresOf( Policy const& policy, ChipProfile profile, LabelPlacement placement, ProofMode mode,
                            CompileOptions const& options = {} );

/// Of all rules; at most the greatest number.
std::uint64_t plainEntries( Policy const& policy );

}  // namespace Orvex::Host
