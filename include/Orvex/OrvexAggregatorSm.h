#pragma once

/// Turns the rules of a chip's ACLs into keys of shared sets.
///
/// Rules repeat themselves: thousands name the same networks and the same few ports. Working on rules would repeat the work,
/// so every field of a rule becomes the key of a set, and equal fields get one set:
///
///     rule a: source corp, dport 80          rule a: source 1, dport 2        set 1: the prefixes of corp
///     rule b: source corp, dport 80, 443     rule b: source 1, dport 4        set 2: 80-80     set 4: 80-80 443-443
///     rule c: source corp, dport 80          rule c: source 1, dport 2        (3 and 5 were issued and dropped)
///
/// Prefix lists are long: they are shared by identity, before a set is built, and whoever wants two rules to share gives
/// them the same IpPrefixList. Ranges are short: a set is built each time, and dropped when there is one of its content.
///
/// A kick whose policy has the fingerprint of the last one is skipped. The fingerprint does not look at actions, at
/// continueRule and at the order of rules: an edit of nothing else is not seen. Names can cancel out in it, and some
/// different prefixes hash alike. Whoever relies on every edit being seen uses a fresh pipeline for each policy.
///
/// Range ends are cut to 16 bits. What is wrong in the policy ends the kick "finishedFailed", with a trace of level 0 that
/// names ACL, rule and field: a range whose start is above its end, a prefix of another family than the ACL's, a rule
/// without a filter. The stage then forgets everything that it has built, and the next kick builds again. An ACL's family
/// is that of its first prefix in ascending order of rules, source before destination; without prefixes it is IPv4. A rule
/// that is in the order of its ACL but no longer in its names has been deleted: it is left out, with a trace of level 0.
///
/// Invariants after a kick that did not fail: (1) each set is used by a rule, by one at least; (2) each key other than 0 in
/// a rule's record is that of a set of its space or field with the content of the rule's filter; (3) a set that was there
/// before keeps its key, and no key is issued twice; (4) each ACL has a list, also one without rules.
/// Cost: linear in rules and prefixes; an unchanged kick hashes the filters and no more.
///
/// Reads AclConfigColl and the chip's capability, writes AggregatorStatus.

#include "Orvex/OrvexAggregatorTypes.h"
#include "Orvex/OrvexDedup.h"
#include "Orvex/OrvexHwCapability.h"
#include "Orvex/OrvexStageSm.h"

namespace Orvex {

/// The prefix sets of one space that rules use.
class PrefixDedupMarkAndSweeper final : public DedupMarkAndSweeper {
 public:
  PrefixDedupMarkAndSweeper( PrefixXformKey prefixXformKey, Kiv::Ptr<PrefixAggregatorInfo> const& prefixAggInfo,
                             Brae::ChipId chipId )
      : prefixXformKey_( prefixXformKey ), prefixAggInfo_( prefixAggInfo ), chipId_( chipId ) {}

  Kiv::Ptr<PrefixAggregatorInfo> const& prefixAggInfo() const { return prefixAggInfo_; }
  Brae::ChipId chipId() const { return chipId_; }

  void doCleanupSweptEntry( GenSetKey key ) override;
  /// 0 for a list whose set has not been built.
  GenSetKey getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const override;

 private:
  PrefixXformKey prefixXformKey_;
  Kiv::Ptr<PrefixAggregatorInfo> prefixAggInfo_;
  Brae::ChipId chipId_;
};

/// The range sets of one field that rules use.
class RangeDedupMarkAndSweeper final : public DedupMarkAndSweeper {
 public:
  RangeDedupMarkAndSweeper( RangeSetType type, Kiv::Ptr<RangeSplitAggregatorInfo> const& rangeSplitAggInfo,
                            Brae::ChipId chipId )
      : type_( type ), rangeSplitAggInfo_( rangeSplitAggInfo ), chipId_( chipId ) {}

