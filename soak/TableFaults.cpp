#include "TableFaults.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Orvex::Host::Test {

namespace {

using EntryField = EncodedLabelWithMask PDAclFilter::*;
constexpr std::array<EntryField, PDAclFilter::kFields> kMembers = {
    &PDAclFilter::source,       &PDAclFilter::destination, &PDAclFilter::prefixCombo, &PDAclFilter::sport,
    &PDAclFilter::dport,        &PDAclFilter::portCombo,   &PDAclFilter::icmpType,    &PDAclFilter::proto,
    &PDAclFilter::length,       &PDAclFilter::fragment,    &PDAclFilter::dscp,        &PDAclFilter::ttl,
    &PDAclFilter::headFragment, &PDAclFilter::tcpFlag };

template <class Coll>
void copyRows( Coll const& from, Coll& to ) {
  for ( auto const& [key, entry] : from.entry() ) to.entryIs( entry );
}

std::vector<RangeSetType> rangeTypes() {
  std::vector<RangeSetType> types( kFields.size() );
  std::transform( kFields.begin(), kFields.end(), types.begin(),
                  []( Field field ) { return static_cast<RangeSetType>( Kiv::enumValue( field ) ); } );
  return types;
}

std::vector<ComboLabelSetType> comboTypes() {
  return { ComboLabelSetType::ipv4SrcDstPrefix, ComboLabelSetType::ipv6SrcDstPrefix, ComboLabelSetType::srcDstL4Port };
}

/// Calls `change` with one of the table's collections that have at least so many rows; false when there is none.
template <class Change>
bool changeATable( TableCopy& table, Random& random, std::size_t leastRows, Change const& change ) {
  std::vector<Kiv::Ptr<PDPrefixXformEntryColl>> prefixes;
  for ( auto coll = table.data->pdPrefixXformEntryColl().begin(); coll; ++coll )
    if ( coll.value()->entry().size() >= leastRows ) prefixes.push_back( coll.value() );
  std::vector<Kiv::Ptr<PDRangeXformEntryColl>> ranges;
  for ( auto const type : rangeTypes() )
    if ( table.data->rangeEntryColl( type )->entry().size() >= leastRows )
      ranges.push_back( table.data->rangeEntryColl( type ) );
  std::vector<Kiv::Ptr<PDComboEntryColl>> combos;
  for ( auto const type : comboTypes() )
    if ( table.data->comboEntryColl( type )->entry().size() >= leastRows )
      combos.push_back( table.data->comboEntryColl( type ) );
  std::size_t const count = prefixes.size() + ranges.size() + combos.size();
  if ( count == 0 ) return false;
  std::size_t const at = random.below( count );
  if ( at < prefixes.size() )
    change( *prefixes[at] );
  else if ( at < prefixes.size() + ranges.size() )
    change( *ranges[at - prefixes.size()] );
  else
    change( *combos[at - prefixes.size() - ranges.size()] );
  return true;
}

template <class Coll>
auto rowsOf( Coll const& coll ) {
  std::vector<std::pair<typename Coll::Key, EncodedLabel>> rows;
  for ( auto const& [key, entry] : coll.entry() ) rows.emplace_back( key, entry.value );
  return rows;
}

template <class Coll>
void setRow( Coll& coll, typename Coll::Key const& key, EncodedLabel label ) {
  coll.entryIs( { key, label } );
}

/// A key beside one of the table's, in its last bits, so that it shadows or continues another one.
Vell::IpGenPrefix neighbour( Vell::IpGenPrefix const& key, Random& random ) {
  std::uint32_t const width = Vell::addressWidthBits( key.af() );
  std::uint32_t const length = std::min( width, key.length() + random.between( 0, 2 ) );
  std::uint64_t const bit = length == 0 ? 0 : random.below( 2 );
  if ( key.af() == Vell::AddressFamily::ipv4 )
    return { key.ipv4Address() ^ static_cast<std::uint32_t>( length == 0 ? 0 : bit << ( 32 - length ) ), length };
  Vell::Ip6Addr const address = key.ipv6Address();
  if ( length == 0 || length > 64 ) return { Vell::Ip6Addr( address.high(), address.low() ^ bit ), length };
  return { Vell::Ip6Addr( address.high() ^ bit << ( 64 - length ), address.low() ), length };
}
RangeSetElem neighbour( RangeSetElem const& key, Random& random ) {
  std::uint32_t const first = std::min( 65535U, key.last() + random.between( 1, 3 ) );
  return { static_cast<std::uint16_t>( first ),
           static_cast<std::uint16_t>( std::min( 65535U, first + random.between( 0, 2 ) ) ) };
}
EncodedComboLabel neighbour( EncodedComboLabel const& key, Random& random ) {
  auto const flipped = static_cast<std::uint16_t>( key.srcLabel.value() ^ 1U << random.below( 3 ) );
  return { EncodedLabel( flipped ), key.dstLabel };
}

struct PlacedRule {
  Kiv::Ptr<PDAclRuleColl> acl;
  Kiv::Ptr<PDAclRule> rule;
};

std::vector<PlacedRule> rulesOf( TableCopy const& table ) {
  std::vector<PlacedRule> rules;
  for ( auto acl = table.acls->pdAcl().begin(); acl; ++acl )
    for ( auto const& [index, rule] : acl.value()->rule() ) rules.push_back( { acl.value(), rule } );
  std::sort( rules.begin(), rules.end(), []( PlacedRule const& a, PlacedRule const& b ) {
    return std::pair( a.acl->key(), a.rule->index() ) < std::pair( b.acl->key(), b.rule->index() );
  } );
  return rules;
}

std::vector<PlacedRule> rulesWithEntries( TableCopy const& table ) {
  auto rules = rulesOf( table );
  std::erase_if( rules, []( PlacedRule const& placed ) { return placed.rule->filter().empty(); } );
  return rules;
}

bool changeAnEntry( TableCopy& table, TableFault fault, Random& random ) {
  auto const rules = rulesWithEntries( table );
  if ( rules.empty() ) return false;
  PlacedRule const& placed = random.oneOf( rules );
  std::vector<PDAclFilter> const entries( placed.rule->filter().begin(), placed.rule->filter().end() );
  PDAclFilter const old = random.oneOf( entries );
  if ( fault == TableFault::entryOfAnotherRule ) {
    PDAclRule const& other = *random.oneOf( rules ).rule;
    std::vector<PDAclFilter> const others( other.filter().begin(), other.filter().end() );
    placed.rule->filterIs( random.oneOf( others ) );
    return true;
  }
  placed.rule->filterDel( old );
  if ( fault == TableFault::droppedEntry ) return true;
  PDAclFilter changed = old;
  bool const narrows = fault == TableFault::narrowedMask;
  std::vector<std::pair<EntryField, std::uint16_t>> bits;
  for ( EntryField const member : kMembers )
    for ( std::uint32_t bit = 1; bit <= 0x8000; bit <<= 1 )
      if ( ( ( ( old.*member ).mask.value() & bit ) == 0 ) == narrows )
        bits.emplace_back( member, static_cast<std::uint16_t>( bit ) );
  if ( bits.empty() ) return false;
  auto const [member, bit] = random.oneOf( bits );
  EncodedLabelWithMask& field = changed.*member;
  if ( fault == TableFault::flippedLabelBit ) {
    field.label = EncodedLabel( static_cast<std::uint16_t>( field.label.value() ^ bit ) );
  } else {
    field.mask = LabelMask( static_cast<std::uint16_t>( field.mask.value() ^ bit ) );
    field.label = EncodedLabel( static_cast<std::uint16_t>( field.label.value() & field.mask.value() ) );
  }
  placed.rule->filterIs( changed );
  return true;
}

bool changeARow( TableCopy& table, TableFault fault, Random& random ) {
  return changeATable( table, random, fault == TableFault::swappedRowLabels ? 2 : 1, [&]( auto& coll ) {
    auto const rows = rowsOf( coll );
    auto const& [key, label] = random.oneOf( rows );
    auto const& [otherKey, otherLabel] = random.oneOf( rows );
    switch ( fault ) {
      case TableFault::swappedRowLabels:
        setRow( coll, key, otherLabel );
        return setRow( coll, otherKey, label );
      case TableFault::changedRowLabel:
        return setRow( coll, key,
                       EncodedLabel( static_cast<std::uint16_t>( label.value() ^ 1U << random.below( 16 ) ) ) );
      case TableFault::droppedRow:
        return coll.entryDel( key );
      default:
        return setRow( coll, neighbour( key, random ), otherLabel );
    }
  } );
}

bool changeARule( TableCopy& table, TableFault fault, Random& random ) {
  auto const rules = rulesOf( table );
  if ( rules.empty() ) return false;
  PlacedRule const& placed = random.oneOf( rules );
  if ( fault == TableFault::droppedRule ) {
    placed.acl->ruleDel( placed.rule->index() );
    return true;
  }
  if ( fault == TableFault::swappedRules ) {
    PDAclRule& other = *random.oneOf( rules ).rule;
    auto const entries = placed.rule->filter();
    auto const action = placed.rule->action();
    placed.rule->filterIs( { other.filter().begin(), other.filter().end() } );
    placed.rule->actionIs( other.action() );
    other.filterIs( { entries.begin(), entries.end() } );
    other.actionIs( action );
    return true;
  }
  OrvexActionValue action = placed.rule->action();
  std::vector<bool*> const flags = { &action.dropEnabled, &action.logEnabled, &action.setDscpEnabled,
                                     &action.setTcEnabled, &action.sflowEnabled };
  bool& flag = *random.oneOf( flags );
  flag = !flag;
  placed.rule->actionIs( action );
  return true;
}

bool changeADefault( TableCopy& table, Random& random ) {
  std::vector<PDAclKey> keys;
  for ( auto const& [key, action] : table.defaults ) keys.push_back( key );
  if ( keys.empty() ) return false;
  auto& action = table.defaults.at( random.oneOf( keys ) );
  action = action == DefaultAction::deny ? DefaultAction::permit : DefaultAction::deny;
  return true;
}

bool changeAnInvalidLabel( TableCopy& table, Random& random ) {
  std::vector<Verify::TableShape::Table*> on;
  for ( auto& family : table.shape.prefixes )
    for ( auto& side : family ) on.push_back( &side );
  for ( Field const field : kFields ) on.push_back( &table.shape.ranges[field] );
  for ( auto& combo : table.shape.combos ) on.push_back( &combo );
  std::erase_if( on, []( auto const* shape ) { return !shape->on; } );
  if ( on.empty() ) return false;
  auto& invalid = random.oneOf( on )->invalid;
  invalid = static_cast<std::uint16_t>( invalid ^ 1U << random.below( 4 ) );
  return true;
}

}  // namespace

