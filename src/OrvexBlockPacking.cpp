#include "Orvex/OrvexBlockPacking.h"

#include <algorithm>
#include <array>
#include <bit>

#include "Kiv/FatalCheck.h"

namespace Orvex {

namespace {

constexpr std::uint32_t kNone = ~std::uint32_t{ 0 };
constexpr std::uint32_t kMaxWidth = 16;

/// Weights above this one count as it does, so that weights times blocks, and prices times values, stay below 2^64.
constexpr std::uint64_t kLargestWeight = std::uint64_t{ 1 } << 24;
/// Prices of a value in parts of an entry, 4 to each doubling. At the highest no rounding is worth it.
constexpr int kPriceFraction = 17;
constexpr int kPriceSteps = 4 * ( 24 + 5 + kPriceFraction );

/// How finely the nodes are divided that have the price below.
constexpr std::size_t kNodeSteps = 64;
/// Up to so many nodes two ways to give up roundings are tried.
constexpr std::size_t kBothWays = 8192;

std::uint64_t priceOf( int step ) {
  if ( step == 0 ) return 0;
  return ( std::uint64_t{ 4 } + static_cast<std::uint64_t>( step % 4 ) ) << ( step / 4 ) >> 2;
}

std::uint64_t blocksOf( std::uint64_t values ) { return static_cast<std::uint64_t>( std::popcount( values ) ); }

bool isOneBlock( std::uint64_t values ) { return ( values & ( values - 1 ) ) == 0; }

/// How many blocks there are of the lowest one's size, twice that, and so on without a gap. Rounding up makes one of them.
std::uint64_t lowestRun( std::uint64_t values ) {
  return static_cast<std::uint64_t>( std::countr_one( values >> std::countr_zero( values ) ) );
}

/// The next rounding, with fewer blocks or as many: the lowest of them is doubled, and those that then meet are joined.
std::uint64_t roundedUp( std::uint64_t values ) { return values + ( values & ( ~values + 1 ) ); }

/// How many values each node takes.
class Rounding {
 public:
  Rounding( BlockTree const& tree, std::uint32_t widthBits, std::uint32_t reservedLabels )
      : tree_( tree ),
        space_( std::uint64_t{ 1 } << widthBits ),
        order_( tree.bottomUp() ),
        leastValues_( tree.nodeCount(), 0 ),
        values_( tree.nodeCount() ),
        rounded_( tree.nodeCount() ) {
    for ( std::uint32_t label = 0; label != tree.labelCount(); ++label ) ++leastValues_[tree.parentOfLabel( label )];
    leastValues_[BlockTree::kRoot] += reservedLabels;
    if ( !fits( 0, 0, order_.size() ) ) giveUpRoundings();
    spendRest();
  }

  std::vector<std::uint32_t> const& order() const { return order_; }
  /// Before and after rounding.
  std::uint64_t values( std::uint32_t node ) const { return values_[node]; }
  std::uint64_t rounded( std::uint32_t node ) const { return rounded_[node]; }

 private:
  /// Rounds the first nodes of the order at the low price, and the others at the high one.
  bool fits( int lowStep, int highStep, std::size_t lowNodes ) {
    values_ = leastValues_;
    for ( std::size_t at = settledNodes_; at != order_.size(); ++at ) {
      std::uint32_t const node = order_[at];
      rounded_[node] = cheapest( node, priceOf( at < lowNodes ? lowStep : highStep ) );
      values_[tree_.parent( node )] += rounded_[node];
    }
    return values_[BlockTree::kRoot] <= space_;
  }

