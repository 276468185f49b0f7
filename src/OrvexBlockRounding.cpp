#include "Orvex/OrvexBlockRounding.h"

#include <algorithm>
#include <array>
#include <bit>
#include <span>

#include "Kiv/FatalCheck.h"

namespace Orvex {

namespace {

/// Weights above this one count as it does, so that costs, and prices times values, stay below 2^64.
constexpr std::uint64_t kLargestWeight = std::uint64_t{ 1 } << 20;
/// Prices of a value in parts of an entry, some to each doubling. At the highest no rounding is worth it.
constexpr int kPriceFraction = 17;
constexpr int kDoubling = 16;
constexpr int kPriceSteps = kDoubling * ( 20 + 5 + kPriceFraction );
constexpr int kCoarseSteps = 4;

/// Up to so many nodes more ways are kept, and more prices tried.
constexpr std::size_t kFewNodes = 8192;
constexpr std::size_t kWaysOfMany = 4;
constexpr std::size_t kWaysOfFew = 8;
constexpr std::size_t kMostWays = kWaysOfFew;
/// Of many, a lower price is tried where what is left could save more than this part of the cost, and a higher one where it is
/// so much that nearly nothing can have fitted at this one.
constexpr std::uint64_t kPartBelow = 16;
constexpr std::uint64_t kPartAbove = 4;

std::uint64_t priceOf( int step ) {
  return ( ( std::uint64_t{ kDoubling } + static_cast<std::uint64_t>( step % kDoubling ) ) << ( step / kDoubling ) ) /
         kDoubling;
}

std::uint64_t blocksOf( std::uint64_t values ) { return static_cast<std::uint64_t>( std::popcount( values ) ); }

bool isOneBlock( std::uint64_t values ) { return ( values & ( values - 1 ) ) == 0; }

/// How many blocks there are of the lowest one's size, twice that, and so on without a gap. Rounding up makes one of them.
std::uint64_t lowestRun( std::uint64_t values ) {
  return static_cast<std::uint64_t>( std::countr_one( values >> std::countr_zero( values ) ) );
}

/// The next rounding, with fewer blocks or as many: the lowest of them is doubled, and those that then meet are joined.
std::uint64_t roundedUp( std::uint64_t values ) { return values + ( values & ( ~values + 1 ) ); }

/// A way to go for a node, or for what is in it.
struct Way {
  std::uint64_t cost = 0;  // of the blocks beyond the first within
  std::uint32_t values = 0;
  std::uint8_t first = 0;  // the way, or the two, that it is made of
  std::uint8_t second = 0;
};

/// Ways that ascend in values and descend in cost.
class BestWays {
 public:
  void clear() { count_ = 0; }
  std::size_t size() const { return count_; }
  Way const& operator[]( std::size_t at ) const { return ways_[at]; }

  /// Unless another one is as good; those that are no better go.
  void add( Way const& way ) {
    std::size_t at = count_;
    while ( at != 0 && ways_[at - 1].values > way.values ) --at;
    if ( at != 0 && ways_[at - 1].cost <= way.cost ) return;
    std::size_t behind = at;
    while ( behind != count_ && ways_[behind].cost >= way.cost ) ++behind;
    if ( at != 0 && ways_[at - 1].values == way.values ) --at;
    if ( behind == at ) {
      for ( std::size_t last = count_++; last != at; --last ) ways_[last] = ways_[last - 1];
    } else {
      erase( at + 1, behind );
    }
    ways_[at] = way;
  }

  /// So many: the one with the fewest values, and those that cost least with their values.
  void keep( std::size_t most, std::uint64_t price ) {
    if ( count_ <= most ) return;
    for ( std::size_t at = 1; at != count_; ++at )
      costs_[at] = ( ways_[at].cost << kPriceFraction ) + price * ways_[at].values;
    while ( count_ > most ) {
      std::size_t worst = 1;
      for ( std::size_t at = 2; at != count_; ++at )
        if ( costs_[at] >= costs_[worst] ) worst = at;
      for ( std::size_t at = worst + 1; at != count_; ++at ) costs_[at - 1] = costs_[at];
      erase( worst, worst + 1 );
    }
  }

 private:
  /// A way has at most one rounding for each block that it saves, or is one of two.
  static constexpr std::size_t kMost = kMostWays * 17;

  void erase( std::size_t first, std::size_t end ) {
    for ( ; end != count_; ++first, ++end ) ways_[first] = ways_[end];
    count_ = first;
  }

