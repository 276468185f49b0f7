#pragma once

/// Spends bits that are left over on sets that no tree of blocks can serve.
///
/// Lists of many prefixes cross each other everywhere, and each is scattered over the blocks of others. Where the width has
/// more bits than the labels need, a few of them become a field of their own: sets without a common label get a number each,
/// and a label has in the field the number of the set that has it. Such a set is one entry, whatever the other bits are; and
/// those are free to be arranged for the other sets alone:
///
///     field  set              tree            a  10.01
///     01     {a b c}           10  {a d}      b  11.01      set {a b c}:  **.01
///     10     {d e}             11  {b e}      c  00.01      set {a d}:    10.**
///                                             d  10.10      set {d e}:    **.10
///                                             e  11.10
///
/// Labels that differ in the field only share a place in the tree. One with no set in the tree has the reserved place there,
/// as the reserved value has, whose field is 0.
///
/// Fields are taken one after the other, each for the sets with the most entries beyond the first as the tree stands then,
/// of the size that saves most a bit, until no bits are left or nothing is saved. There are none where two labels are in the
/// same sets, since nothing would keep these apart.
///
/// Invariants: (1) sets of a field are disjoint; (2) labels have different values, none the reserved one.
/// Cost: that of the tree for each field, of which there are kMostFields at most.

#include <cstdint>
#include <vector>

#include "Orvex/OrvexBlockPacking.h"
#include "Orvex/OrvexEncodedLabelAllocator.h"
#include "Orvex/OrvexLabelFamily.h"

namespace Orvex {

constexpr std::uint32_t kMostFields = 6;
/// The bits of all fields. A set of the tree is one range for each of its blocks, but one of a field many.
constexpr std::uint32_t kMostFieldBits = 9;

struct PlacedSets {
  std::vector<std::uint16_t> values;                   // by label
  std::vector<std::vector<EncodedLabelRange>> blocks;  // by set
  /// Entries of all sets by their weights: blocks, and one for a set of a field.
  std::uint64_t weightedEntries = 0;
};

/// Without fields. Requires: there are fewer labels than values.
PlacedSets placedInBlocks( LabelFamily const& family, std::uint32_t widthBits, std::uint16_t reservedValue,
                           ReservedValue kind );

/// With fields where they save entries.
PlacedSets placedWithFields( LabelFamily const& family, std::uint32_t widthBits, std::uint16_t reservedValue,
                             ReservedValue kind );

}  // namespace Orvex
