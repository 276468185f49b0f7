#include "Orvex/OrvexNestedSets.h"

#include <algorithm>
#include <bit>

#include "Orvex/OrvexIntervalProgramme.h"
#include "Orvex/OrvexOverlapClasses.h"
#include "Orvex/OrvexPairing.h"

namespace Orvex {

namespace {

constexpr std::uint32_t kNone = ~std::uint32_t{ 0 };

class NestedSets {
 public:
  explicit NestedSets( LabelFamily const& family )
      : family_( family ), tree_( family.labelCount() ), partOfLabel_( family.labelCount(), kNone ) {}

  BlockTree tree() {
    OverlapClasses const classes( family_ );
    for ( std::uint32_t number = 0; number != classes.count(); ++number ) nest( classes.setsOf( number ) );
    arrange();
    return std::move( tree_ );
  }

 private:
  /// A class, as nodes that follow each other.
  struct Nested {
    std::uint32_t parent;
    std::uint32_t firstNode;
    std::uint32_t crossing;  // kNone for a class of one set
  };

  /// Outer classes have been nested before: a label hangs on the innermost part so far.
  void nest( std::span<std::uint32_t const> sets ) {
    std::uint32_t const parent = tree_.parentOfLabel( family_.labelsOf( sets.front() ).front() );
    nested_.push_back( { parent, tree_.nodeCount(), kNone } );
    if ( sets.size() == 1 ) {
      std::uint32_t const node = tree_.nodeIs( parent, family_.weightOf( sets.front() ) );
      for ( std::uint32_t const label : family_.labelsOf( sets.front() ) ) tree_.parentOfLabelIs( label, node );
      return;
    }
    nested_.back().crossing = static_cast<std::uint32_t>( crossings_.size() );
    crossings_.push_back( partsOf( sets ) );
    std::uint32_t const first = tree_.nodeCount();
    for ( std::uint32_t part = crossings_.back().partCount(); part != 0; --part ) tree_.nodeIs( parent, 0 );
    for ( std::uint32_t const set : sets )
      for ( std::uint32_t const label : family_.labelsOf( set ) ) {
        if ( partOfLabel_[label] == kNone ) continue;
        tree_.parentOfLabelIs( label, first + partOfLabel_[label] );
        partOfLabel_[label] = kNone;
      }
  }

  /// Cuts the labels of the class into parts, numbered by their first labels, and notes each label's.
  CrossingSets partsOf( std::span<std::uint32_t const> sets ) {
    std::vector<std::uint32_t> labels;
    // By part: the set that cut it last, and the part that went to the set. Labels that no set has had so far are part 0.
    std::vector<std::uint32_t> cutBy{ kNone };
    std::vector<std::uint32_t> cutTo{ kNone };
    for ( std::uint32_t const set : sets )
      for ( std::uint32_t const label : family_.labelsOf( set ) ) {
        if ( partOfLabel_[label] == kNone ) labels.push_back( label );
        std::uint32_t const from = partOfLabel_[label] == kNone ? 0 : partOfLabel_[label];
        if ( cutBy[from] != set ) {
          cutBy[from] = set;
          cutTo[from] = static_cast<std::uint32_t>( cutTo.size() );
          cutBy.push_back( kNone );
          cutTo.push_back( kNone );
        }
        partOfLabel_[label] = cutTo[from];
      }
    std::sort( labels.begin(), labels.end() );
    return numberedParts( sets, labels, cutTo.size() );
  }

  CrossingSets numberedParts( std::span<std::uint32_t const> sets, std::vector<std::uint32_t> const& labels,
                              std::size_t cuts ) {
    std::vector<std::uint32_t> numbers( cuts, kNone );
    std::uint32_t parts = 0;
    for ( std::uint32_t const label : labels ) {
      std::uint32_t& number = numbers[partOfLabel_[label]];
      if ( number == kNone ) number = parts++;
      partOfLabel_[label] = number;
    }
    std::vector<CrossingSets::Holding> holdings;
    std::vector<std::uint64_t> weights;
    std::vector<std::uint32_t> lastSet( parts, kNone );
    for ( std::uint32_t const set : sets ) {
      auto const number = static_cast<std::uint32_t>( weights.size() );
      weights.push_back( family_.weightOf( set ) );
      for ( std::uint32_t const label : family_.labelsOf( set ) ) {
        std::uint32_t const part = partOfLabel_[label];
        if ( lastSet[part] == number ) continue;
        lastSet[part] = number;
        holdings.push_back( { part, number } );
      }
    }
    return { parts, holdings, std::move( weights ) };
  }

  /// From the inside out: what a class needs must be known where it is a part of another.
  void arrange() {
    std::vector<std::uint64_t> values( tree_.nodeCount(), 0 );
    for ( std::uint32_t label = 0; label != tree_.labelCount(); ++label ) ++values[tree_.parentOfLabel( label )];
    for ( std::size_t at = nested_.size(); at-- != 0; ) {
      Nested const& nested = nested_[at];
      values[nested.parent] +=
          nested.crossing == kNone ? blockFor( values[nested.firstNode] ) : arrangeCrossing( nested, values );
    }
  }

  static std::uint64_t blockFor( std::uint64_t values ) {
    return values >= kLargestBlock ? kLargestBlock : std::bit_ceil( values );
  }

  /// The values of the blocks that are left side by side.
  std::uint64_t arrangeCrossing( Nested const& nested, std::vector<std::uint64_t> const& values ) {
    CrossingSets& crossing = crossings_[nested.crossing];
    std::uint32_t const partCount = crossing.partCount();
    std::vector<std::uint32_t> nodes( partCount );
    std::vector<std::uint64_t> sizes( partCount );
    for ( std::uint32_t part = 0; part != partCount; ++part ) {
      nodes[part] = nested.firstNode + part;
      std::uint64_t weight = 0;
      for ( std::uint32_t const set : crossing.setsOf( part ) ) weight += crossing.weights()[set];
      tree_.weightIs( nodes[part], weight );
      sizes[part] = blockFor( values[nodes[part]] );
      crossing.sizeOfIs( part, sizes[part] );
    }
    for ( Joint const& joint : jointsOf( crossing ) ) {
      std::uint32_t const node = tree_.nodeIs( nested.parent, joint.weight );
      for ( std::uint32_t const half : { joint.a, joint.b } ) {
        tree_.parentIs( nodes[half], node );
        tree_.weightIs( nodes[half], tree_.weight( nodes[half] ) - joint.weight );
      }
      nodes.push_back( node );
      sizes.push_back( joinedSize( sizes[joint.a], sizes[joint.b] ) );
      sizes[joint.a] = sizes[joint.b] = 0;
    }
    crossing = {};
    std::uint64_t all = 0;
    for ( std::uint64_t const size : sizes ) all += size;
    return all;
  }

  std::vector<Joint> jointsOf( CrossingSets const& crossing ) {
    if ( !areIntervals( crossing ) ) return pairingJoints( crossing );
    std::uint64_t const parts = crossing.partCount();
    std::uint64_t const sums = parts * parts * parts / 6;
    if ( parts > kProgrammeParts || sums > work_ ) return neighbourJoints( crossing );
    work_ -= sums;
    return intervalJoints( crossing );
  }

  LabelFamily const& family_;
  BlockTree tree_;
  std::vector<std::uint32_t> partOfLabel_;  // within the class at hand
  std::vector<Nested> nested_;
  std::vector<CrossingSets> crossings_;
  std::uint64_t work_ = kProgrammeWork;
};

}  // namespace

BlockTree nestedSetsTree( LabelFamily const& family ) { return NestedSets( family ).tree(); }

}  // namespace Orvex