  std::array<Way, kMost> ways_;
  std::array<std::uint64_t, kMost> costs_{};  // with the price of the values
  std::size_t count_ = 0;
};

/// The ways of all nodes at a price.
class PricedWays {
 public:
  /// Of these nodes, each before its parent; the root comes behind them.
  PricedWays( BlockTree const& tree, std::span<std::uint32_t const> nodes,
              std::vector<std::uint64_t> const& leastValues, std::uint64_t space, std::size_t most )
      : nodes_( nodes ),
        space_( space ),
        most_( most ),
        inside_( ( nodes.size() + 1 ) * most ),
        insideCount_( nodes.size() + 1 ),
        roundings_( nodes.size() * most ),
        joints_( nodes.size() * most ) {
    std::vector<std::uint32_t> placeOf( tree.nodeCount(), 0 );
    for ( std::uint32_t place = 0; place != nodes.size(); ++place ) placeOf[nodes[place]] = place;
    placeOf[BlockTree::kRoot] = static_cast<std::uint32_t>( nodes.size() );
    shapes_.reserve( nodes.size() + 1 );
    for ( std::uint32_t const node : nodes )
      shapes_.push_back( { placeOf[tree.parent( node )], static_cast<std::uint32_t>( leastValues[node] ),
                           std::min( tree.weight( node ), kLargestWeight ) } );
    shapes_.push_back( { 0, static_cast<std::uint32_t>( leastValues[BlockTree::kRoot] ), 0 } );
  }

  /// The cost of the best way that fits.
  std::uint64_t costAt( std::uint64_t price ) {
    for ( std::size_t place = 0; place != shapes_.size(); ++place ) {
      insideCount_[place] = 1;
      inside_[place * most_] = { 0, shapes_[place].least };
    }
    for ( std::size_t place = 0; place != nodes_.size(); ++place ) {
      roundWays( place, price );
      joinWays( place, price );
    }
    return cost();
  }
  std::uint64_t cost() const { return bestOfRoot().cost; }
  std::uint64_t spareValues() const { return space_ - bestOfRoot().values; }

  /// What each node takes on the best way that fits at the last price.
  void putInto( std::vector<std::uint64_t>& rounded ) const {
    std::vector<std::uint8_t> wayInside( shapes_.size() );
    wayInside.back() = static_cast<std::uint8_t>( insideCount_.back() - 1 );
    for ( std::size_t place = nodes_.size(); place-- != 0; ) {
      std::uint8_t& wayOfParent = wayInside[shapes_[place].parent];
      Joint const joint = joints_[place * most_ + wayOfParent];
      wayOfParent = joint.before;
      Rounding const& rounding = roundings_[place * most_ + joint.own];
      wayInside[place] = rounding.wayInside;
      rounded[nodes_[place]] = rounding.values;
    }
  }

 private:
  struct Shape {
    std::uint32_t parent;  // its place
    std::uint32_t least;   // values of its own
    std::uint64_t weight;
  };
  struct Rounding {
    std::uint32_t values;
    std::uint8_t wayInside;
  };
  /// Of a way of the parent: which one it was before the node came to it, and which of the node's own it has.
  struct Joint {
    std::uint8_t before;
    std::uint8_t own;
  };

  /// All ways fit, since others are left out; the last one costs least.
  Way const& bestOfRoot() const { return inside_[nodes_.size() * most_ + insideCount_.back() - 1]; }

  void roundWays( std::size_t place, std::uint64_t price ) {
    own_.clear();
    for ( std::uint8_t way = 0; way != insideCount_[place]; ++way )
      addRoundings( inside_[place * most_ + way], way, shapes_[place].weight );
    own_.keep( most_, price );
    for ( std::size_t way = 0; way != own_.size(); ++way )
      roundings_[place * most_ + way] = { own_[way].values, own_[way].first };
  }

  void addRoundings( Way const& inside, std::uint8_t way, std::uint64_t weight ) {
    std::uint64_t const blocks = blocksOf( inside.values );
    own_.add( { inside.cost + weight * ( blocks - std::min<std::uint64_t>( blocks, 1 ) ), inside.values, way } );
    if ( weight == 0 ) return;
    std::uint64_t values = inside.values;
    for ( std::uint64_t left = blocks; left > 1; ) {
      left -= lowestRun( values ) - 1;
      values = roundedUp( values );
      if ( values > space_ ) return;
      own_.add( { inside.cost + weight * ( left - 1 ), static_cast<std::uint32_t>( values ), way } );
    }
  }

  void joinWays( std::size_t place, std::uint64_t price ) {
    std::size_t const parent = shapes_[place].parent;
    Way* const ofParent = &inside_[parent * most_];
    std::uint8_t& count = insideCount_[parent];
    joined_.clear();
    for ( std::uint8_t before = 0; before != count; ++before )
      for ( std::uint8_t own = 0; own != own_.size(); ++own ) {
        std::uint32_t const values = ofParent[before].values + own_[own].values;
        if ( values > space_ ) break;
        joined_.add( { ofParent[before].cost + own_[own].cost, values, before, own } );
      }
    joined_.keep( most_, price );
    count = static_cast<std::uint8_t>( joined_.size() );
    for ( std::uint8_t way = 0; way != count; ++way ) {
      ofParent[way] = joined_[way];
      joints_[place * most_ + way] = { joined_[way].first, joined_[way].second };
    }
  }

