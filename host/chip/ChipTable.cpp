#include "chip/ChipTable.h"

#include <utility>

#include "chip/ChipProfile.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Host {

namespace {

/// The fields of a key and of an entry in the order of PDAclFilter, four to a word.
class Packer {
 public:
  void add( std::uint16_t value ) {
    key_[at_ / 4] |= std::uint64_t{ value } << ( at_ % 4 * 16 );
    ++at_;
  }
  PackedKey const& key() const { return key_; }

 private:
  PackedKey key_{};
  std::size_t at_ = 0;
};
static_assert( PDAclFilter::kFields <= 4 * std::tuple_size_v<PackedKey> );

TernaryIndex::Entry packed( PDAclFilter const& filter ) {
  Packer value;
  Packer mask;
  std::apply(
      [&]( auto const&... field ) {
        ( value.add( ( filter.*field.getter ).label.value() ), ... );
        ( mask.add( ( filter.*field.getter ).mask.value() ), ... );
      },
      PDAclFilter::fields() );
  return { value.key(), mask.key() };
}

AddressTable addressTable( PDData const& snapshot, Verify::TableShape const& shape, PrefixXformKey space ) {
  auto const [on, invalid] = shape.prefix( space );
  if ( !on ) return AddressTable( 0 );
  auto const table = snapshot.pdPrefixXformEntryColl().find( space );
  return table ? AddressTable( *table, invalid ) : AddressTable( invalid );
}

PairTable pairTable( PDData const& snapshot, Verify::TableShape const& shape, ComboLabelSetType type ) {
  auto const [on, invalid] = shape.combo( type );
  return on ? PairTable( *snapshot.comboEntryColl( type ), invalid ) : PairTable( 0 );
}

}  // namespace

DefaultActions defaultActionsOf( Policy const& policy ) {
  DefaultActions defaults;
  for ( Host::Acl const& acl : policy.acls )
    defaults.emplace( PDAclKey( acl.family, libraryAclName( acl.family, acl.name ) ), acl.defaultAction );
  return defaults;
}

ChipTable::ChipTable( PDData const& snapshot, Verify::TableShape const& shape, DefaultActions const& defaults )
    : portCombo_( pairTable( snapshot, shape, ComboLabelSetType::srcDstL4Port ) ),
      hasPortCombo_( shape.combo( ComboLabelSetType::srcDstL4Port ).on ) {
  for ( auto const family : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } ) {
    auto const combo =
        family == Vell::AddressFamily::ipv4 ? ComboLabelSetType::ipv4SrcDstPrefix : ComboLabelSetType::ipv6SrcDstPrefix;
    families_.push_back( { addressTable( snapshot, shape, PrefixXformKey( family, true ) ),
                           addressTable( snapshot, shape, PrefixXformKey( family, false ) ),
                           pairTable( snapshot, shape, combo ), shape.combo( combo ).on } );
  }
  for ( Field const field : kFields )
    if ( shape.ranges[field].on )
      values_[field] = ValueTable( *snapshot.rangeEntryColl( rangeTableOf( field ) ), maximumOf( field ),
                                   shape.ranges[field].invalid );
  for ( auto const& [key, action] : defaults ) acls_.emplace( key, std::make_unique<Acl>( key.af, action ) );
  if ( !snapshot.pdAclColl() ) return;
  auto const& acls = snapshot.pdAclColl()->pdAcl();
  for ( auto acl = acls.begin(); acl; ++acl ) {
    auto& loaded = acls_[acl.key()];
    if ( !loaded ) loaded = std::make_unique<Acl>( acl.key().af, DefaultAction::deny );
    loaded->addRules( *acl.value() );
  }
}

ChipTable::~ChipTable() = default;

ChipTable::Acl* ChipTable::acl( PDAclKey const& key ) const {
  auto const found = acls_.find( key );
  return found == acls_.end() ? nullptr : found->second.get();
}

Verify::Verdict ChipTable::lookUp( Acl& acl, Verify::Packet const& packet ) const {
  Vell::AddressFamily const family = Verify::familyOf( packet );
  if ( family != acl.family() )
    throw Verify::QuestionError( "an ACL of the other family has no answer for a packet of " +
                                 std::string( Kiv::stringValue( family ) ) );
  return acl.decide( keyOf( families_[Kiv::enumValue( family )], packet ) );
}

PackedKey ChipTable::keyOf( FamilyTables const& family, Verify::Packet const& packet ) const {
  auto const label = [&]( Field field ) { return values_[field].labelOf( packet.fields[field] ); };
  std::uint16_t const source = family.source.labelOf( packet.source );
  std::uint16_t const destination = family.destination.labelOf( packet.destination );
  std::uint16_t const sport = label( Field::sport );
  std::uint16_t const dport = label( Field::dport );
  Packer key;
  key.add( source );
  key.add( destination );
  key.add( family.hasCombo ? family.prefixCombo.labelOf( source, destination ) : std::uint16_t{ 0 } );
  key.add( sport );
  key.add( dport );
  key.add( hasPortCombo_ ? portCombo_.labelOf( sport, dport ) : std::uint16_t{ 0 } );
  for ( Field const field : { Field::icmpType, Field::proto, Field::length, Field::fragment, Field::dscp, Field::ttl } )
    key.add( label( field ) );
  key.add( packet.isHeadFragment() ? 1 : 0 );
  key.add( packet.tcpFlags );
  return key.key();
}

// One ACL

void ChipTable::Acl::addRules( PDAclRuleColl const& rules ) {
  for ( auto const& [index, rule] : rules.rule() ) {
    auto const number = static_cast<std::uint32_t>( rules_.size() );
    rules_.push_back( { index.value(), rule->action(), static_cast<std::uint32_t>( rule->filter().size() ) } );
    for ( PDAclFilter const& filter : rule->filter() ) entries_.push_back( packed( filter ) );
    ruleOfEntry_.resize( entries_.size(), number );
  }
  hitsOfEntry_.resize( entries_.size() );
}

Verify::Verdict ChipTable::Acl::decide( PackedKey const& key ) {
  if ( !index_ ) {
    index_.emplace( entries_ );
    std::vector<TernaryIndex::Entry>().swap( entries_ );
  }
  auto const entry = index_->find( key );
  if ( !entry ) {
    ++misses_;
    return { std::nullopt, missAction_ };
  }
  ++hitsOfEntry_[*entry];
  LoadedRule const& rule = rules_[ruleOfEntry_[*entry]];
  return { rule.index, rule.action };
}

std::vector<RuleHits> ChipTable::Acl::hits() const {
  std::vector<RuleHits> all;
  auto next = hitsOfEntry_.begin();
  for ( LoadedRule const& rule : rules_ ) {
    RuleHits hits{ rule.index, 0, { next, next + rule.entries } };
    for ( std::uint64_t const packets : hits.entries ) hits.packets += packets;
    next += rule.entries;
    all.push_back( std::move( hits ) );
  }
  return all;
}

}  // namespace Orvex::Host
