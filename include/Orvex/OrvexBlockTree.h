#pragma once

/// Which labels are to share a block, as a tree.
///
/// A node is a group of labels for which one block of a power of two values is wanted, inside that of its parent. Its weight
/// says what that is worth: each block beyond the first costs the weight of the sets whose entries end here, which the node
/// fills and its parent does not.
///
///     sets {a b c d} twice, {a b c} once        root
///                                                |-- node, weight 2
///                                                      |-- d
///                                                      |-- node, weight 1
///                                                            |-- a, b, c
///
/// Invariant: nodes and parents are a tree under kRoot, which no set fills.

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Orvex {

class BlockTree {
 public:
  static constexpr std::uint32_t kRoot = 0;

  /// All labels hang on the root.
  explicit BlockTree( std::uint32_t labels ) : nodes_{ { kRoot, 0 } }, parentOfLabel_( labels, kRoot ) {}

  std::uint32_t nodeCount() const { return static_cast<std::uint32_t>( nodes_.size() ); }
  std::uint32_t labelCount() const { return static_cast<std::uint32_t>( parentOfLabel_.size() ); }

  std::uint32_t parent( std::uint32_t node ) const { return nodes_[node].parent; }
  void parentIs( std::uint32_t node, std::uint32_t parent ) { nodes_[node].parent = parent; }
  std::uint32_t parentOfLabel( std::uint32_t label ) const { return parentOfLabel_[label]; }
  void parentOfLabelIs( std::uint32_t label, std::uint32_t parent ) { parentOfLabel_[label] = parent; }
  std::uint64_t weight( std::uint32_t node ) const { return nodes_[node].weight; }
  void weightIs( std::uint32_t node, std::uint64_t weight ) { nodes_[node].weight = weight; }
  /// The new node.
  std::uint32_t nodeIs( std::uint32_t parent, std::uint64_t weight ) {
    nodes_.push_back( { parent, weight } );
    return nodeCount() - 1;
  }

  /// All nodes but the root, each before its parent.
  std::vector<std::uint32_t> bottomUp() const {
    std::vector<std::uint32_t> children( nodes_.size(), 0 );
    for ( std::uint32_t node = 1; node != nodeCount(); ++node ) ++children[parent( node )];
    std::vector<std::uint32_t> order;
    order.reserve( nodes_.size() );
    for ( std::uint32_t node = 1; node != nodeCount(); ++node )
      for ( std::uint32_t ready = node; ready != kRoot && children[ready] == 0; ready = parent( ready ) ) {
        children[ready] = kTaken;
        order.push_back( ready );
        --children[parent( ready )];
      }
    return order;
  }

 private:
  static constexpr std::uint32_t kTaken = ~std::uint32_t{ 0 };

  struct Node {
    std::uint32_t parent;
    std::uint64_t weight;
  };

  std::vector<Node> nodes_;
  std::vector<std::uint32_t> parentOfLabel_;
};

}  // namespace Orvex
