#pragma once

/// Tables with a fault: what a broken compiler, a lost write or a stale row would leave on a chip.

#include <array>
#include <span>
#include <string_view>

#include "packets/Random.h"
#include "verify/Prover.h"

namespace Orvex::Host::Test {

/// All that makes a chip's answers; a copy of its own, to be broken.
struct TableCopy {
  TableCopy( PDData const& snapshot, Verify::TableShape const& tableShape, Verify::DefaultActions actions );

  Kiv::Ptr<PDData> data = Kiv::make<PDData>();
  Kiv::Ptr<PDAclColl> acls = Kiv::make<PDAclColl>();
  Verify::TableShape shape;
  Verify::DefaultActions defaults;
};

enum class TableFault : std::uint32_t {
  droppedEntry,
  entryOfAnotherRule,
  widenedMask,
  narrowedMask,
  flippedLabelBit,
  swappedRowLabels,
  changedRowLabel,
  droppedRow,
  staleRow,
  swappedRules,
  droppedRule,
  wrongAction,
  wrongDefault,
  changedInvalidLabel
};

inline constexpr std::array<std::string_view, 14> kTableFaultNames = {
    "droppedEntry",     "entryOfAnotherRule", "widenedMask",  "narrowedMask",       "flippedLabelBit",
    "swappedRowLabels", "changedRowLabel",    "droppedRow",   "staleRow",           "swappedRules",
    "droppedRule",      "wrongAction",        "wrongDefault", "changedInvalidLabel" };
static_assert( kTableFaultNames.size() == Kiv::enumValue( TableFault::changedInvalidLabel ) + 1 );
constexpr std::span<std::string_view const> enumNames( TableFault ) { return kTableFaultNames; }

/// False when the table has nothing to break in this way. Not every fault changes what the table means.
bool inject( TableCopy& table, TableFault fault, Random& random );

/// The ACL, with the boundaries of the table's rows and the labels of its entries as further rules: packets aimed at it
/// fall on the boundaries of both.
Acl withBoundariesOf( TableCopy const& table, Acl acl );

}  // namespace Orvex::Host::Test
