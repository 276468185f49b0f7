#pragma once

/// The first intermediate form of a chip's policy: every distinct prefix list and range set once, under a key, and every
/// rule as the keys of its fields.
///
/// Written only by the aggregator, in a kick; read by the transforms, the combination resolvers and the rule expander later
/// in the same kick. Nobody watches it. `aclGenSetIpRuleList` and `genSetUsageInfo` are built anew in every kick that is not
/// skipped; `prefixInfo` and `rangeSplitInfo` keep their sets, with their keys, for as long as rules use them.

#include <cstdint>

#include "Kiv/HashMap2018.h"
#include "Kiv/RbTreeMap.h"
#include "Orvex/OrvexAclTypes.h"
#include "Orvex/OrvexGenSetTypes.h"
#include "Orvex/OrvexStageSm.h"

namespace Orvex {

class AggregatorConfig : public StageConfig {
 public:
  explicit AggregatorConfig( Kiv::Ptr<AclConfigColl const> const& aclConfigColl ) : aclConfigColl_( aclConfigColl ) {}

  Kiv::Ptr<AclConfigColl const> const& aclConfigColl() const { return aclConfigColl_; }

 private:
  Kiv::Ptr<AclConfigColl const> aclConfigColl_;
};

/// The prefix sets of one prefix space.
class PrefixAggregatorInfo : public Kiv::Entity {
 public:
  explicit PrefixAggregatorInfo( PrefixXformKey prefixXformKey ) : prefixXformKey_( prefixXformKey ) {}

  PrefixXformKey prefixXformKey() const { return prefixXformKey_; }

  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<PrefixSet>> const& prefixSetColl() const { return prefixSetColl_; }
  Kiv::Ptr<PrefixSet> prefixSetCollIs( GenSetKey key );
  void prefixSetCollDel( GenSetKey key ) { prefixSetColl_.erase( key ); }
  bool prefixSetCollHas( GenSetKey key ) const { return prefixSetColl_.has( key ); }

 private:
  PrefixXformKey prefixXformKey_;
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<PrefixSet>> prefixSetColl_;
};

/// The range sets of one packet field.
class RangeSplitAggregatorInfo : public Kiv::Entity {
 public:
  explicit RangeSplitAggregatorInfo( RangeSetType setType ) : setType_( setType ) {}

  RangeSetType setType() const { return setType_; }

  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<RangeSet>> const& rangeSetColl() const { return rangeSetColl_; }
  Kiv::Ptr<RangeSet> rangeSetCollIs( GenSetKey key, RangeSetType type );
  void rangeSetCollDel( GenSetKey key ) { rangeSetColl_.erase( key ); }
  bool rangeSetCollHas( GenSetKey key ) const { return rangeSetColl_.has( key ); }

 private:
  RangeSetType setType_;
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<RangeSet>> rangeSetColl_;
};

/// A rule whose fields are keys of sets. Key 0 means that the rule does not match on the field.
class GenSetIpRule : public Kiv::Entity {
 public:
  explicit GenSetIpRule( Kiv::String name ) : name_( std::move( name ) ) {}

  Kiv::String const& name() const { return name_; }

  GenSetKey source() const { return source_; }
  void sourceIs( GenSetKey key ) { source_ = key; }
  GenSetKey destination() const { return destination_; }
  void destinationIs( GenSetKey key ) { destination_ = key; }

  GenSetKey sport() const { return range( RangeSetType::srcPort ); }
  GenSetKey dport() const { return range( RangeSetType::dstPort ); }
  GenSetKey icmpType() const { return range( RangeSetType::icmp ); }
  GenSetKey proto() const { return range( RangeSetType::proto ); }
  GenSetKey length() const { return range( RangeSetType::length ); }
  GenSetKey fragment() const { return range( RangeSetType::fragment ); }
  GenSetKey dscp() const { return range( RangeSetType::dscp ); }
  GenSetKey ttl() const { return range( RangeSetType::ttl ); }
  /// The eight range fields alike.
  GenSetKey range( RangeSetType type ) const { return ranges_[Kiv::enumValue( type )]; }
  void rangeIs( RangeSetType type, GenSetKey key ) { ranges_[Kiv::enumValue( type )] = key; }

  bool matchTcpInit() const { return matchTcpInit_; }
  void matchTcpInitIs( bool match ) { matchTcpInit_ = match; }
  bool matchTcpEstablished() const { return matchTcpEstablished_; }
  void matchTcpEstablishedIs( bool match ) { matchTcpEstablished_ = match; }
  OrvexActionValue const& action() const { return action_; }
  void actionIs( OrvexActionValue const& action ) { action_ = action; }

