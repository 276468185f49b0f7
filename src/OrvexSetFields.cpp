#include "Orvex/OrvexSetFields.h"

#include <algorithm>
#include <bit>

#include "Orvex/OrvexBlockCover.h"
#include "Orvex/OrvexNestedSets.h"

namespace Orvex {

namespace {

constexpr std::uint32_t kNone = ~std::uint32_t{ 0 };
/// A field that saves less than this part of the entries beyond the first is not worth another tree.
constexpr std::uint64_t kLeastShare = 128;

/// The sets that are left for the tree, over the labels that they tell apart.
struct TreeSets {
  std::vector<std::uint32_t> sets;     // of the whole family
  std::vector<std::uint32_t> placeOf;  // by label of the whole family; kNone: in none of the sets
  LabelFamily family;
};

TreeSets treeSets( LabelFamily const& whole, std::vector<std::uint32_t> sets ) {
  // By place: the set that divided it last, and the place that went to the set. Labels of no set so far are at place 0.
  std::vector<std::uint32_t> dividedBy{ kNone };
  std::vector<std::uint32_t> dividedTo{ kNone };
  std::vector<std::uint32_t> place( whole.labelCount(), 0 );
  for ( std::uint32_t const set : sets )
    for ( std::uint32_t const label : whole.labelsOf( set ) ) {
      std::uint32_t const from = place[label];
      if ( dividedBy[from] != set ) {
        dividedBy[from] = set;
        dividedTo[from] = static_cast<std::uint32_t>( dividedTo.size() );
        dividedBy.push_back( kNone );
        dividedTo.push_back( kNone );
      }
      place[label] = dividedTo[from];
    }
  std::vector<std::uint32_t> number( dividedTo.size(), kNone );
  std::uint32_t count = 0;
  for ( std::uint32_t& at : place ) {
    if ( at != 0 && number[at] == kNone ) number[at] = count++;
    at = number[at];
  }
  std::vector<std::vector<std::uint32_t>> members;
  std::vector<std::uint64_t> weights;
  for ( std::uint32_t const set : sets ) {
    std::vector<std::uint32_t>& own = members.emplace_back();
    for ( std::uint32_t const label : whole.labelsOf( set ) ) own.push_back( place[label] );
    std::sort( own.begin(), own.end() );
    own.erase( std::unique( own.begin(), own.end() ), own.end() );
    weights.push_back( whole.weightOf( set ) );
  }
  return { std::move( sets ), std::move( place ), LabelFamily( count, members, std::move( weights ) ) };
}

std::vector<std::uint32_t> without( std::vector<std::uint32_t> sets, std::vector<std::uint32_t> others ) {
  std::sort( others.begin(), others.end() );
  std::erase_if( sets, [&]( std::uint32_t set ) { return std::binary_search( others.begin(), others.end(), set ); } );
  return sets;
}

/// Sets without a common label, which differ in a field of some bits.
struct SetField {
  std::uint32_t bits = 0;
  std::vector<std::uint32_t> sets;  // the first has number 1
};

class FieldChooser {
 public:
  explicit FieldChooser( LabelFamily const& family ) : family_( family ) {}

  /// The sets that take the most entries too many, one after the other where they share no label with those before. Of the
  /// sizes that a field of so many bits can have, the one that saves most a bit.
  SetField field( TreeSets const& tree, PlacedSets const& placed, std::uint32_t mostBits ) const {
    std::vector<std::pair<std::uint64_t, std::uint32_t>> excess;
    for ( std::uint32_t at = 0; at != tree.sets.size(); ++at ) {
      std::uint64_t const entries = placed.blocks[at].size();
      if ( entries > 1 ) excess.emplace_back( tree.family.weightOf( at ) * ( entries - 1 ), tree.sets[at] );
    }
    std::stable_sort( excess.begin(), excess.end(), []( auto const& a, auto const& b ) { return a.first > b.first; } );
    SetField disjoint;
    std::vector<bool> taken( family_.labelCount(), false );
    std::uint64_t saved = 0;
    std::uint64_t best = 0;
    std::size_t bestCount = 0;
    for ( auto const& [entries, set] : excess ) {
      auto const labels = family_.labelsOf( set );
      if ( std::any_of( labels.begin(), labels.end(), [&]( std::uint32_t label ) { return taken[label]; } ) ) continue;
      for ( std::uint32_t const label : labels ) taken[label] = true;
      disjoint.sets.push_back( set );
      auto const bits = static_cast<std::uint32_t>( std::bit_width( disjoint.sets.size() ) );
      if ( bits > mostBits ) break;
      saved += entries;
      if ( saved / bits <= best ) continue;
      best = saved / bits;
      bestCount = disjoint.sets.size();
    }
    std::uint64_t all = 0;
    for ( auto const& [entries, set] : excess ) all += entries;
    if ( best * static_cast<std::uint64_t>( std::bit_width( bestCount ) ) < all / kLeastShare ) bestCount = 0;
    disjoint.sets.resize( bestCount );
    disjoint.bits = static_cast<std::uint32_t>( std::bit_width( bestCount ) );
    return disjoint;
  }

 private:
  LabelFamily const& family_;
};

/// A tree in the high bits, and fields in the low ones.
class FieldPlacement {
 public:
  FieldPlacement( LabelFamily const& family, std::uint32_t widthBits, std::uint16_t reservedValue )
      : family_( family ), widthBits_( widthBits ), reservedValue_( reservedValue ) {}

