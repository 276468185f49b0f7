#pragma once

/// Proves that a table says of every packet what the policy says: the same rule, every field of its action, and the
/// same on a miss. It looks at nothing but the policy, the snapshot, the table's shape and the default actions.
///
/// Rule by rule. Let the rules before have been proved; then both sides have decided the same packets by now, those that
/// the policy's earlier rules match. So of this rule's packets only the others count, and
///
///     (entries \ rule) and (rule \ entries) must lie within the union of the policy's earlier rules.
///
/// That is enough, and it is necessary too: a packet that lies outside is one about which table and policy disagree.
///
/// A rule is a box, a product of one set for each dimension. Entries that are a full product, that is, as many as the
/// product of the lists of what stands in each of their fields, are a product as well: the comparison is one of sets,
/// dimension by dimension. That is the shape that compilers make, but for one thing: an entry that an earlier rule has is
/// left out. So where entries are missing from the product, each is looked for in the earlier rules. What is left after
/// that, and entries of any other shape, are handed to the box engine, against the boxes of the earlier rules.
///
/// Invariants: (1) "equal" is never said without proof; (2) with "different" comes a packet, which the interpreter and
/// the look-up have confirmed, unless the table has an ACL that the policy does not know; (3) all else is "undecided".
/// Cost: for tables of the compiler's shape in proportion to the entries, those left out included, and to the tables.

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Orvex/OrvexPDData.h"
#include "policy/Policy.h"
#include "verify/BoxEngine.h"
#include "verify/Packet.h"
#include "verify/TableShape.h"

namespace Orvex::Verify {

/// A packet about which table and policy disagree.
struct Witness {
  Vell::AddressFamily family = Vell::AddressFamily::ipv4;
  /// As the user calls it.
  std::string acl;
  Packet packet;
  Verdict policy;
  Verdict table;
  /// The first rule that matches on one side and not on the other, or that does something else; none: the default
  /// action differs.
  std::optional<std::uint32_t> rule;
  /// Where: a field of the rule's match ("source", "dport", "tcpFlags"), of its action ("action.tc"), of the table's
  /// entries ("prefixCombo"), or "default". "entries": the rule has none.
  std::string field;
};

struct Proof {
  Outcome outcome = Outcome::undecided;
  std::optional<Witness> witness;
  /// Why there is no proof, in words; empty when there is.
  std::string reason;
  /// Rules compared, and those of them for which the box engine was asked.
  std::uint64_t rules = 0;
  std::uint64_t rulesByBoxes = 0;
  std::uint64_t entries = 0;
  std::uint64_t boxes = 0;

  bool isProved() const { return outcome == Outcome::equal; }
};

/// What the chip does on a miss, by the library's name of the ACL. An ACL that is not named denies.
using DefaultActions = std::map<PDAclKey, Host::DefaultAction>;

/// Requires: the policy is normalised.
Proof prove( Host::Policy const& policy, PDData const& snapshot, TableShape const& shape,
             DefaultActions const& defaults, Budget const& budget = {} );

/// One line for an operator: "ipv4 ACL edge-in, rule 10, dport: ... the policy says permit (rule 10), the table deny".
std::string textOf( Witness const& witness );

}  // namespace Orvex::Verify