  std::uint64_t cheapest( std::uint32_t node, std::uint64_t price ) const {
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

  /// The lowest price at which all fits. Of few nodes each matters, and a second way is tried: all roundings for the smaller
  /// nodes, and none for the larger.
  void giveUpRoundings() {
    settleSingleValues();
    std::stable_sort( order_.begin() + static_cast<std::ptrdiff_t>( settledNodes_ ), order_.end(),
                      [this]( std::uint32_t a, std::uint32_t b ) { return rounded_[a] < rounded_[b]; } );
    int low = 0;
    int high = kPriceSteps;
    while ( high - low > 1 ) {
      int const middle = ( low + high ) / 2;
      ( fits( middle, middle, order_.size() ) ? high : low ) = middle;
    }
    std::size_t const cheapNodes = mostNodes( low, high );
    if ( order_.size() > kBothWays ) {
      KIV_CHECK( fits( low, high, cheapNodes ) );
      return;
    }
    std::size_t const freeNodes = mostNodes( 0, kPriceSteps );
    KIV_CHECK( fits( 0, kPriceSteps, freeNodes ) );
    std::uint64_t const cost = weightedBlocks();
    KIV_CHECK( fits( low, high, cheapNodes ) );
    if ( cost < weightedBlocks() ) fits( 0, kPriceSteps, freeNodes );
  }

  /// Nodes that have one value whatever the price, often most of all, go to the front, where no price is tried on them.
  void settleSingleValues() {
    auto const behind = std::stable_partition( order_.begin(), order_.end(),
                                               [this]( std::uint32_t node ) { return rounded_[node] <= 1; } );
    settledNodes_ = static_cast<std::size_t>( behind - order_.begin() );
    for ( std::size_t at = 0; at != settledNodes_; ++at )
      leastValues_[tree_.parent( order_[at] )] += rounded_[order_[at]];
  }

  /// How many nodes can have the low price when the others have the high one, roughly.
  std::size_t mostNodes( int lowStep, int highStep ) {
    std::size_t nodes = 0;
    for ( std::size_t tooMany = order_.size(); tooMany - nodes > 1 + order_.size() / kNodeSteps; ) {
      std::size_t const middle = ( nodes + tooMany ) / 2;
      ( fits( lowStep, highStep, middle ) ? nodes : tooMany ) = middle;
    }
    return nodes;
  }

  std::uint64_t weightedBlocks() const {
    std::uint64_t sum = 0;
    for ( std::uint32_t const node : order_ ) sum += tree_.weight( node ) * blocksOf( rounded_[node] );
    return sum;
  }

  /// What a node has wasted, nodes within it can have. Outer nodes come first.
  void spendRest() {
    for ( std::size_t at = order_.size(); at-- != 0; )
      if ( tree_.weight( order_[at] ) != 0 ) spendRest( order_[at] );
  }

  void spendRest( std::uint32_t node ) {
    std::uint32_t const parent = tree_.parent( node );
    std::uint64_t const limit =
        rounded_[node] + ( parent == BlockTree::kRoot ? space_ : rounded_[parent] ) - values_[parent];
    std::uint64_t best = rounded_[node];
    for ( std::uint64_t next = best; !isOneBlock( next ); ) {
      next = roundedUp( next );
      if ( next > limit ) break;
      if ( blocksOf( next ) < blocksOf( best ) ) best = next;
    }
    values_[parent] += best - rounded_[node];
    rounded_[node] = best;
  }

  BlockTree const& tree_;
  std::uint64_t space_;
  std::vector<std::uint32_t> order_;
  std::size_t settledNodes_ = 0;            // the first of the order
  std::vector<std::uint64_t> leastValues_;  // own labels, and settled nodes
  std::vector<std::uint64_t> values_;
  std::vector<std::uint64_t> rounded_;
};

/// Blocks inside blocks, and where each label comes to lie.
class Layout {
 public:
  Layout( BlockTree const& tree, Rounding const& rounding, std::uint32_t labels )
      : lists_( tree.nodeCount(), kNone ), labels_( labels ) {
    buckets_.fill( kNone );
    blocks_.reserve( 2 * std::size_t{ labels } );
    for ( std::uint32_t label = 0; label != labels; ++label ) blocks_.push_back( { kNone, kNone, kNone, 0 } );
    for ( std::uint32_t label = labels; label-- != 0; )
      append( label < tree.labelCount() ? tree.parentOfLabel( label ) : BlockTree::kRoot, label );
    for ( std::uint32_t const node : rounding.order() ) {
      takeBlocks( node );
      addFillers( rounding.rounded( node ) - rounding.values( node ) );
      for ( std::uint32_t height = lowestHeight(); height < kMaxWidth && heights_ >> height != 0; ++height )
        pairUp( height );
      while ( heights_ != 0 ) append( tree.parent( node ), take( lowestHeight() ) );
    }
  }

