#pragma once

/// An order of single writes that leads from one version's table to the next, and never shows a packet that both versions
/// treat alike anything else.
///
/// Alike is: the same action, every field of it, whichever rule it comes from. Whether a packet that the versions treat
/// differently sees the one or the other, or something else, in between does not matter.
///
/// The writes fall into steps, each of one kind:
///
///     entries added     by rule, the first tried first; an entry that changes its action in its place counts as added
///     entries removed   by rule, the last tried first
///     prefix rows       added from long to short; changed; removed from short to long
///     range rows        removed; changed; added, since no two may share a value
///     pair rows         added; changed; removed
///     defaults          changed
///
/// Within a step, every packet changes from what it sees before the step to what it sees after it, at one write. For rows
/// that is plain: of the prefixes added that contain an address the longest comes first, and the others do nothing to it;
/// of those removed the longest comes last. Entries are alike, with their place in the table for the length: of those added
/// above what decides a packet, the one that will decide it comes first. So it is enough that the table is right after each
/// step, and that is proved (StepCheck.h) step by step before an order is given.
///
/// Which steps come in which order is found by trying: depth first, no set of steps twice. Where labels stay as they are, or
/// new ones are added, an order is found at once. Where labels change their meaning, one row may have to wait for another,
/// as its label is still in use: then steps are halved, down to single writes, and whatever is right is done, again and
/// again. Where labels change places there is no order.
///
/// Cost: a check for each table that is tried, at most kMostChecks in either way, within the budget's time for all.

#include <string>

#include "update/StepCheck.h"

namespace Orvex::Host {

struct UpdateOrder {
  /// Nothing: none was found.
  std::optional<std::vector<UpdateWrite>> writes;
  /// Why none was found.
  std::string reason;
  std::size_t checks = 0;
};

inline constexpr std::size_t kMostChecks = 10000;

/// Requires: both snapshots are proved to be their policies, on a chip of that profile.
UpdateOrder findUpdateOrder( Delta const& delta, TableVersion const& before, TableVersion const& after,
                             ChipProfile const& profile, Verify::Budget const& budget = {} );

}  // namespace Orvex::Host