  std::span<std::uint32_t const> nodes_;
  std::uint64_t space_;
  std::size_t most_;
  std::vector<Shape> shapes_;              // by place
  std::vector<Way> inside_;                // by place, so many each
  std::vector<std::uint8_t> insideCount_;  // by place
  std::vector<Rounding> roundings_;        // by place, so many each
  std::vector<Joint> joints_;              // by place, so many each
  BestWays own_;
  BestWays joined_;
};

}  // namespace

BlockRounding::BlockRounding( BlockTree const& tree, std::uint32_t widthBits, std::uint32_t reservedLabels )
    : tree_( tree ),
      space_( std::uint64_t{ 1 } << widthBits ),
      order_( tree.bottomUp() ),
      leastValues_( tree.nodeCount(), 0 ),
      values_( tree.nodeCount() ),
      rounded_( tree.nodeCount() ) {
  for ( std::uint32_t label = 0; label != tree.labelCount(); ++label ) ++leastValues_[tree.parentOfLabel( label )];
  leastValues_[BlockTree::kRoot] += reservedLabels;
  if ( !allFit() ) giveUpRoundings( space_ - tree.labelCount() - reservedLabels );
}

/// When each node is one block. What does not fit by itself stays as it is: in a long chain of nodes, blocks would double each
/// time, without end.
bool BlockRounding::allFit() {
  values_ = leastValues_;
  for ( std::uint32_t const node : order_ ) {
    bool const isRounded = tree_.weight( node ) != 0 && values_[node] <= space_;
    rounded_[node] = isRounded ? std::bit_ceil( values_[node] ) : values_[node];
    values_[tree_.parent( node )] += rounded_[node];
  }
  return values_[BlockTree::kRoot] <= space_;
}

/// Nodes that are one block whatever the price, often most of all, go to the front, where no price is tried on them.
void BlockRounding::settleBlocks() {
  std::vector<bool> isOpen( tree_.nodeCount(), false );
  for ( std::uint32_t const node : order_ ) {
    if ( !isOneBlock( values_[node] ) && tree_.weight( node ) != 0 ) isOpen[node] = true;
    if ( isOpen[node] ) isOpen[tree_.parent( node )] = true;
  }
  auto const behind =
      std::stable_partition( order_.begin(), order_.end(), [&]( std::uint32_t node ) { return !isOpen[node]; } );
  settledNodes_ = static_cast<std::size_t>( behind - order_.begin() );
  for ( std::size_t at = 0; at != settledNodes_; ++at )
    leastValues_[tree_.parent( order_[at] )] += rounded_[order_[at]];
}

/// From the price at which all fits when each node looks at itself alone, to where no neighbour is better.
void BlockRounding::giveUpRoundings( std::uint64_t spareValues ) {
  settleBlocks();
  std::span const open = std::span<std::uint32_t const>( order_ ).subspan( settledNodes_ );
  bool const areFew = open.size() <= kFewNodes;
  int step = fittingStep( spareValues );
  PricedWays ways( tree_, open, leastValues_, space_, areFew ? kWaysOfFew : kWaysOfMany );
  std::uint64_t cost = ~std::uint64_t{ 0 };
  std::uint64_t left = 0;
  auto const isBetter = [&]( int next ) {
    if ( next < 0 || next > kPriceSteps || ways.costAt( priceOf( next ) ) >= cost ) return false;
    step = next;
    cost = ways.cost();
    left = ways.spareValues();
    ways.putInto( rounded_ );
    return true;
  };
  // Of many nodes, no other price is tried where what is left could save but a small part of the cost.
  auto const isWorthTrying = [&]( std::uint64_t part ) {
    return areFew || priceOf( step ) * left > ( cost << kPriceFraction ) / part;
  };
  isBetter( step );
  for ( int const stride : { kCoarseSteps, 1 } ) {
    if ( stride == 1 && !areFew ) break;
    int const before = step;
    while ( isWorthTrying( kPartBelow ) && isBetter( step - stride ) ) continue;
    while ( step >= before && isWorthTrying( kPartAbove ) && isBetter( step + stride ) ) continue;
  }
  values_ = leastValues_;
  for ( std::uint32_t const node : open ) values_[tree_.parent( node )] += rounded_[node];
  KIV_CHECK( values_[BlockTree::kRoot] <= space_ );
  spendRest();
}

int BlockRounding::fittingStep( std::uint64_t spareValues ) {
  int low = 0;
  int high = kPriceSteps / kCoarseSteps;
  while ( high - low > 1 ) {
    int const middle = ( low + high ) / 2;
    ( fitsAt( priceOf( middle * kCoarseSteps ), spareValues ) ? high : low ) = middle;
  }
  return high * kCoarseSteps;
}

/// Whether no more values are wasted when each node takes the rounding that is cheapest for itself.
bool BlockRounding::fitsAt( std::uint64_t price, std::uint64_t spareValues ) {
  values_ = leastValues_;
  for ( std::size_t at = settledNodes_; at != order_.size(); ++at ) {
    std::uint32_t const node = order_[at];
    rounded_[node] = cheapest( node, price );
    values_[tree_.parent( node )] += rounded_[node];
    if ( rounded_[node] - values_[node] > spareValues ) return false;
    spareValues -= rounded_[node] - values_[node];
  }
  return true;
}

std::uint64_t BlockRounding::cheapest( std::uint32_t node, std::uint64_t price ) const {
  std::uint64_t const values = values_[node];
  if ( isOneBlock( values ) || tree_.weight( node ) == 0 ) return values;
  std::uint64_t const weight = std::min( tree_.weight( node ), kLargestWeight ) << kPriceFraction;
  std::uint64_t blocks = blocksOf( values );
  std::uint64_t best = values;
  std::uint64_t bestCost = weight * blocks;
  for ( std::uint64_t next = values; !isOneBlock( next ); ) {
    blocks -= lowestRun( next ) - 1;
    next = roundedUp( next );
    std::uint64_t const waste = price * ( next - values );
    if ( next > space_ || weight + waste >= bestCost ) break;
    std::uint64_t const cost = weight * blocks + waste;
    if ( cost >= bestCost ) continue;
    best = next;
    bestCost = cost;
  }
  return best;
}

/// Those first that save most for a value.
void BlockRounding::spendRest() {
  struct Offer {
    std::uint64_t saved;
    std::uint64_t values;
    std::uint32_t node;
  };
  std::vector<Offer> offers;
  for ( std::size_t at = order_.size(); at-- != settledNodes_; ) {
    std::uint32_t const node = order_[at];
    if ( isOneBlock( rounded_[node] ) || tree_.weight( node ) == 0 ) continue;
    std::uint64_t const weight = std::min( tree_.weight( node ), kLargestWeight );
    Offer best{ 0, 1, node };
    for ( std::uint64_t next = rounded_[node]; !isOneBlock( next ); ) {
      next = roundedUp( next );
      std::uint64_t const saved = weight * ( blocksOf( rounded_[node] ) - blocksOf( next ) );
      if ( saved * best.values > best.saved * ( next - rounded_[node] ) ) best = { saved, next - rounded_[node], node };
    }
    offers.push_back( best );
  }
  std::stable_sort( offers.begin(), offers.end(),
                    []( Offer const& a, Offer const& b ) { return a.saved * b.values > b.saved * a.values; } );
  for ( Offer const& offer : offers ) spendOn( offer.node );
}

/// Takes the rounding that saves most, where there are values for it and no node around loses as much.
void BlockRounding::spendOn( std::uint32_t node ) {
  std::uint64_t best = rounded_[node];
  std::int64_t mostSaved = 0;
  for ( std::uint64_t next = best; !isOneBlock( next ); ) {
    next = roundedUp( next );
    if ( auto const saved = savedBy( node, next ); saved && *saved > mostSaved ) {
      mostSaved = *saved;
      best = next;
    }
  }
  if ( mostSaved == 0 ) return;
  for ( std::uint64_t more = best - rounded_[node]; more != 0; ) {
    rounded_[node] += more;
    node = tree_.parent( node );
    values_[node] += more;
    more = node == BlockTree::kRoot ? 0 : values_[node] - std::min( values_[node], rounded_[node] );
  }
}

/// What the node takes more, the nodes around must have wasted or take more as well. Nothing where there are not so many values.
std::optional<std::int64_t> BlockRounding::savedBy( std::uint32_t node, std::uint64_t rounded ) const {
  std::int64_t saved = 0;
  for ( std::uint64_t taken = rounded; node != BlockTree::kRoot; ) {
    saved += static_cast<std::int64_t>( std::min( tree_.weight( node ), kLargestWeight ) ) *
             ( std::popcount( rounded_[node] ) - std::popcount( taken ) );
    std::uint64_t const more = taken - rounded_[node];
    node = tree_.parent( node );
    taken = values_[node] + more;
    if ( node != BlockTree::kRoot && taken <= rounded_[node] ) return saved;
    if ( taken > space_ ) return std::nullopt;
  }
  return saved;
}

}  // namespace Orvex
