#pragma once

/// Reads a snapshot's JSON (see SnapshotJson.h), whoever wrote it, for a proof: the tables, which of them there are, and
/// the default actions, which are no part of a PDData.
///
/// Nothing is repaired and nothing assumed: a member that is missing, unknown or out of its range, two entries for one
/// key, two tables of one kind, and two rules of one index are errors. The first one ends the reading.

#include <optional>

#include "chip/ChipTable.h"
#include "input/Diagnostics.h"
#include "input/SourceFile.h"
#include "verify/TableShape.h"

namespace Orvex::Host {

struct ReadSnapshot {
  Kiv::Ptr<PDData> snapshot;
  Verify::TableShape shape;
  DefaultActions defaults;
};

/// Nothing, with an error that says where, when the file is no snapshot.
std::optional<ReadSnapshot> readSnapshot( SourceFile const& file, Diagnostics& diagnostics );

}  // namespace Orvex::Host
