#pragma once

/// The access-control policy of a chip, as the client fills it in:
///
///     GlobalAclConfig -> AclConfigColl (a chip) -> AclConfig (an ACL) -> RuleConfig -> RuleFilter -> IpPrefixList
///
/// Written only by the client, between kicks; read by the aggregator in a kick. Nobody is told of changes: a kick looks at
/// everything and finds by hashes what is new. So these entities have no reactors, and 100,000 rules cost what they hold.
///
/// The hashes are fingerprints and no more: the prefix hash maps 10.0.0.0/8 and 11.0.0.0/9 to one number. Whoever needs to
/// know that two policies are equal compares them.

#include <cstdint>

#include "Brae/ChipId.h"
#include "Kiv/Entity.h"
#include "Kiv/HashMap2018.h"
#include "Kiv/RbTreeMap.h"
#include "Kiv/String.h"
#include "Orvex/OrvexAclValues.h"
#include "Orvex/OrvexDedup.h"
#include "Orvex/OrvexFieldRanges.h"
#include "Orvex/OrvexSummedSet.h"
#include "Vell/IpGenPrefix.h"

namespace Orvex {

/// The fixed hash of one prefix. It enters the hash of lists as a sum.
std::uint32_t prefixHash( Vell::IpGenPrefix const& prefix ) noexcept;

struct PrefixHash {
  std::uint32_t operator()( Vell::IpGenPrefix const& prefix ) const noexcept { return prefixHash( prefix ); }
};

/// Prefixes to match, and prefixes to leave out. Costs and hashes in the number of changes: the sums are kept.
class IpPrefixList : public Dedupable {
 public:
  using Prefixes = Kiv::HashSet2018<Vell::IpGenPrefix>;

  Prefixes const& addr() const { return addr_.members(); }
  void addrIs( Vell::IpGenPrefix const& prefix ) { edition_ += addr_.insert( prefix ) ? 1 : 0; }
  void addrDel( Vell::IpGenPrefix const& prefix ) { edition_ += addr_.erase( prefix ) ? 1 : 0; }
  void addrDelAll() {
    addr_ = {};
    ++edition_;
  }
  bool addrHas( Vell::IpGenPrefix const& prefix ) const { return addr().has( prefix ); }

  Prefixes const& exceptAddr() const { return exceptAddr_.members(); }
  void exceptAddrIs( Vell::IpGenPrefix const& prefix ) { edition_ += exceptAddr_.insert( prefix ) ? 1 : 0; }
  void exceptAddrDel( Vell::IpGenPrefix const& prefix ) { edition_ += exceptAddr_.erase( prefix ) ? 1 : 0; }
  void exceptAddrDelAll() {
    exceptAddr_ = {};
    ++edition_;
  }
  bool exceptAddrHas( Vell::IpGenPrefix const& prefix ) const { return exceptAddr().has( prefix ); }

  /// Differs whenever the content has been edited in between. Who keeps something made of a list keeps this beside it.
  std::uint32_t edition() const { return edition_; }

  /// Whether the list has been given to a rule, and so may be held by several: RuleFilter::copy then leaves it alone.
  bool shared() const { return shared_; }
  void sharedIs( bool shared ) { shared_ = shared; }

  /// Takes over the other list's content.
  void copy( IpPrefixList const& other );

  /// Equal sets of prefixes and equal sets of excepted ones.
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override;
  std::uint32_t hash() const override;

 private:
  using Summed = SummedSet<Prefixes, PrefixHash>;

  Summed addr_;
  Summed exceptAddr_;
  std::uint32_t edition_ = 0;
  bool shared_ = false;
};

/// The hash of a prefix list, from the sums of its members' hashes.
std::uint32_t prefixListHash( std::uint64_t prefixSum, std::uint64_t exceptSum ) noexcept;

/// What a rule matches. An absent list and an empty set match anything. Ranges stand in ascending order, and are cheapest to
/// add in that order (see OrvexFieldRanges.h).
class RuleFilter : public Kiv::Entity {
 public:
  template <class RangeType>
  using Ranges = Kiv::SortedSet<RangeType>;

  /// The lists: made on first use, or given, to be shared with other rules.
  Kiv::Ptr<IpPrefixList> const& source() const { return source_; }
  Kiv::Ptr<IpPrefixList> const& sourceIs();
  void sourceIs( Kiv::Ptr<IpPrefixList> const& list );
  void sourceDel() { source_ = nullptr; }