TableCopy::TableCopy( PDData const& snapshot, Verify::TableShape const& tableShape, Verify::DefaultActions actions )
    : shape( tableShape ), defaults( std::move( actions ) ) {
  for ( auto coll = snapshot.pdPrefixXformEntryColl().begin(); coll; ++coll )
    copyRows( *coll.value(), *data->pdPrefixXformEntryCollIs( coll.key() ) );
  for ( auto const type : rangeTypes() ) copyRows( *snapshot.rangeEntryColl( type ), *data->rangeEntryColl( type ) );
  for ( auto const type : comboTypes() ) copyRows( *snapshot.comboEntryColl( type ), *data->comboEntryColl( type ) );
  if ( snapshot.pdAclColl() )
    for ( auto acl = snapshot.pdAclColl()->pdAcl().begin(); acl; ++acl )
      for ( auto const& [index, rule] : acl.value()->rule() ) {
        auto const copy = acls->pdAclIs( acl.key() )->ruleIs( index );
        copy->actionIs( rule->action() );
        copy->filterIs( { rule->filter().begin(), rule->filter().end() } );
      }
  data->pdAclCollIs( acls );
}

bool inject( TableCopy& table, TableFault fault, Random& random ) {
  switch ( fault ) {
    case TableFault::droppedEntry:
    case TableFault::entryOfAnotherRule:
    case TableFault::widenedMask:
    case TableFault::narrowedMask:
    case TableFault::flippedLabelBit:
      return changeAnEntry( table, fault, random );
    case TableFault::swappedRowLabels:
    case TableFault::changedRowLabel:
    case TableFault::droppedRow:
    case TableFault::staleRow:
      return changeARow( table, fault, random );
    case TableFault::swappedRules:
    case TableFault::droppedRule:
    case TableFault::wrongAction:
      return changeARule( table, fault, random );
    case TableFault::wrongDefault:
      return changeADefault( table, random );
    case TableFault::changedInvalidLabel:
      return changeAnInvalidLabel( table, random );
  }
  return false;
}

