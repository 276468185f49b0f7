#pragma once

/// Finds the first of many ternary entries that agrees with a key.
///
/// The naive way compares with one entry after the other. Here a tree leaves most of them aside: a node looks at one bit of
/// the key, and its entries stand in three parts: those that want 0, those that want 1, and those that do not care.
///
///     bit 3:  0  ->  0001  0110        a key with bit 3 set looks at
///             1  ->  1000  1***        the second and the third part
///             *  ->  **10  ****
///
/// No entry stands in two parts, so the tree is as large as the list. Each part knows its first entry in the list's order,
/// and is left aside when a match before it is known: parts are tried in the order of their first entries.
///
/// A node looks at the bit that leaves the fewest entries on average, judged by a sample of them. Where no bit does, and
/// where few entries are left, they are compared one by one.
///
/// Cost: a cache line for an entry; building, O(n log n) for entries that differ in their bits.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Orvex::Host {

/// The fields of a key, side by side.
using PackedKey = std::array<std::uint64_t, 4>;

class TernaryIndex {
 public:
  /// Agrees with the keys that have the bits of `value` where `mask` has ones.
  struct Entry {
    PackedKey value{};
    PackedKey mask{};

    bool agrees( PackedKey const& key ) const {
      std::uint64_t differs = 0;
      for ( std::size_t word = 0; word != key.size(); ++word ) differs |= ( key[word] ^ value[word] ) & mask[word];
      return differs == 0;
    }
  };

  /// The entries in the order in which they are tried.
  explicit TernaryIndex( std::vector<Entry> const& entries );

  /// The place, in the list, of the first entry that agrees.
  std::optional<std::uint32_t> find( PackedKey const& key ) const;

 private:
  /// A leaf has entries, any other node has parts; node 0 is the root, and as a part it stands for none.
  struct Node {
    std::uint32_t firstPlace = 0;  // of its entries
    std::uint32_t bit = 0;
    std::array<std::uint32_t, 3> parts{};  // for 0, 1 and those that do not care
    std::uint32_t begin = 0;               // entries of a leaf
    std::uint32_t count = 0;
  };
  class Builder;

  void search( Node const& node, PackedKey const& key, std::uint32_t& best ) const;

  std::vector<Node> nodes_;
  std::vector<Entry> entries_;         // leaf by leaf, in each by place
  std::vector<std::uint32_t> places_;  // of these
};

}  // namespace Orvex::Host