  /// By label.
  std::vector<std::uint16_t> values() {
    takeBlocks( BlockTree::kRoot );
    std::vector<std::uint16_t> values( labels_ );
    std::uint32_t start = 0;
    for ( std::uint32_t height = kMaxWidth + 1; height-- != 0; )
      for ( std::uint32_t block = buckets_[height]; block != kNone; block = blocks_[block].next ) {
        place( block, start, values );
        start += std::uint32_t{ 1 } << height;
      }
    return values;
  }

 private:
  struct Block {
    std::uint32_t low;
    std::uint32_t high;
    std::uint32_t next;
    std::uint32_t height;
  };

  void append( std::uint32_t node, std::uint32_t block ) {
    blocks_[block].next = lists_[node];
    lists_[node] = block;
  }

  void put( std::uint32_t block ) {
    std::uint32_t& bucket = buckets_[blocks_[block].height];
    blocks_[block].next = bucket;
    bucket = block;
    heights_ |= std::uint32_t{ 1 } << blocks_[block].height;
  }

  std::uint32_t lowestHeight() const { return static_cast<std::uint32_t>( std::countr_zero( heights_ ) ); }

  std::uint32_t take( std::uint32_t height ) {
    std::uint32_t const block = buckets_[height];
    buckets_[height] = blocks_[block].next;
    if ( buckets_[height] == kNone ) heights_ &= ~( std::uint32_t{ 1 } << height );
    return block;
  }

  void takeBlocks( std::uint32_t node ) {
    for ( std::uint32_t block = lists_[node]; block != kNone; ) {
      std::uint32_t const next = blocks_[block].next;
      put( block );
      block = next;
    }
    lists_[node] = kNone;
  }

  std::uint32_t blockIs( std::uint32_t low, std::uint32_t high, std::uint32_t height ) {
    blocks_.push_back( { low, high, kNone, height } );
    return static_cast<std::uint32_t>( blocks_.size() ) - 1;
  }

  void addFillers( std::uint64_t values ) {
    for ( std::uint32_t height = 0; values >> height != 0; ++height )
      if ( ( values >> height & 1U ) != 0 ) put( blockIs( kNone, kNone, height ) );
  }

  void pairUp( std::uint32_t height ) {
    while ( buckets_[height] != kNone && blocks_[buckets_[height]].next != kNone ) {
      std::uint32_t const first = take( height );
      std::uint32_t const second = take( height );
      put( blockIs( first, second, height + 1 ) );
    }
  }

  void place( std::uint32_t block, std::uint32_t start, std::vector<std::uint16_t>& values ) const {
    Block const& here = blocks_[block];
    if ( block < labels_ ) values[block] = static_cast<std::uint16_t>( start );
    if ( here.low == kNone ) return;
    place( here.low, start, values );
    place( here.high, start + ( std::uint32_t{ 1 } << ( here.height - 1 ) ), values );
  }

  std::vector<std::uint32_t> lists_;  // by node
  std::uint32_t labels_;              // the first blocks are labels
  std::vector<Block> blocks_;
  std::array<std::uint32_t, kMaxWidth + 1> buckets_;  // by height; all empty between two nodes
  std::uint32_t heights_ = 0;                         // a bit for each bucket that is not empty
};

std::uint16_t leastFree( std::vector<std::uint16_t> const& values, std::uint32_t widthBits ) {
  std::vector<bool> taken( std::size_t{ 1 } << widthBits, false );
  for ( std::uint16_t const value : values ) taken[value] = true;
  return static_cast<std::uint16_t>( std::find( taken.begin(), taken.end(), false ) - taken.begin() );
}

}  // namespace

std::vector<std::uint16_t> packedBlocks( BlockTree const& tree, std::uint32_t widthBits, std::uint16_t reservedValue,
                                         ReservedValue kind ) {
  KIV_CHECK( widthBits <= kMaxWidth && tree.labelCount() < std::uint32_t{ 1 } << widthBits );
  std::uint32_t const reservedLabels = kind == ReservedValue::reachable ? 1 : 0;
  Rounding const rounding( tree, widthBits, reservedLabels );
  std::vector<std::uint16_t> values = Layout( tree, rounding, tree.labelCount() + reservedLabels ).values();
  std::uint16_t const place = kind == ReservedValue::reachable ? values.back() : leastFree( values, widthBits );
  values.resize( tree.labelCount() );
  for ( std::uint16_t& value : values ) value = static_cast<std::uint16_t>( value ^ place ^ reservedValue );
  return values;
}

}  // namespace Orvex
