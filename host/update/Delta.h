#pragma once

/// What tells the tables of two versions apart, as single writes to a chip.
///
///     old                          new                          delta
///     10.0.0.0/8 -> 1              10.0.0.0/8 -> 1              (kept)
///     10.1.0.0/16 -> 2             10.1.0.0/16 -> 3             10.1.0.0/16 changes its label from 2 to 3
///     rule 10: source 1 permit     rule 10: source 1 deny       the entry changes its action
///     rule 20: source 2 permit     rule 30: source 2 permit     one entry less, one entry more
///
/// A row is named by its table and key, an entry by ACL, rule index and what it matches. An ACL that a version does not have
/// is one that denies everything.
///
/// Cost: O(n log n) in rows and entries.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "chip/ChipProfile.h"
#include "chip/ChipTable.h"
#include "pipeline/StageMembers.h"

namespace Orvex::Host {

using RowKey = std::variant<Vell::IpGenPrefix, RangeSetElem, EncodedComboLabel>;

/// A row of a label table; without `before` it is new, without `after` it goes.
struct RowWrite {
  LabelTable table;
  RowKey key;
  std::optional<std::uint16_t> before;
  std::optional<std::uint16_t> after;
};

/// An entry of a rule, in the same way.
struct EntryWrite {
  PDAclKey acl;
  std::uint32_t rule = 0;
  PDAclFilter entry;
  std::optional<OrvexActionValue> before;
  std::optional<OrvexActionValue> after;
};

/// What an ACL does on a miss.
struct DefaultWrite {
  PDAclKey acl;
  DefaultAction before = DefaultAction::deny;
  DefaultAction after = DefaultAction::deny;
};

struct ChangeCounts {
  std::uint64_t kept = 0;
  std::uint64_t changed = 0;
  std::uint64_t added = 0;
  std::uint64_t removed = 0;

  bool isChanged() const { return changed + added + removed != 0; }
  ChangeCounts& operator+=( ChangeCounts const& other );
};

/// A version of a policy and its snapshot; both outlive this.
struct TableVersion {
  Policy const& policy;
  PDData const& snapshot;
};

struct Delta {
  struct OfTable {
    /// "ipv4 source", "dport"
    std::string table;
    ChangeCounts rows;
  };
  struct OfAcl {
    PDAclKey acl;
    ChangeCounts entries;
  };

  /// By table and key.
  std::vector<RowWrite> rows;
  /// By ACL, rule and entry.
  std::vector<EntryWrite> entries;
  std::vector<DefaultWrite> defaults;
  /// The tables that are on, in the order of their enumerations, and the ACLs of both versions.
  std::vector<OfTable> tables;
  std::vector<OfAcl> acls;

  bool isEmpty() const { return rows.empty() && entries.empty() && defaults.empty(); }
};

/// Requires: both snapshots are of a chip of that shape.
Delta deltaOf( TableVersion const& before, TableVersion const& after, Verify::TableShape const& shape );

/// The tables that are on, in the order of their enumerations.
std::vector<LabelTable> tablesOf( Verify::TableShape const& shape );
std::map<RowKey, std::uint16_t> rowsOf( PDData const& snapshot, LabelTable const& table );

/// An entry's place and what it matches; a rule's entries all do the same.
using AclEntries = std::map<std::pair<std::uint32_t, PDAclFilter>, OrvexActionValue>;
/// Empty when the snapshot does not have the ACL.
AclEntries entriesOf( PDData const& snapshot, PDAclKey const& acl );

}  // namespace Orvex::Host
