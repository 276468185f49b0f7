#include "verify/LookUp.h"

namespace Orvex::Verify {

namespace {

using Host::Field;

std::uint16_t prefixLabel( PDData const& snapshot, TableShape const& shape, PrefixXformKey space,
                           Vell::IpGenPrefix const& address ) {
  if ( !shape.prefix( space ).on ) return 0;
  std::uint16_t label = shape.prefix( space ).invalid;
  auto const table = snapshot.pdPrefixXformEntryColl().find( space );
  if ( !table ) return label;
  int longest = -1;
  for ( auto const& [prefix, entry] : table->entry() ) {
    if ( !prefix.contains( address ) || static_cast<int>( prefix.length() ) <= longest ) continue;
    longest = static_cast<int>( prefix.length() );
    label = entry.value.value();
  }
  return label;
}

/// Fields and tables are numbered alike.
RangeSetType tableOf( Field field ) { return static_cast<RangeSetType>( Kiv::enumValue( field ) ); }
static_assert( Kiv::enumValue( RangeSetType::rangeSetMax ) == Host::kFieldCount );
static_assert( Kiv::enumValue( RangeSetType::srcPort ) == Kiv::enumValue( Field::sport ) );
static_assert( Kiv::enumValue( RangeSetType::dstPort ) == Kiv::enumValue( Field::dport ) );
static_assert( Kiv::enumValue( RangeSetType::icmp ) == Kiv::enumValue( Field::icmpType ) );
static_assert( Kiv::enumValue( RangeSetType::proto ) == Kiv::enumValue( Field::proto ) );
static_assert( Kiv::enumValue( RangeSetType::length ) == Kiv::enumValue( Field::length ) );
static_assert( Kiv::enumValue( RangeSetType::fragment ) == Kiv::enumValue( Field::fragment ) );
static_assert( Kiv::enumValue( RangeSetType::dscp ) == Kiv::enumValue( Field::dscp ) );
static_assert( Kiv::enumValue( RangeSetType::ttl ) == Kiv::enumValue( Field::ttl ) );

std::uint16_t fieldLabel( PDData const& snapshot, TableShape const& shape, Field field, std::uint32_t value ) {
  if ( !shape.ranges[field].on ) return static_cast<std::uint16_t>( value );
  for ( auto const& [range, entry] : snapshot.rangeEntryColl( tableOf( field ) )->entry() )
    if ( range.first() <= value && value <= range.last() ) return entry.value.value();
  return shape.ranges[field].invalid;
}

std::uint16_t comboLabel( PDData const& snapshot, TableShape const& shape, ComboLabelSetType type, std::uint16_t source,
                          std::uint16_t destination ) {
  if ( !shape.combo( type ).on ) return 0;
  EncodedComboLabel const pair( EncodedLabel{ source }, EncodedLabel{ destination } );
  for ( auto const& [key, entry] : snapshot.comboEntryColl( type )->entry() )
    if ( key == pair ) return entry.value.value();
  return shape.combo( type ).invalid;
}

bool agrees( EncodedLabelWithMask const& entry, std::uint16_t key ) {
  return ( key & entry.mask.value() ) == ( entry.label.value() & entry.mask.value() );
}

}  // namespace

LookUpKey keyOf( PDData const& snapshot, TableShape const& shape, Packet const& packet ) {
  Vell::AddressFamily const family = familyOf( packet );
  auto const prefixCombo =
      family == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix : ComboLabelSetType::ipv6SrcDstPrefix;
  LookUpKey key;
  key.source = prefixLabel( snapshot, shape, PrefixXformKey( family, true ), packet.source );
  key.destination = prefixLabel( snapshot, shape, PrefixXformKey( family, false ), packet.destination );
  key.prefixCombo = comboLabel( snapshot, shape, prefixCombo, key.source, key.destination );
  for ( Field const field : Host::kFields )
    key.fields[field] = fieldLabel( snapshot, shape, field, packet.fields[field] );
  key.portCombo = comboLabel( snapshot, shape, ComboLabelSetType::srcDstL4Port, key.fields[Field::sport],
                              key.fields[Field::dport] );
  key.headFragment = packet.isHeadFragment() ? 1 : 0;
  key.tcpFlag = packet.tcpFlags;
  return key;
}

bool matches( PDAclFilter const& entry, LookUpKey const& key ) {
  return agrees( entry.source, key.source ) && agrees( entry.destination, key.destination ) &&
         agrees( entry.prefixCombo, key.prefixCombo ) && agrees( entry.sport, key.fields[Field::sport] ) &&
         agrees( entry.dport, key.fields[Field::dport] ) && agrees( entry.portCombo, key.portCombo ) &&
         agrees( entry.icmpType, key.fields[Field::icmpType] ) && agrees( entry.proto, key.fields[Field::proto] ) &&
         agrees( entry.length, key.fields[Field::length] ) && agrees( entry.fragment, key.fields[Field::fragment] ) &&
         agrees( entry.dscp, key.fields[Field::dscp] ) && agrees( entry.ttl, key.fields[Field::ttl] ) &&
         agrees( entry.headFragment, key.headFragment ) && agrees( entry.tcpFlag, key.tcpFlag );
}

Verdict lookUp( PDData const& snapshot, TableShape const& shape, Kiv::String const& libraryAclName,
                OrvexActionValue const& missAction, Packet const& packet ) {
  Verdict const miss{ std::nullopt, missAction };
  LookUpKey const key = keyOf( snapshot, shape, packet );
  auto const& acls = snapshot.pdAclColl();
  auto const acl = acls ? acls->pdAcl().find( PDAclKey( familyOf( packet ), libraryAclName ) ) : nullptr;
  if ( !acl ) return miss;
  for ( auto const& [index, rule] : acl->rule() )
    for ( PDAclFilter const& entry : rule->filter() )
      if ( matches( entry, key ) ) return { index.value(), rule->action() };
  return miss;
}

}  // namespace Orvex::Verify
