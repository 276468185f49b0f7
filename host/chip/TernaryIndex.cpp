#include "chip/TernaryIndex.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace Orvex::Host {

namespace {

constexpr std::size_t kLeafEntries = 8;
constexpr std::size_t kSample = 512;
constexpr std::uint32_t kBits = 256;
constexpr std::uint32_t kNone = ~std::uint32_t{ 0 };

bool bitOf( PackedKey const& key, std::uint32_t bit ) { return ( key[bit / 64] >> ( bit % 64 ) & 1U ) != 0; }

}  // namespace

class TernaryIndex::Builder {
 public:
  Builder( std::vector<Entry> const& list, TernaryIndex& index ) : list_( list ), index_( index ) {}

  void build() {
    std::vector<std::uint32_t> places( list_.size() );
    for ( std::uint32_t place = 0; place != places.size(); ++place ) places[place] = place;
    index_.entries_.reserve( places.size() );
    index_.places_.reserve( places.size() );
    addNode( places );
  }

 private:
  using Places = std::vector<std::uint32_t>;

  /// Places ascend, and there is one at least.
  std::uint32_t addNode( Places const& places ) {
    auto const node = static_cast<std::uint32_t>( index_.nodes_.size() );
    index_.nodes_.push_back( { places.front(), 0, {}, 0, 0 } );
    if ( places.size() > kLeafEntries )
      if ( auto const bit = bestBit( places ) )
        if ( addParts( node, *bit, places ) ) return node;
    addLeaf( node, places );
    return node;
  }

  /// False when all entries would go into one part.
  bool addParts( std::uint32_t node, std::uint32_t bit, Places const& places ) {
    std::array<Places, 3> parts;
    for ( std::uint32_t const place : places ) {
      Entry const& entry = list_[place];
      parts[!bitOf( entry.mask, bit ) ? 2 : bitOf( entry.value, bit ) ? 1 : 0].push_back( place );
    }
    if ( std::any_of( parts.begin(), parts.end(), [&]( Places const& part ) { return part.size() == places.size(); } ) )
      return false;
    index_.nodes_[node].bit = bit;
    for ( std::size_t part = 0; part != parts.size(); ++part ) {
      if ( parts[part].empty() ) continue;
      std::uint32_t const child = addNode( parts[part] );
      index_.nodes_[node].parts[part] = child;
      Places().swap( parts[part] );
    }
    return true;
  }

  void addLeaf( std::uint32_t node, Places const& places ) {
    index_.nodes_[node].begin = static_cast<std::uint32_t>( index_.entries_.size() );
    index_.nodes_[node].count = static_cast<std::uint32_t>( places.size() );
    for ( std::uint32_t const place : places ) {
      index_.entries_.push_back( list_[place] );
      index_.places_.push_back( place );
    }
  }

  /// The bit by which a key is left with the fewest entries, if that is worth a node.
  std::optional<std::uint32_t> bestBit( Places const& places ) const {
    std::array<std::array<std::uint32_t, 2>, kBits> wanting{};  // by bit, then by the value wanted
    std::size_t const step = places.size() / kSample + 1;
    std::size_t sampled = 0;
    for ( std::size_t at = 0; at < places.size(); at += step, ++sampled ) {
      Entry const& entry = list_[places[at]];
      for ( std::uint32_t word = 0; word != entry.mask.size(); ++word )
        for ( std::uint64_t left = entry.mask[word]; left != 0; left &= left - 1 ) {
          auto const bit = static_cast<std::uint32_t>( std::countr_zero( left ) );
          ++wanting[word * 64 + bit][entry.value[word] >> bit & 1U];
        }
    }
    double fewest = 0.95 * static_cast<double>( sampled );
    std::optional<std::uint32_t> best;
    for ( std::uint32_t bit = 0; bit != kBits; ++bit ) {
      double const zeros = wanting[bit][0];
      double const ones = wanting[bit][1];
      double const others = static_cast<double>( sampled ) - zeros - ones;
      if ( zeros + ones == 0 ) continue;
      double const left = others + ( zeros * zeros + ones * ones ) / ( zeros + ones );
      if ( left >= fewest ) continue;
      fewest = left;
      best = bit;
    }
    return best;
  }

  std::vector<Entry> const& list_;
  TernaryIndex& index_;
};

TernaryIndex::TernaryIndex( std::vector<Entry> const& entries ) {
  if ( !entries.empty() ) Builder( entries, *this ).build();
}

std::optional<std::uint32_t> TernaryIndex::find( PackedKey const& key ) const {
  std::uint32_t best = kNone;
  if ( !nodes_.empty() ) search( nodes_.front(), key, best );
  return best == kNone ? std::nullopt : std::optional( best );
}

/// Improves on the best place that is known.
void TernaryIndex::search( Node const& node, PackedKey const& key, std::uint32_t& best ) const {
  if ( node.count != 0 ) {
    for ( std::uint32_t at = node.begin; at != node.begin + node.count && places_[at] < best; ++at )
      if ( entries_[at].agrees( key ) ) best = places_[at];
    return;
  }
  std::uint32_t first = node.parts[bitOf( key, node.bit ) ? 1 : 0];
  std::uint32_t second = node.parts[2];
  if ( first != 0 && second != 0 && nodes_[second].firstPlace < nodes_[first].firstPlace ) std::swap( first, second );
  for ( std::uint32_t const part : { first, second } )
    if ( part != 0 && nodes_[part].firstPlace < best ) search( nodes_[part], key, best );
}

}  // namespace Orvex::Host
