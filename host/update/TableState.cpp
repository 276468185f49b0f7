#include "update/TableState.h"

#include "chip/TableUse.h"

namespace Orvex::Host {

TableState::TableState( TableVersion const& before, Delta const& delta, Verify::TableShape const& shape )
    : shape_( shape ), defaults_( defaultActionsOf( before.policy ) ) {
  for ( LabelTable const& table : tablesOf( shape ) )
    for ( auto const& [key, label] : rowsOf( before.snapshot, table ) ) apply( RowWrite{ table, key, {}, label } );
  for ( auto const& [acl, action] : defaults_ )
    for ( auto const& [key, entryAction] : entriesOf( before.snapshot, acl ) )
      entries_[acl].emplace( Place{ key.first, false, key.second }, entryAction );
  for ( EntryWrite const& write : delta.entries ) {
    if ( write.after ) continue;
    Entries& entries = entries_[write.acl];
    entries.erase( Place{ write.rule, false, write.entry } );
    entries.emplace( Place{ write.rule, true, write.entry }, *write.before );
  }
}

TableState::TableState( TableState const& other )
    : shape_( other.shape_ ), entries_( other.entries_ ), defaults_( other.defaults_ ) {
  for ( LabelTable const& table : tablesOf( shape_ ) )
    for ( auto const& [key, label] : rowsOf( *other.labels_, table ) ) apply( RowWrite{ table, key, {}, label } );
}

void TableState::apply( RowWrite const& write ) {
  auto const applyTo = [&write]( auto& table, auto const& key ) {
    if ( write.after )
      table.entryIs( { key, EncodedLabel( *write.after ) } );
    else
      table.entryDel( key );
  };
  if ( auto const* const space = std::get_if<PrefixXformKey>( &write.table ) )
    applyTo( *labels_->pdPrefixXformEntryCollIs( *space ), std::get<Vell::IpGenPrefix>( write.key ) );
  else if ( auto const* const type = std::get_if<RangeSetType>( &write.table ) )
    applyTo( *labels_->rangeEntryColl( *type ), std::get<RangeSetElem>( write.key ) );
  else
    applyTo( *labels_->comboEntryColl( std::get<ComboLabelSetType>( write.table ) ),
             std::get<EncodedComboLabel>( write.key ) );
}

void TableState::apply( EntryWrite const& write ) {
  Entries& entries = entries_[write.acl];
  if ( write.after )
    entries.insert_or_assign( Place{ write.rule, false, write.entry }, *write.after );
  else
    entries.erase( Place{ write.rule, true, write.entry } );
}

TableState::Entries const& TableState::entries( PDAclKey const& acl ) const {
  static Entries const none;
  auto const found = entries_.find( acl );
  return found == entries_.end() ? none : found->second;
}

DefaultAction TableState::onMiss( PDAclKey const& acl ) const {
  auto const stated = defaults_.find( acl );
  return stated == defaults_.end() ? DefaultAction::deny : stated->second;
}

PerResource TableState::use() const {
  PerResource use = useOf( *labels_, shape_ );
  for ( auto const& [acl, entries] : entries_ ) use[Resource::ruleEntries] += entries.size();
  return use;
}

}  // namespace Orvex::Host