  Kiv::Ptr<IpPrefixList> const& destination() const { return destination_; }
  Kiv::Ptr<IpPrefixList> const& destinationIs();
  void destinationIs( Kiv::Ptr<IpPrefixList> const& list );
  void destinationDel() { destination_ = nullptr; }

  Ranges<L4PortRange> const& sportRange() const { return sportRange_.ranges(); }
  void sportRangeIs( L4PortRange const& range ) { sportRange_.insert( range ); }
  void sportRangeDel( L4PortRange const& range ) { sportRange_.erase( range ); }
  void sportRangeDelAll() { sportRange_.clear(); }
  bool sportRangeHas( L4PortRange const& range ) const { return sportRange().has( range ); }

  Ranges<L4PortRange> const& dportRange() const { return dportRange_.ranges(); }
  void dportRangeIs( L4PortRange const& range ) { dportRange_.insert( range ); }
  void dportRangeDel( L4PortRange const& range ) { dportRange_.erase( range ); }
  void dportRangeDelAll() { dportRange_.clear(); }
  bool dportRangeHas( L4PortRange const& range ) const { return dportRange().has( range ); }

  Ranges<IcmpTypeRange> const& icmpType() const { return icmpType_.ranges(); }
  void icmpTypeIs( IcmpTypeRange const& range ) { icmpType_.insert( range ); }
  void icmpTypeDel( IcmpTypeRange const& range ) { icmpType_.erase( range ); }
  void icmpTypeDelAll() { icmpType_.clear(); }
  bool icmpTypeHas( IcmpTypeRange const& range ) const { return icmpType().has( range ); }

  Ranges<ProtoRange> const& proto() const { return proto_.ranges(); }
  void protoIs( ProtoRange const& range ) { proto_.insert( range ); }
  void protoDel( ProtoRange const& range ) { proto_.erase( range ); }
  void protoDelAll() { proto_.clear(); }
  bool protoHas( ProtoRange const& range ) const { return proto().has( range ); }

  bool matchTcpInit() const { return matchTcpInit_; }
  void matchTcpInitIs( bool match ) { matchTcpInit_ = match; }
  bool matchTcpEstablished() const { return matchTcpEstablished_; }
  void matchTcpEstablishedIs( bool match ) { matchTcpEstablished_ = match; }

  Ranges<LengthRange> const& length() const { return length_.ranges(); }
  void lengthIs( LengthRange const& range ) { length_.insert( range ); }
  void lengthDel( LengthRange const& range ) { length_.erase( range ); }
  void lengthDelAll() { length_.clear(); }
  bool lengthHas( LengthRange const& range ) const { return length().has( range ); }

  Ranges<FragmentRange> const& fragment() const { return fragment_.ranges(); }
  void fragmentIs( FragmentRange const& range ) { fragment_.insert( range ); }
  void fragmentDel( FragmentRange const& range ) { fragment_.erase( range ); }
  void fragmentDelAll() { fragment_.clear(); }
  bool fragmentHas( FragmentRange const& range ) const { return fragment().has( range ); }

  Ranges<DscpRange> const& dscp() const { return dscp_.ranges(); }
  void dscpIs( DscpRange const& range ) { dscp_.insert( range ); }
  void dscpDel( DscpRange const& range ) { dscp_.erase( range ); }
  void dscpDelAll() { dscp_.clear(); }
  bool dscpHas( DscpRange const& range ) const { return dscp().has( range ); }

  Ranges<TtlRange> const& ttl() const { return ttl_.ranges(); }
  void ttlIs( TtlRange const& range ) { ttl_.insert( range ); }
  void ttlDel( TtlRange const& range ) { ttl_.erase( range ); }
  void ttlDelAll() { ttl_.clear(); }
  bool ttlHas( TtlRange const& range ) const { return ttl().has( range ); }

  /// Takes over the other filter's content. This filter always has both lists afterwards: where the other has none, a
  /// present and empty one, which no rule may have in a kick; delete it or fill it before. A list that is shared, or that
  /// the other filter holds too, is left alone and replaced by a fresh one.
  void copy( RuleFilter const& other );

  std::uint32_t hash() const;