Acl withBoundariesOf( TableCopy const& table, Acl acl ) {
  auto const listOf = [&]( bool source ) -> SharedPrefixList {
    PrefixList list;
    if ( auto const coll = table.data->pdPrefixXformEntryColl().find( PrefixXformKey( acl.family, source ) ) )
      for ( auto const& [prefix, entry] : coll->entry() ) list.prefixes.push_back( prefix );
    return std::make_shared<PrefixList const>( std::move( list ) );
  };
  Rule rows;
  rows.source = listOf( true );
  rows.destination = listOf( false );
  for ( Field const field : kFields ) {
    for ( auto const& [range, entry] :
          table.data->rangeEntryColl( static_cast<RangeSetType>( Kiv::enumValue( field ) ) )->entry() )
      if ( range.first() <= maximumOf( field ) )
        rows.ranges[field].push_back( { range.first(), std::min<std::uint32_t>( range.last(), maximumOf( field ) ) } );
  }
  Rule byValue;
  constexpr std::array<EntryField, kFieldCount> kFieldMembers = {
      &PDAclFilter::sport,  &PDAclFilter::dport,    &PDAclFilter::icmpType, &PDAclFilter::proto,
      &PDAclFilter::length, &PDAclFilter::fragment, &PDAclFilter::dscp,     &PDAclFilter::ttl };
  for ( PlacedRule const& placed : rulesOf( table ) )
    for ( PDAclFilter const& entry : placed.rule->filter() )
      for ( Field const field : kFields ) {
        std::uint32_t const label = ( entry.*kFieldMembers[Kiv::enumValue( field )] ).label.value();
        if ( label <= maximumOf( field ) ) byValue.ranges[field].push_back( { label, label } );
      }
  acl.rules.push_back( std::move( rows ) );
  acl.rules.push_back( std::move( byValue ) );
  return acl;
}

}  // namespace Orvex::Host::Test