 private:
  Kiv::String name_;
  GenSetKey source_;
  GenSetKey destination_;
  std::array<GenSetKey, Kiv::enumValue( RangeSetType::rangeSetMax )> ranges_;
  OrvexActionValue action_;
  bool matchTcpInit_ = false;
  bool matchTcpEstablished_ = false;
};

/// The rules of one ACL. `genSetIpRule` owns them; `genSetIpRuleById` gives their order.
class AclGenSetIpRuleList : public Kiv::Entity {
 public:
  explicit AclGenSetIpRuleList( Kiv::String name ) : name_( std::move( name ) ) {}

  Kiv::String const& name() const { return name_; }
  Vell::AddressFamily af() const { return af_; }
  void afIs( Vell::AddressFamily af ) { af_ = af; }

  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<GenSetIpRule>> const& genSetIpRule() const { return genSetIpRule_; }
  Kiv::Ptr<GenSetIpRule> genSetIpRuleIs( Kiv::String const& name );

  Kiv::RbTreeMap<AceIndex, Kiv::Ptr<GenSetIpRule>> const& genSetIpRuleById() const { return genSetIpRuleById_; }
  Kiv::Ptr<GenSetIpRule> genSetIpRuleById( AceIndex index ) const { return genSetIpRuleById_.find( index ); }
  Kiv::Ptr<GenSetIpRule> genSetIpRuleByIdIs( AceIndex index, Kiv::Ptr<GenSetIpRule> const& rule );
  bool genSetIpRuleByIdHas( AceIndex index ) const { return genSetIpRuleById_.has( index ); }

 private:
  Kiv::String name_;
  Vell::AddressFamily af_ = Vell::AddressFamily::ipv4;
  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<GenSetIpRule>> genSetIpRule_;
  Kiv::RbTreeMap<AceIndex, Kiv::Ptr<GenSetIpRule>> genSetIpRuleById_;
};

class AggregatorStatus : public StageStatus {
 public:
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PrefixAggregatorInfo>> const& prefixInfo() const { return prefixInfo_; }
  Kiv::Ptr<PrefixAggregatorInfo> prefixInfoIs( PrefixXformKey key );

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<RangeSplitAggregatorInfo>> const& rangeSplitInfo() const {
    return rangeSplitInfo_;
  }
  Kiv::Ptr<RangeSplitAggregatorInfo> rangeSplitInfoIs( RangeSetType type );

  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<AclGenSetIpRuleList>> const& aclGenSetIpRuleList() const {
    return aclGenSetIpRuleList_;
  }
  Kiv::Ptr<AclGenSetIpRuleList> aclGenSetIpRuleListIs( Kiv::String const& name );
  void aclGenSetIpRuleListDelAll() { aclGenSetIpRuleList_.clear(); }

  Kiv::Ptr<GenSetUsageInfo> const& genSetUsageInfo() const { return genSetUsageInfo_; }
  Kiv::Ptr<GenSetUsageInfo> const& genSetUsageInfoIs();

  bool initialized() const { return initialized_; }
  /// Makes the status ready; called once, before the first kick.
  void handleInitialized();

 private:
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PrefixAggregatorInfo>> prefixInfo_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<RangeSplitAggregatorInfo>> rangeSplitInfo_;
  Kiv::HashMap2018<Kiv::String, Kiv::Ptr<AclGenSetIpRuleList>> aclGenSetIpRuleList_;
  Kiv::Ptr<GenSetUsageInfo> genSetUsageInfo_;
  bool initialized_ = false;
};

/// A fingerprint of what the aggregator last built: of the names and filters of all rules, not of their actions and order.
/// The initial one is also that of a policy without ACLs.
struct AggregatorWorkingSet {
  static constexpr std::string_view kTypeName = "Orvex::AggregatorWorkingSet";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "workingSetHash", &AggregatorWorkingSet::workingSetHash ),
                       Kiv::Field( "aclCount", &AggregatorWorkingSet::aclCount ),
                       Kiv::Field( "ruleCount", &AggregatorWorkingSet::ruleCount ) );
  }

  AggregatorWorkingSet() noexcept = default;
  AggregatorWorkingSet( std::uint64_t hash, std::uint32_t acls, std::uint32_t rules ) noexcept
      : workingSetHash( hash ), aclCount( acls ), ruleCount( rules ) {}

  friend bool operator==( AggregatorWorkingSet const&, AggregatorWorkingSet const& ) = default;

  std::uint64_t workingSetHash = 0;
  std::uint32_t aclCount = 0;
  std::uint32_t ruleCount = 0;
};

}  // namespace Orvex