 private:
  Kiv::Ptr<IpPrefixList> source_;
  Kiv::Ptr<IpPrefixList> destination_;
  FieldRanges<L4PortRange, sportRangeId> sportRange_;
  FieldRanges<L4PortRange, dportRangeId> dportRange_;
  FieldRanges<IcmpTypeRange, icmpTypeId> icmpType_;
  FieldRanges<ProtoRange, protoId> proto_;
  FieldRanges<LengthRange, lengthId> length_;
  FieldRanges<FragmentRange, fragmentId> fragment_;
  FieldRanges<DscpRange, dscpId> dscp_;
  FieldRanges<TtlRange, ttlId> ttl_;
  bool matchTcpInit_ = false;
  bool matchTcpEstablished_ = false;
};

class RuleConfig : public Kiv::Entity {
 public:
  explicit RuleConfig( Kiv::String name ) : name_( std::move( name ) ) {}

  Kiv::String const& name() const { return name_; }

  Kiv::Ptr<RuleFilter> const& ruleFilter() const { return ruleFilter_; }
  Kiv::Ptr<RuleFilter> const& ruleFilterIs();
  void ruleFilterDel() { ruleFilter_ = nullptr; }

  OrvexActionValue const& action() const { return action_; }
  void actionIs( OrvexActionValue const& action ) { action_ = action; }
  bool continueRule() const { return continueRule_; }
  void continueRuleIs( bool continueRule ) { continueRule_ = continueRule; }

  /// Takes over the other rule's filter (see RuleFilter::copy), action and continueRule, and keeps its own name. From a
  /// rule without a filter it takes that there is none.
  void copy( RuleConfig const& other );

 private:
  Kiv::String name_;
  Kiv::Ptr<RuleFilter> ruleFilter_;
  OrvexActionValue action_;
  bool continueRule_ = false;
};

/// One ACL. `ruleByName` owns the rules; `ruleById` gives their order. A rule that has left `ruleByName` is deleted, also
/// when `ruleById` still names it.
class AclConfig : public Kiv::Entity {
 public:
  explicit AclConfig( Kiv::String name ) : name_( std::move( name ) ) {}

  Kiv::String const& name() const { return name_; }

  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<RuleConfig>> const& ruleByName() const { return ruleByName_; }
  Kiv::Ptr<RuleConfig> ruleByNameIs( Kiv::String const& name );
  void ruleByNameDel( Kiv::String const& name ) { ruleByName_.erase( name ); }
  void ruleByNameDelAll() { ruleByName_.clear(); }
  bool ruleByNameHas( Kiv::String const& name ) const { return ruleByName_.has( name ); }

  Kiv::RbTreeMap<AceIndex, Kiv::Ptr<RuleConfig>> const& ruleById() const { return ruleById_; }
  Kiv::Ptr<RuleConfig> ruleByIdIs( AceIndex index, Kiv::Ptr<RuleConfig> const& rule );
  void ruleByIdDel( AceIndex index ) { ruleById_.erase( index ); }
  void ruleByIdDelAll() { ruleById_.clear(); }
  bool ruleByIdHas( AceIndex index ) const { return ruleById_.has( index ); }

 private:
  Kiv::String name_;
  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<RuleConfig>> ruleByName_;
  Kiv::RbTreeMap<AceIndex, Kiv::Ptr<RuleConfig>> ruleById_;
};

/// The ACLs of one chip.
class AclConfigColl : public Kiv::Entity {
 public:
  explicit AclConfigColl( Brae::ChipId chipId ) : chipId_( chipId ) {}

  Brae::ChipId chipId() const { return chipId_; }

  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<AclConfig>> const& acl() const { return acl_; }
  Kiv::Ptr<AclConfig> aclIs( Kiv::String const& name );
  void aclDel( Kiv::String const& name ) { acl_.erase( name ); }
  void aclDelAll() { acl_.clear(); }
  bool aclHas( Kiv::String const& name ) const { return acl_.has( name ); }

 private:
  Brae::ChipId chipId_;
  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<AclConfig>> acl_;
};

/// The ACLs of every chip.
class GlobalAclConfig : public Kiv::Entity {
 public:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<AclConfigColl>> const& aclConfigColl() const { return aclConfigColl_; }
  Kiv::Ptr<AclConfigColl> aclConfigCollIs( Brae::ChipId chipId );
  void aclConfigCollDel( Brae::ChipId chipId ) { aclConfigColl_.erase( chipId ); }
  void aclConfigCollDelAll() { aclConfigColl_.clear(); }
  bool aclConfigCollHas( Brae::ChipId chipId ) const { return aclConfigColl_.has( chipId ); }

 private:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<AclConfigColl>> aclConfigColl_;
};

}  // namespace Orvex
