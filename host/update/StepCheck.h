#pragma once

/// Whether a step from one table to the next keeps the verdict of every packet that both versions of a policy treat alike.
///
/// A step is a list of writes of one kind: to one label table, to entries, or to defaults. Let the table before it be right
/// for these packets. Then only a packet that the step touches can be wrong after it: one whose label it changes, one that
/// an added entry matches, one that a removed entry matched. These are boxes (BoxEngine.h); within each of them
///
///     entries of the table that do A   x   old rules that do B   x   new rules that do B
///
/// must have no packet that none of the three's predecessors decides.
///
/// Cost: building boxes is linear in rows, entries and rules; then in proportion to the triples that meet. The budget ends it.

#include "update/TableState.h"
#include "verify/BoxEngine.h"

namespace Orvex::Host {

using UpdateWrite = std::variant<RowWrite, EntryWrite, DefaultWrite>;
/// Writes of one kind; those of rows to one table.
using UpdateStep = std::vector<UpdateWrite>;

/// Requires: `from` is right for every packet that both policies treat alike; the step's writes lead from it to `to`.
/// Fails with: Verify::Undecided.
bool keepsVerdicts( UpdateStep const& step, TableState const& from, TableState const& to, Policy const& before,
                    Policy const& after, Verify::TableShape const& shape, Verify::Budget const& budget );

}  // namespace Orvex::Host
