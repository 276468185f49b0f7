#include "update/Delta.h"

#include <algorithm>
#include <set>
#include <utility>

namespace Orvex::Host {

namespace {

/// Calls `visit( key, before, after )` for every key of one of the maps; null: that one does not have it.
template <class Key, class Value, class Visit>
void forEachOfBoth( std::map<Key, Value> const& before, std::map<Key, Value> const& after, Visit const& visit ) {
  auto old = before.begin();
  auto next = after.begin();
  while ( old != before.end() || next != after.end() ) {
    bool const isOld = next == after.end() || ( old != before.end() && !( next->first < old->first ) );
    bool const isNew = old == before.end() || ( next != after.end() && !( old->first < next->first ) );
    visit( isOld ? old->first : next->first, isOld ? &old->second : nullptr, isNew ? &next->second : nullptr );
    if ( isOld ) ++old;
    if ( isNew ) ++next;
  }
}

template <class Value>
bool count( ChangeCounts& counts, Value const* before, Value const* after ) {
  if ( before && after && *before == *after ) {
    ++counts.kept;
    return false;
  }
  ++( !before ? counts.added : !after ? counts.removed : counts.changed );
  return true;
}

template <class Value>
std::optional<Value> optionalOf( Value const* value ) {
  return value ? std::optional( *value ) : std::nullopt;
}

DefaultAction defaultIn( DefaultActions const& defaults, PDAclKey const& acl ) {
  auto const stated = defaults.find( acl );
  return stated == defaults.end() ? DefaultAction::deny : stated->second;
}

template <class Table>
std::map<RowKey, std::uint16_t> rowsIn( Table const& table ) {
  std::map<RowKey, std::uint16_t> rows;
  for ( auto const& [key, row] : table->entry() ) rows.emplace_hint( rows.end(), key, row.value.value() );
  return rows;
}

}  // namespace

ChangeCounts& ChangeCounts::operator+=( ChangeCounts const& other ) {
  kept += other.kept;
  changed += other.changed;
  added += other.added;
  removed += other.removed;
  return *this;
}

std::vector<LabelTable> tablesOf( Verify::TableShape const& shape ) {
  std::vector<LabelTable> tables;
  for ( PrefixXformKey const space : kPrefixSpaces )
    if ( shape.prefix( space ).on ) tables.emplace_back( space );
  for ( Field const field : kFields )
    if ( shape.ranges[field].on ) tables.emplace_back( rangeTableOf( field ) );
  for ( ComboLabelSetType const type : kCombos )
    if ( shape.combo( type ).on ) tables.emplace_back( type );
  return tables;
}

std::map<RowKey, std::uint16_t> rowsOf( PDData const& snapshot, LabelTable const& table ) {
  if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) ) {
    auto const rows = snapshot.pdPrefixXformEntryColl().find( *space );
    return rows ? rowsIn( rows ) : std::map<RowKey, std::uint16_t>();
  }
  if ( auto const* const type = std::get_if<RangeSetType>( &table ) ) return rowsIn( snapshot.rangeEntryColl( *type ) );
  return rowsIn( snapshot.comboEntryColl( std::get<ComboLabelSetType>( table ) ) );
}

AclEntries entriesOf( PDData const& snapshot, PDAclKey const& acl ) {
  AclEntries entries;
  auto const loaded = snapshot.pdAclColl() ? snapshot.pdAclColl()->pdAcl().find( acl ) : nullptr;
  if ( !loaded ) return entries;
  for ( auto const& [index, rule] : loaded->rule() )
    for ( PDAclFilter const& entry : rule->filter() )
      entries.emplace_hint( entries.end(), std::pair( index.value(), entry ), rule->action() );
  return entries;
}

Delta deltaOf( TableVersion const& before, TableVersion const& after, Verify::TableShape const& shape ) {
  Delta delta;
  for ( LabelTable const& table : tablesOf( shape ) ) {
    ChangeCounts counts;
    forEachOfBoth( rowsOf( before.snapshot, table ), rowsOf( after.snapshot, table ),
                   [&]( RowKey const& key, std::uint16_t const* old, std::uint16_t const* now ) {
                     if ( count( counts, old, now ) )
                       delta.rows.push_back( { table, key, optionalOf( old ), optionalOf( now ) } );
                   } );
    delta.tables.push_back( { tableText( table ), counts } );
  }
  DefaultActions const oldDefaults = defaultActionsOf( before.policy );
  DefaultActions const newDefaults = defaultActionsOf( after.policy );
  std::set<PDAclKey> acls;
  for ( auto const* const defaults : { &oldDefaults, &newDefaults } )
    for ( auto const& [acl, action] : *defaults ) acls.insert( acl );
  for ( PDAclKey const& acl : acls ) {
    ChangeCounts counts;
    forEachOfBoth( entriesOf( before.snapshot, acl ), entriesOf( after.snapshot, acl ),
                   [&]( auto const& key, OrvexActionValue const* old, OrvexActionValue const* now ) {
                     if ( count( counts, old, now ) )
                       delta.entries.push_back( { acl, key.first, key.second, optionalOf( old ), optionalOf( now ) } );
                   } );
    delta.acls.push_back( { acl, counts } );
    DefaultAction const old = defaultIn( oldDefaults, acl );
    DefaultAction const now = defaultIn( newDefaults, acl );
    if ( old != now ) delta.defaults.push_back( { acl, old, now } );
  }
  return delta;
}

}  // namespace Orvex::Host