  PlacedSets placed( TreeSets const& tree, PlacedSets const& inTree, std::vector<SetField> const& fields ) const {
    std::uint32_t fieldBits = 0;
    for ( SetField const& field : fields ) fieldBits += field.bits;
    PlacedSets result;
    result.weightedEntries = inTree.weightedEntries;
    result.blocks.resize( family_.setCount() );
    result.values.assign( family_.labelCount(), reservedValue_ );
    for ( std::uint32_t label = 0; label != family_.labelCount(); ++label )
      if ( tree.placeOf[label] != kNone )
        result.values[label] =
            asValue( ( std::uint32_t{ inTree.values[tree.placeOf[label]] } << fieldBits ) ^ reservedValue_ );
    std::uint32_t shift = 0;
    for ( SetField const& field : fields ) {
      for ( std::uint32_t number = 1; number <= field.sets.size(); ++number ) {
        std::uint32_t const set = field.sets[number - 1];
        for ( std::uint32_t const label : family_.labelsOf( set ) )
          result.values[label] = asValue( result.values[label] ^ ( number << shift ) );
        result.blocks[set] = everywhere( number << shift, shift, shift + field.bits );
        result.weightedEntries += family_.weightOf( set );
      }
      shift += field.bits;
    }
    for ( std::uint32_t at = 0; at != tree.sets.size(); ++at )
      for ( EncodedLabelRange const& block : inTree.blocks[at] )
        result.blocks[tree.sets[at]].push_back(
            turned( std::uint32_t{ block.start } << fieldBits, ( std::uint32_t{ block.end } - block.start + 1 )
                                                                   << fieldBits ) );
    return result;
  }

 private:
  static std::uint16_t asValue( std::uint32_t value ) { return static_cast<std::uint16_t>( value ); }

  /// The block of so many values from `start`, turned to where the reserved value is what was 0.
  EncodedLabelRange turned( std::uint32_t start, std::uint32_t size ) const {
    std::uint32_t const first = ( start ^ reservedValue_ ) & ~( size - 1 );
    return { asValue( first ), asValue( first + size - 1 ) };
  }

  /// All values that have `bits` in the bits from `low` up to `high`.
  std::vector<EncodedLabelRange> everywhere( std::uint32_t bits, std::uint32_t low, std::uint32_t high ) const {
    std::vector<EncodedLabelRange> blocks;
    for ( std::uint32_t above = 0; above >> widthBits_ == 0; above += std::uint32_t{ 1 } << high )
      blocks.push_back( turned( above | bits, std::uint32_t{ 1 } << low ) );
    return blocks;
  }

  LabelFamily const& family_;
  std::uint32_t widthBits_;
  std::uint16_t reservedValue_;
};

}  // namespace

PlacedSets placedInBlocks( LabelFamily const& family, std::uint32_t widthBits, std::uint16_t reservedValue,
                           ReservedValue kind ) {
  PlacedSets placed;
  placed.values = packedBlocks( nestedSetsTree( family ), widthBits, reservedValue, kind );
  std::vector<std::uint16_t> taken = placed.values;
  if ( kind == ReservedValue::reachable ) taken.push_back( reservedValue );
  BlockCover const cover( widthBits, taken );
  std::vector<std::uint16_t> valuesOfSet;
  for ( std::uint32_t set = 0; set != family.setCount(); ++set ) {
    valuesOfSet.clear();
    for ( std::uint32_t const label : family.labelsOf( set ) ) valuesOfSet.push_back( placed.values[label] );
    placed.blocks.push_back( cover.blocksOf( valuesOfSet ) );
    placed.weightedEntries += family.weightOf( set ) * placed.blocks.back().size();
  }
  return placed;
}

PlacedSets placedWithFields( LabelFamily const& family, std::uint32_t widthBits, std::uint16_t reservedValue,
                             ReservedValue kind ) {
  PlacedSets best = placedInBlocks( family, widthBits, reservedValue, kind );
  bool const hasSpareBit = family.labelCount() >> ( widthBits - 1 ) == 0;
  if ( best.weightedEntries == family.weight() || !hasSpareBit ) return best;
  std::vector<std::uint32_t> all( family.setCount() );
  for ( std::uint32_t set = 0; set != all.size(); ++set ) all[set] = set;
  TreeSets tree = treeSets( family, all );
  // Labels that no set tells apart, which no transform makes, would come to lie on one value.
  if ( tree.family.labelCount() != family.labelCount() ) return best;
  PlacedSets inTree = best;
  std::vector<SetField> fields;
  std::uint32_t usedBits = 0;
  while ( fields.size() != kMostFields ) {
    // The tree keeps a value for each of its labels, and the reserved one.
    auto const neededBits = static_cast<std::uint32_t>( std::bit_width( tree.family.labelCount() ) );
    std::uint32_t const spareBits = std::min( widthBits - usedBits - neededBits, kMostFieldBits - usedBits );
    SetField const field = FieldChooser( family ).field( tree, inTree, spareBits );
    if ( field.bits == 0 ) break;
    fields.push_back( field );
    usedBits += field.bits;
    tree = treeSets( family, without( std::move( tree.sets ), field.sets ) );
    inTree = placedInBlocks( tree.family, widthBits - usedBits, 0, ReservedValue::reachable );
    PlacedSets placed = FieldPlacement( family, widthBits, reservedValue ).placed( tree, inTree, fields );
    if ( placed.weightedEntries >= best.weightedEntries ) break;
    best = std::move( placed );
  }
  return best;
}

}  // namespace Orvex