  Kiv::Ptr<RangeSplitAggregatorInfo> const& rangeSplitAggInfo() const { return rangeSplitAggInfo_; }
  Brae::ChipId chipId() const { return chipId_; }

  void doCleanupSweptEntry( GenSetKey key ) override;
  GenSetKey getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const override;

 private:
  RangeSetType type_;
  Kiv::Ptr<RangeSplitAggregatorInfo> rangeSplitAggInfo_;
  Brae::ChipId chipId_;
};

class AggregatorSm : public StageSm {
 public:
  AggregatorSm( Brae::ChipId chipId, Kiv::Ptr<AggregatorConfig const> const& config,
                Kiv::Ptr<AggregatorStatus> const& status, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                Kiv::Ptr<GenSetKeyGenerator> const& genSetKeyGen );

  Kiv::Ptr<ChipHwCapability const> const& hwCapability() const { return hwCapability_; }
  Kiv::Ptr<GenSetKeyGenerator> const& genSetKeyGen() const { return genSetKeyGen_; }
  Kiv::Ptr<AggregatorConfig const> aggConfig() const;
  Kiv::Ptr<AggregatorStatus> const& aggStatus() const { return aggStatus_; }
  AggregatorWorkingSet const& aggWorkingSet() const { return aggWorkingSet_; }

  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PrefixDedupMarkAndSweeper>> const& prefixDeduper() const {
    return prefixDeduper_;
  }
  /// The collector of a space, made on first use.
  /// Fails with: Kiv::NameInUseException when it was made with other parameters.
  Kiv::Ptr<PrefixDedupMarkAndSweeper> prefixDeduperIs( PrefixXformKey key, Kiv::Ptr<PrefixAggregatorInfo> const& info,
                                                       Brae::ChipId chipId );
  void prefixDeduperDel( PrefixXformKey key ) { prefixDeduper_.erase( key ); }

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<RangeDedupMarkAndSweeper>> const& rangeDeduper() const {
    return rangeDeduper_;
  }
  /// The collector of a field, made on first use.
  /// Fails with: Kiv::NameInUseException when it was made with other parameters.
  Kiv::Ptr<RangeDedupMarkAndSweeper> rangeDeduperIs( RangeSetType type, Kiv::Ptr<RangeSplitAggregatorInfo> const& info,
                                                     Brae::ChipId chipId );
  void rangeDeduperDel( RangeSetType type ) { rangeDeduper_.erase( type ); }

 protected:
  void doStartKick() override;

 private:
  class PolicyError;

  AclConfigColl const& policy() const { return *aggConfig()->aclConfigColl(); }

  AggregatorWorkingSet doBuildWorkingSet() const;
  void doCleanSm();
  void doBuildSets();
  void doBuildFieldSets();
  void buildRule( AclGenSetIpRuleList& list, RuleConfig const& rule );
  GenSetKey doBuildPrefixSet( PrefixXformKey prefixXformKey, Kiv::Ptr<IpPrefixList> const& prefixList );
  template <class RangeType>
  GenSetKey buildRangeSet( RangeSetType setType, RuleFilter::Ranges<RangeType> const& ranges );
  void doBuildAclGenSetRuleById();
  void orderRules( AclConfig const& acl, AclGenSetIpRuleList& list );
  void doDeleteUnusedSets();
  void forget();

  void dumpAllPrefixListsInRules() const;
  void dumpAllFieldSetsInRules() const;
  void dumpAllPrefixSets() const;
  void dumpAllRangeSets() const;

  Kiv::Ptr<AggregatorStatus> aggStatus_;
  Kiv::Ptr<ChipHwCapability const> hwCapability_;
  Kiv::Ptr<GenSetKeyGenerator> genSetKeyGen_;
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PrefixDedupMarkAndSweeper>> prefixDeduper_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<RangeDedupMarkAndSweeper>> rangeDeduper_;
  AggregatorWorkingSet aggWorkingSet_;
  Kiv::String tracePrefix_;
};

}  // namespace Orvex
