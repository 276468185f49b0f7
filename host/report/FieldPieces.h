#pragma once

/// A range field cut where any rule's set of values begins or ends: what the compiler labels, with the sets that each piece
/// lies in, to be drawn.
///
///     rule 10  dport 10-20     0-9      no set
///     rule 20  dport 15-30     10-14    label 1   10-20
///                              15-20    label 2   10-20, 15-30
///                              21-30    label 3   15-30
///                              31-65535 no set
///
/// The pieces come from the policy, so that they are there when the compile has failed too; the labels from the snapshot.
/// Cost: O(n log n) in the ranges of the field's distinct sets.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Orvex/OrvexPDData.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// A rule, and the ACL that it stands in.
struct RuleOfAcl {
  Acl const* acl = nullptr;
  Rule const* rule = nullptr;
};

/// "ipv4 edge-in 40, 45; ipv6 edge-in 30 and 7 more", of rules in the policy's order.
std::string namesOf( std::vector<RuleOfAcl> const& rules );

/// "80 443 1024-65535", a long one cut, with what is missing counted.
std::string valuesText( RangeSet const& ranges );
/// "80", "1024-65535"
std::string valuesText( ValueRange const& range );

/// One of the field's distinct sets, and the rules that have it.
struct FieldSet {
  RangeSet const* ranges = nullptr;
  std::vector<RuleOfAcl> rules;
};

struct FieldPiece {
  ValueRange range;
  /// None where no set has the piece, and without a snapshot or a table.
  std::optional<std::uint16_t> label;
  /// Of these sets the piece is part.
  std::size_t setCount = 0;
  /// The first of them, at most kMaxNamedSets, by their place in FieldPieces::sets.
  std::vector<std::size_t> sets;
};

struct FieldPieces {
  static constexpr std::size_t kMaxNamedSets = 8;

  Field field = Field::sport;
  /// By their values.
  std::vector<FieldSet> sets;
  /// From 0 to the field's greatest value, without gaps.
  std::vector<FieldPiece> pieces;

  /// Those that a set has.
  std::size_t heldPieces() const;
};

/// Requires: the policy is normalised. `snapshot` may be null; so it is for a field without a table.
FieldPieces piecesOf( Policy const& policy, Field field, PDData const* snapshot );

}  // namespace Orvex::Host
