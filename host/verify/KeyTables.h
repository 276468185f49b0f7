#pragma once

/// Which packets a snapshot's entries match: from labels and masks back to atoms.
///
///     dport table   0-79 1, 80-80 2, 443-443 3       entry 2 with mask 3    80
///     (invalid 0)                                    entry 2 with mask 2    80, 443
///                                                    entry 0 with mask 3    81-442, 444-65535
///
/// A key that does not pass through a table is matched by its value: a field without a table, the TCP flags, and the
/// head-fragment bit, which is 1 exactly where the fragment offset is 0, and so is read as a set of fragment offsets. A
/// combination's label stands for pairs of labels; pairs of which the sources have the same partners make one box.
///
/// Ranges of a table that overlap would give a value two labels, and are refused.
///
/// Cost: in proportion to the tables, and to the labels that each list of entries selects; a list that many rules have
/// is looked at once.

#include <array>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Orvex/OrvexPDData.h"
#include "verify/BoxEngine.h"
#include "verify/PacketSpace.h"
#include "verify/TableShape.h"

namespace Orvex::Verify {

/// The fields of an entry, in order.
inline constexpr std::size_t kEntryFields = PDAclFilter::kFields;
inline constexpr std::array<EncodedLabelWithMask PDAclFilter::*, kEntryFields> kEntryMembers = {
    &PDAclFilter::source,       &PDAclFilter::destination, &PDAclFilter::prefixCombo, &PDAclFilter::sport,
    &PDAclFilter::dport,        &PDAclFilter::portCombo,   &PDAclFilter::icmpType,    &PDAclFilter::proto,
    &PDAclFilter::length,       &PDAclFilter::fragment,    &PDAclFilter::dscp,        &PDAclFilter::ttl,
    &PDAclFilter::headFragment, &PDAclFilter::tcpFlag };

/// For each field of an entry the labels with masks of which one must match.
using Projections = std::array<std::vector<EncodedLabelWithMask>, kEntryFields>;

class KeyTables {
 public:
  /// Cuts the space at the tables' prefixes, and settles it.
  /// Fails with: Undecided when ranges of a table overlap.
  KeyTables( PDData const& snapshot, TableShape const& shape, PacketSpace& space, Spending& spending );

  /// The packets of which every key matches one of its field's list: disjoint boxes, none of them empty, which stay
  /// until the next call.
  /// Fails with: Undecided.
  std::span<Box const> boxesOf( Projections const& lists );

 private:
  using List = std::vector<EncodedLabelWithMask>;
  using Labelled = std::pair<std::uint16_t, AtomSet>;

  /// One key, and the atoms that have each label; or the key is the value itself.
  struct Key {
    std::uint32_t maximum = 0xFFFF;
    bool isValue = false;
    std::vector<Labelled> labels;  // ascending; none is without atoms
  };
  struct Combination {
    struct Row {
      std::uint16_t source;
      std::uint16_t destination;
      std::uint16_t label;
    };
    TableShape::Table shape;
    std::size_t sourceDimension = 0;
    std::size_t destinationDimension = 0;
    std::vector<Row> rows;  // those of pairs of labels that packets have
  };
  using Pair = std::pair<AtomSets::Id, AtomSets::Id>;
  struct WordsHash {
    std::size_t operator()( std::vector<std::uint32_t> const& words ) const;
  };
  template <class Result>
  using Remembered = std::unordered_map<std::vector<std::uint32_t>, Result, WordsHash>;

  void readRanges( PDData const& snapshot, TableShape const& shape, Host::Field field );
  void readCombination( PDData const& snapshot, TableShape const& shape, ComboLabelSetType type, std::size_t source,
                        std::size_t destination );
  AtomSets::Id atomsOf( std::size_t dimension, List const& list );
  AtomSets::Id fragmentsOf( List const& headFragment );
  std::span<Pair const> pairsOf( Combination const& combination, List const& list, Pair const& within );
  std::vector<Pair> groupedPairs( Combination const& combination, List const& list, Pair const& within );
  AtomSets::Id atomsWith( std::size_t dimension, std::span<std::uint16_t const> labels );

  PacketSpace& space_;
  AtomSets& sets_;
  Spending& spending_;
  std::array<Key, kDimensions> keys_;
  Combination prefixes_;
  Combination ports_;
  std::array<Remembered<AtomSets::Id>, kDimensions> lists_;
  std::array<Remembered<std::vector<Pair>>, 2> pairs_;
  std::vector<std::uint32_t> words_;  // what is looked up in these
  std::vector<Box> boxes_;            // the last answer
};

}  // namespace Orvex::Verify
