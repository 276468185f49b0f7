#include "verify/KeyTables.h"

#include <algorithm>
#include <map>
#include <string>

#include "Kiv/Value.h"

namespace Orvex::Verify {

namespace {

using Host::Field;

/// Calls `visit( first, last )` for each block of neighbouring labels that match, ascending. The bits below the lowest
/// bit of the mask make a block; every choice of the other bits that are not in the mask is one.
template <class Visit>
void forEachBlock( EncodedLabelWithMask const& entry, Visit const& visit ) {
  std::uint32_t const mask = entry.mask.value();
  std::uint32_t const blockSize = mask == 0 ? 0x10000 : mask & ( ~mask + 1 );
  std::uint32_t const choices = 0xFFFF & ~mask & ~( blockSize - 1 );
  std::uint32_t chosen = 0;
  do {
    std::uint32_t const first = ( entry.label.value() & mask ) | chosen;
    visit( first, first + blockSize - 1 );
    chosen = ( chosen - choices ) & choices;
  } while ( chosen != 0 );
}

bool matchesOne( std::vector<EncodedLabelWithMask> const& list, std::uint16_t label ) {
  return std::any_of( list.begin(), list.end(), [label]( EncodedLabelWithMask const& entry ) {
    return ( ( entry.label.value() ^ label ) & entry.mask.value() ) == 0;
  } );
}

bool matchesAll( std::vector<EncodedLabelWithMask> const& list ) {
  return std::any_of( list.begin(), list.end(),
                      []( EncodedLabelWithMask const& entry ) { return entry.mask.value() == 0; } );
}

std::uint32_t wordOf( EncodedLabelWithMask const& entry ) {
  return std::uint32_t{ entry.mask.value() } << 16 | entry.label.value();
}

std::vector<std::pair<std::uint16_t, AtomSet>> canonicalLabels(
    std::map<std::uint16_t, std::vector<Interval>>&& atoms ) {
  std::vector<std::pair<std::uint16_t, AtomSet>> labels;
  labels.reserve( atoms.size() );
  for ( auto& [label, intervals] : atoms ) labels.emplace_back( label, canonical( std::move( intervals ) ) );
  return labels;
}

std::vector<Stretch> tableStretches( PDData const& snapshot, TableShape const& shape, PrefixXformKey side ) {
  if ( !shape.prefix( side ).on ) return { { 0, 0 } };
  std::vector<PrefixValue> prefixes;
  if ( auto const table = snapshot.pdPrefixXformEntryColl().find( side ) )
    for ( auto const& [prefix, entry] : table->entry() )
      if ( prefix.af() == side.af() ) prefixes.push_back( { prefix, entry.value.value() } );
  return stretchesOf( prefixes, shape.prefix( side ).invalid );
}

}  // namespace

std::size_t KeyTables::WordsHash::operator()( std::vector<std::uint32_t> const& words ) const {
  std::uint64_t hash = words.size();
  for ( std::uint32_t const word : words ) hash = ( hash ^ word ) * 0x9E3779B97F4A7C15U + ( hash >> 29 );
  return hash ^ hash >> 32;
}

// Reading the tables

KeyTables::KeyTables( PDData const& snapshot, TableShape const& shape, PacketSpace& space, Spending& spending )
    : space_( space ), sets_( space.sets() ), spending_( spending ) {
  std::array<std::vector<Stretch>, 2> stretches;
  for ( std::size_t const side : { kSourceDimension, kDestinationDimension } ) {
    stretches[side] = tableStretches( snapshot, shape, PrefixXformKey( space.family(), side == kSourceDimension ) );
    space.cutAt( side, stretches[side] );
  }
  space.settle();
  for ( std::size_t const side : { kSourceDimension, kDestinationDimension } ) {
    std::vector<Interval> const intervals = space.addresses( side ).atomsOf( stretches[side] );
    std::map<std::uint16_t, std::vector<Interval>> atoms;
    for ( std::size_t at = 0; at != intervals.size(); ++at )
      atoms[static_cast<std::uint16_t>( stretches[side][at].value )].push_back( intervals[at] );
    keys_[side].labels = canonicalLabels( std::move( atoms ) );
  }
  for ( Field const field : Host::kFields ) readRanges( snapshot, shape, field );
  keys_[kFlagsDimension].isValue = true;
  keys_[kFlagsDimension].maximum = 0xFF;
  auto const combo = space.family() == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix
                                                                 : ComboLabelSetType::ipv6SrcDstPrefix;
  readCombination( snapshot, shape, combo, kSourceDimension, kDestinationDimension );
  readCombination( snapshot, shape, ComboLabelSetType::srcDstL4Port, dimensionOf( Field::sport ),
                   dimensionOf( Field::dport ) );
}

void KeyTables::readRanges( PDData const& snapshot, TableShape const& shape, Field field ) {
  Key& key = keys_[dimensionOf( field )];
  key.maximum = Host::maximumOf( field );
  key.isValue = !shape.ranges[field].on;
  if ( key.isValue ) return;
  std::map<std::uint16_t, std::vector<Interval>> atoms;
  std::vector<Interval>& unlabelled = atoms[shape.ranges[field].invalid];
  std::uint32_t next = 0;  // the first value that no range has had
  for ( auto const& [range, entry] :
        snapshot.rangeEntryColl( static_cast<RangeSetType>( Kiv::enumValue( field ) ) )->entry() ) {
    if ( range.first() > key.maximum ) break;
    if ( range.first() < next )
      throw Undecided( "the " + std::string( Kiv::stringValue( field ) ) + " table has two labels for value " +
                       std::to_string( range.first() ) );
    if ( range.first() > next ) unlabelled.push_back( { next, range.first() - 1U } );
    std::uint32_t const last = std::min<std::uint32_t>( range.last(), key.maximum );
    atoms[entry.value.value()].push_back( { range.first(), last } );
    next = last + 1;
  }
  if ( next <= key.maximum ) unlabelled.push_back( { next, key.maximum } );
  if ( unlabelled.empty() ) atoms.erase( shape.ranges[field].invalid );
  key.labels = canonicalLabels( std::move( atoms ) );
}

void KeyTables::readCombination( PDData const& snapshot, TableShape const& shape, ComboLabelSetType type,
                                 std::size_t source, std::size_t destination ) {
  Combination& combination = source == kSourceDimension ? prefixes_ : ports_;
  combination = { shape.combo( type ), source, destination, {} };
  if ( !combination.shape.on ) return;
  if ( keys_[source].isValue || keys_[destination].isValue )
    throw Undecided( std::string( Kiv::stringValue( type ) ) + " combines values that have no labels" );
  auto const has = [&]( std::size_t dimension, std::uint16_t label ) {
    auto const& labels = keys_[dimension].labels;
    auto const at = std::lower_bound( labels.begin(), labels.end(), Labelled( label, {} ) );
    return at != labels.end() && at->first == label;
  };
  for ( auto const& [pair, entry] : snapshot.comboEntryColl( type )->entry() )
    if ( has( source, pair.srcLabel.value() ) && has( destination, pair.dstLabel.value() ) )
      combination.rows.push_back( { pair.srcLabel.value(), pair.dstLabel.value(), entry.value.value() } );
  std::stable_sort( combination.rows.begin(), combination.rows.end(),
                    []( auto const& a, auto const& b ) { return a.label < b.label; } );
}

// From entries to packets

std::span<Box const> KeyTables::boxesOf( Projections const& lists ) {
  enum EntryField : std::size_t { source, destination, prefixCombo, sport, dport, portCombo, others, head = 12, flags };
  boxes_.clear();
  Box box = space_.all();
  box[kSourceDimension] = atomsOf( kSourceDimension, lists[source] );
  box[kDestinationDimension] = atomsOf( kDestinationDimension, lists[destination] );
  box[dimensionOf( Field::sport )] = atomsOf( dimensionOf( Field::sport ), lists[sport] );
  box[dimensionOf( Field::dport )] = atomsOf( dimensionOf( Field::dport ), lists[dport] );
  for ( std::size_t at = others; at != head; ++at ) {
    std::size_t const dimension = dimensionOf( Field::icmpType ) + at - others;
    box[dimension] = atomsOf( dimension, lists[at] );
  }
  AtomSets::Id& fragment = box[dimensionOf( Field::fragment )];
  fragment = sets_.intersection( fragment, fragmentsOf( lists[head] ) );
  box[kFlagsDimension] = atomsOf( kFlagsDimension, lists[flags] );
  if ( std::find( box.begin(), box.end(), AtomSets::kEmpty ) != box.end() ) return boxes_;

  Pair const addresses( box[kSourceDimension], box[kDestinationDimension] );
  Pair const ports( box[dimensionOf( Field::sport )], box[dimensionOf( Field::dport )] );
  for ( auto const& [sources, destinations] : pairsOf( prefixes_, lists[prefixCombo], addresses ) )
    for ( auto const& [sports, dports] : pairsOf( ports_, lists[portCombo], ports ) ) {
      box[kSourceDimension] = sources;
      box[kDestinationDimension] = destinations;
      boxes_.push_back( box );
      boxes_.back()[dimensionOf( Field::sport )] = sports;
      boxes_.back()[dimensionOf( Field::dport )] = dports;
    }
  return boxes_;
}

AtomSets::Id KeyTables::atomsOf( std::size_t dimension, List const& list ) {
  if ( matchesAll( list ) ) return space_.all()[dimension];
  words_.resize( list.size() );
  std::transform( list.begin(), list.end(), words_.begin(), wordOf );
  auto const [known, isNew] = lists_[dimension].try_emplace( words_, AtomSets::kEmpty );
  if ( !isNew ) return known->second;
  Key const& key = keys_[dimension];
  std::vector<Interval> atoms;
  for ( EncodedLabelWithMask const& entry : list ) {
    spending_.step( sets_ );
    forEachBlock( entry, [&]( std::uint32_t first, std::uint32_t last ) {
      if ( key.isValue ) {
        if ( first <= key.maximum ) atoms.push_back( { first, std::min( last, key.maximum ) } );
        return;
      }
      auto at = std::lower_bound( key.labels.begin(), key.labels.end(), first,
                                  []( Labelled const& label, std::uint32_t value ) { return label.first < value; } );
      for ( ; at != key.labels.end() && at->first <= last; ++at )
        atoms.insert( atoms.end(), at->second.begin(), at->second.end() );
    } );
  }
  return known->second = sets_.idOf( std::move( atoms ) );
}

/// The fragment offsets of which the head-fragment key matches: it is 1 for offset 0, and 0 for all others.
AtomSets::Id KeyTables::fragmentsOf( List const& headFragment ) {
  AtomSets::Id const all = space_.all()[dimensionOf( Field::fragment )];
  if ( !matchesOne( headFragment, 0 ) ) return matchesOne( headFragment, 1 ) ? space_.headFragment() : AtomSets::kEmpty;
  return matchesOne( headFragment, 1 ) ? all : sets_.difference( all, space_.headFragment() );
}

// Combinations

/// The pairs within two sets of atoms of which the combination's key matches, as disjoint products; they stay until the
/// next call, and `within` with them.
std::span<KeyTables::Pair const> KeyTables::pairsOf( Combination const& combination, List const& list,
                                                     Pair const& within ) {
  if ( matchesAll( list ) ) return { &within, 1 };
  if ( !combination.shape.on ) return { &within, matchesOne( list, 0 ) ? 1U : 0U };
  words_ = { static_cast<std::uint32_t>( within.first ), static_cast<std::uint32_t>( within.second ) };
  std::transform( list.begin(), list.end(), std::back_inserter( words_ ), wordOf );
  auto const [known, isNew] = pairs_[&combination == &prefixes_ ? 0 : 1].try_emplace( words_ );
  if ( isNew ) known->second = groupedPairs( combination, list, within );
  return known->second;
}

std::vector<KeyTables::Pair> KeyTables::groupedPairs( Combination const& combination, List const& list,
                                                      Pair const& within ) {
  using Row = Combination::Row;
  using Labels = std::vector<std::uint16_t>;
  bool const matchesUnlisted = matchesOne( list, combination.shape.invalid );
  // For each source label: the destination labels of which the pair is listed and matches, or, where pairs that are not
  // listed match, those of which it is listed and does not.
  std::map<std::uint16_t, Labels> destinations;
  auto const add = [&]( Row const& row ) { destinations[row.source].push_back( row.destination ); };
  if ( matchesUnlisted ) {
    for ( auto const& labelled : keys_[combination.sourceDimension].labels ) destinations[labelled.first];
    for ( Row const& row : combination.rows )
      if ( !matchesOne( list, row.label ) ) add( row );
  } else {
    std::vector<Interval> matching;
    for ( EncodedLabelWithMask const& entry : list )
      forEachBlock( entry, [&]( std::uint32_t first, std::uint32_t last ) { matching.push_back( { first, last } ); } );
    for ( Interval const labels : canonical( std::move( matching ) ) )
      for ( auto row = std::lower_bound( combination.rows.begin(), combination.rows.end(), labels.first,
                                         []( Row const&a, std::uint32_t label ) { return a.label < label; } );
            row != combination.rows.end() && row->label <= labels.last; ++row )
        add( *row );
  }
  std::map<Labels, Labels> groups;  // sources by their destinations
  for ( auto& [source, labels] : destinations ) {
    std::sort( labels.begin(), labels.end() );
    groups[labels].push_back( source );
  }
  std::vector<Pair> pairs;
  for ( auto const& [labels, sources] : groups ) {
    AtomSets::Id const listed = atomsWith( combination.destinationDimension, labels );
    Pair const pair(
        sets_.intersection( within.first, atomsWith( combination.sourceDimension, sources ) ),
        matchesUnlisted ? sets_.difference( within.second, listed ) : sets_.intersection( within.second, listed ) );
    if ( pair.first != AtomSets::kEmpty && pair.second != AtomSets::kEmpty ) pairs.push_back( pair );
  }
  return pairs;
}

/// The atoms that have one of the labels. Requires: each is one that packets have.
AtomSets::Id KeyTables::atomsWith( std::size_t dimension, std::span<std::uint16_t const> labels ) {
  auto const& labelled = keys_[dimension].labels;
  std::vector<Interval> atoms;
  for ( std::uint16_t const label : labels ) {
    auto const at = std::lower_bound( labelled.begin(), labelled.end(), Labelled( label, {} ) );
    atoms.insert( atoms.end(), at->second.begin(), at->second.end() );
  }
  return sets_.idOf( std::move( atoms ) );
}

}  // namespace Orvex::Verify
