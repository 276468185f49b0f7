#include "Orvex/OrvexAclTypes.h"

#include "Kiv/Instantiate.h"
#include "Orvex/OrvexByteHash.h"

namespace Orvex {

namespace {

void feedList( ByteHash& hash, RuleFilterAttribute attribute, Kiv::Ptr<IpPrefixList> const& list ) {
  hash.feed( std::uint32_t{ attribute } );
  if ( list ) hash.feed( list->hash() );
}

Kiv::Ptr<IpPrefixList> const& instantiate( Kiv::Ptr<IpPrefixList>& held ) {
  if ( !held ) held = Kiv::make<IpPrefixList>();
  return held;
}

void share( Kiv::Ptr<IpPrefixList>& held, Kiv::Ptr<IpPrefixList> const& list ) {
  if ( list ) list->sharedIs( true );
  held = list;
}

/// Makes a filter's list hold what another filter's holds, without editing one that others can hold.
void copyList( Kiv::Ptr<IpPrefixList>& held, Kiv::Ptr<IpPrefixList> const& other ) {
  auto const read = other ? other : Kiv::make<IpPrefixList>();
  if ( !held || held->shared() || held == read ) held = Kiv::make<IpPrefixList>();
  held->copy( *read );
}

}  // namespace

std::uint32_t prefixHash( Vell::IpGenPrefix const& prefix ) noexcept {
  std::uint32_t const address = prefix.af() == Vell::AddressFamily::ipv4 ? __builtin_bswap32( prefix.ipv4Address() )
                                                                         : prefix.ipv6Address().hash();
  std::uint32_t x = address ^ prefix.length();
  x = x * 32767 - 1;
  x ^= x >> 12;
  x *= 5;
  x ^= x >> 4;
  x *= 2057;
  x ^= x >> 16;
  return x;
}

std::uint32_t prefixListHash( std::uint64_t prefixSum, std::uint64_t exceptSum ) noexcept {
  return ByteHash().feed( prefixSum ).feed( std::uint8_t{ 0 } ).feed( exceptSum ).feed( std::uint8_t{ 1 } ).result();
}

void IpPrefixList::copy( IpPrefixList const& other ) {
  addr_ = other.addr_;
  exceptAddr_ = other.exceptAddr_;
  ++edition_;
}

bool IpPrefixList::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  auto const* const list = dynamic_cast<IpPrefixList const*>( other.get() );
  return list != nullptr && ( list == this || ( addr_ == list->addr_ && exceptAddr_ == list->exceptAddr_ ) );
}

std::uint32_t IpPrefixList::hash() const { return prefixListHash( addr_.hashSum(), exceptAddr_.hashSum() ); }

Kiv::Ptr<IpPrefixList> const& RuleFilter::sourceIs() { return instantiate( source_ ); }

void RuleFilter::sourceIs( Kiv::Ptr<IpPrefixList> const& list ) { share( source_, list ); }

Kiv::Ptr<IpPrefixList> const& RuleFilter::destinationIs() { return instantiate( destination_ ); }

void RuleFilter::destinationIs( Kiv::Ptr<IpPrefixList> const& list ) { share( destination_, list ); }

void RuleFilter::copy( RuleFilter const& other ) {
  copyList( source_, other.source_ );
  copyList( destination_, other.destination_ );
  sportRange_ = other.sportRange_;
  dportRange_ = other.dportRange_;
  icmpType_ = other.icmpType_;
  proto_ = other.proto_;
  length_ = other.length_;
  fragment_ = other.fragment_;
  dscp_ = other.dscp_;
  ttl_ = other.ttl_;
  matchTcpInit_ = other.matchTcpInit_;
  matchTcpEstablished_ = other.matchTcpEstablished_;
}

std::uint32_t RuleFilter::hash() const {
  ByteHash hash;
  feedList( hash, sourceId, source() );
  feedList( hash, destinationId, destination() );
  return hash.feed( sportRange_.hash() )
      .feed( dportRange_.hash() )
      .feed( icmpType_.hash() )
      .feed( proto_.hash() )
      .feed( length_.hash() )
      .feed( fragment_.hash() )
      .feed( dscp_.hash() )
      .feed( ttl_.hash() )
      .feed( std::uint8_t{ matchTcpInit_ } )
      .feed( std::uint8_t{ matchTcpEstablished_ } )
      .result();
}

Kiv::Ptr<RuleFilter> const& RuleConfig::ruleFilterIs() {
  if ( !ruleFilter_ ) ruleFilter_ = Kiv::make<RuleFilter>();
  return ruleFilter_;
}

void RuleConfig::copy( RuleConfig const& other ) {
  if ( other.ruleFilter() )
    ruleFilterIs()->copy( *other.ruleFilter() );
  else
    ruleFilterDel();
  action_ = other.action_;
  continueRule_ = other.continueRule_;
}

Kiv::Ptr<RuleConfig> AclConfig::ruleByNameIs( Kiv::String const& name ) {
  return Kiv::instantiate( ruleByName_, name );
}

Kiv::Ptr<RuleConfig> AclConfig::ruleByIdIs( AceIndex index, Kiv::Ptr<RuleConfig> const& rule ) {
  ruleById_.set( index, rule );
  return rule;
}

Kiv::Ptr<AclConfig> AclConfigColl::aclIs( Kiv::String const& name ) { return Kiv::instantiate( acl_, name ); }

Kiv::Ptr<AclConfigColl> GlobalAclConfig::aclConfigCollIs( Brae::ChipId chipId ) {
  return Kiv::instantiate( aclConfigColl_, chipId );
}

}  // namespace Orvex
