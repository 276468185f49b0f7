#pragma once

/// Writes a snapshot as JSON, schema "orvex.snapshot/1":
///
///     {"schema": "orvex.snapshot/1", "chip": 0,
///     "prefixTables": [
///     {"family": "ipv4", "side": "src", "invalid": 0, "entries": [
///     {"prefix": "10.0.0.0/8", "label": 1}]}, ...],
///     "rangeTables": [{"field": "dstPort", ...
///     "comboTables": [{"type": "ipv4SrcDstPrefix", ...
///     "acls": [
///     {"name": "edge-in", "family": "ipv4", "default": "deny", "rules": [
///     {"index": 10, "name": "10", "action": {...}, "entries": [
///     {"source": [1, 65535], "dport": [3, 65535], "headFragment": [1, 1]}]}]}]}
///
/// A table is there exactly when it is switched on. An entry lists the fields whose mask is not 0, as [label, mask]. Every
/// ACL and rule of the policy is there, with its name and default, which snapshots do not have.
///
/// Equal snapshots of equal policies are equal texts: tables stand in the order of their enumerations, prefixes by address
/// and length, ranges and pairs by value, ACLs and rules in the policy's order, entries by their labels and masks.
///
/// Each entry is a line; the text is handed on in pieces, so that its size costs no memory.

#include <functional>
#include <string_view>

#include "Brae/ChipId.h"
#include "Orvex/OrvexPDData.h"
#include "policy/Policy.h"
#include "verify/TableShape.h"

namespace Orvex::Host {

/// Requires: the policy is normalised, and the snapshot is one of it.
void writeSnapshotJson( PDData const& snapshot, Policy const& policy, Verify::TableShape const& shape,
                        Brae::ChipId chipId, std::function<void( std::string_view )> const& sink );

}  // namespace Orvex::Host
