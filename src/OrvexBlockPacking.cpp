#include "Orvex/OrvexBlockPacking.h"

#include <algorithm>
#include <array>
#include <bit>

#include "Kiv/FatalCheck.h"
#include "Orvex/OrvexBlockRounding.h"

namespace Orvex {

namespace {

constexpr std::uint32_t kNone = ~std::uint32_t{ 0 };
constexpr std::uint32_t kMaxWidth = 16;

/// Blocks inside blocks, and where each label comes to lie.
class Layout {
 public:
  Layout( BlockTree const& tree, BlockRounding const& rounding, std::uint32_t labels )
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
  std::array<std::uint32_t, kMaxWidth + 1> buckets_{};  // by height; all empty between two nodes
  std::uint32_t heights_ = 0;                           // a bit for each bucket that is not empty
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
  BlockRounding const rounding( tree, widthBits, reservedLabels );
  std::vector<std::uint16_t> values = Layout( tree, rounding, tree.labelCount() + reservedLabels ).values();
  std::uint16_t const place = kind == ReservedValue::reachable ? values.back() : leastFree( values, widthBits );
  values.resize( tree.labelCount() );
  for ( std::uint16_t& value : values ) value = static_cast<std::uint16_t>( value ^ place ^ reservedValue );
  return values;
}

}  // namespace Orvex
