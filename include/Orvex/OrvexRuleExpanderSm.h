#pragma once

/// Writes every rule as the ternary entries that match what the rule matches.
///
/// The encoders have left for each field of a rule a list of ternary entries. A packet must match one of every list, so the
/// rule is their cross product:
///
///     source 01**            (01**, 0001)        one entry less for each that an earlier rule
///     dport  0001, 1***      (01**, 1***)        of the same ACL has already
///
/// Where the chip combines two fields and the resolver has formed a set for the rule's pair, the pair's one list takes the
/// place of the two. Every entry that matches a port, an ICMP type or TCP flags also demands the head fragment.
///
/// A field with key 0 is left out. A set that is truly empty, one of excepted prefixes alone, matches nothing: its rule gets
/// no entries. Two things end the kick "finishedFailed", with a trace of level 0 that names ACL and rule: a set that is not
/// empty and has no list, for then the rule would vanish; and more entries, over all ACLs, than the limit. The limit is
/// checked before a rule is expanded, since the product can be larger than any memory.
///
/// Invariants after a kick that did not fail: (1) each ACL has a collection, and each of its rules a PDAclRule with its action;
/// (2) no two rules of an ACL have the same entry; (3) a packet that an entry matches and that no entry of an earlier rule
/// matches is one that the rule matches, and the other way round.
/// Cost: in proportion to the entries, 56 bytes each and what the set of an ACL's entries takes. Nothing is skipped.
///
/// Reads the aggregator's, the resolvers' and the encoders' results, writes the PDAclColl that the loader publishes.

#include "Kiv/LinkQueue.h"
#include "Orvex/OrvexAggregatorTypes.h"
#include "Orvex/OrvexEncoderTypes.h"
#include "Orvex/OrvexPDData.h"
#include "Orvex/OrvexStageSm.h"
#include "Orvex/OrvexXformTypes.h"

namespace Orvex {

/// Filled by the root, once.
class RuleExpanderConfig : public StageConfig {
 public:
  explicit RuleExpanderConfig( Kiv::Ptr<AggregatorStatus const> const& aggregatorStatus )
      : aggregatorStatus_( aggregatorStatus ) {}

  Kiv::Ptr<AggregatorStatus const> const& aggregatorStatus() const { return aggregatorStatus_; }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<ComboLabelInfo const>> const& comboLabelInfo() const {
    return comboLabelInfo_;
  }
  void comboLabelInfoIs( ComboLabelSetType type, Kiv::Ptr<ComboLabelInfo const> const& info ) {
    comboLabelInfo_.set( type, info );
  }

  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<EncoderStatus const>> const& prefixEncoderStatus() const {
    return prefixEncoderStatus_;
  }
  void prefixEncoderStatusIs( PrefixXformKey key, Kiv::Ptr<EncoderStatus const> const& status ) {
    prefixEncoderStatus_.set( key, status );
  }

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<EncoderStatus const>> const& rangeEncoderStatus() const {
    return rangeEncoderStatus_;
  }
  void rangeEncoderStatusIs( RangeSetType type, Kiv::Ptr<EncoderStatus const> const& status ) {
    rangeEncoderStatus_.set( type, status );
  }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<EncoderStatus const>> const& comboLabelEncoderStatus() const {
    return comboLabelEncoderStatus_;
  }
  void comboLabelEncoderStatusIs( ComboLabelSetType type, Kiv::Ptr<EncoderStatus const> const& status ) {
    comboLabelEncoderStatus_.set( type, status );
  }

  /// Entries of all ACLs that are allowed; 0: any number.
  std::uint64_t maxAclEntries() const { return maxAclEntries_; }
  void maxAclEntriesIs( std::uint64_t entries ) { maxAclEntries_ = entries; }

 private:
  Kiv::Ptr<AggregatorStatus const> aggregatorStatus_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<ComboLabelInfo const>> comboLabelInfo_;
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<EncoderStatus const>> prefixEncoderStatus_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<EncoderStatus const>> rangeEncoderStatus_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<EncoderStatus const>> comboLabelEncoderStatus_;
  std::uint64_t maxAclEntries_ = 0;
};

class RuleExpanderStatus : public StageStatus {
 public:
  explicit RuleExpanderStatus( Kiv::Ptr<PDAclColl> const& ruleExpanderLoaderInfo )
      : ruleExpanderLoaderInfo_( ruleExpanderLoaderInfo ) {}

  /// Emptied and refilled by every kick.
  Kiv::Ptr<PDAclColl> const& ruleExpanderLoaderInfo() const { return ruleExpanderLoaderInfo_; }

 private:
  Kiv::Ptr<PDAclColl> ruleExpanderLoaderInfo_;
};

class RuleExpanderSm : public StageSm {
 public:
  RuleExpanderSm( Brae::ChipId chipId, Kiv::Ptr<RuleExpanderConfig const> const& config,
                  Kiv::Ptr<RuleExpanderStatus> const& status );

  /// The entries of the rule that is being expanded.
  Kiv::LinkQueue<PDAclFilter> const& ruleFilter() const { return ruleFilter_; }
  std::size_t ruleFilters() const { return ruleFilter_.size(); }
  void ruleFilterEnq( PDAclFilter const& filter ) { ruleFilter_.enq( filter ); }
  PDAclFilter ruleFilterDeq() { return ruleFilter_.deq(); }
  void ruleFilterDelAll() { ruleFilter_.clear(); }

  /// Replaces each entry of the queue by one for each entry of the list, written into the field.
  /// Requires: the queue is not empty.
  void buildTcamEntry( TcamFieldType fieldType, Kiv::SortedSet<EncodedLabelWithMask> const& list );

 protected:
  void doStartKick() override;

 private:
  /// One factor of a rule's cross product.
  struct Field {
    TcamFieldType type;
    Kiv::Ptr<EncodedLabelWithMaskList const> list;
  };
  /// An entry that lies in a finished rule, by its content.
  struct FilterRef {
    PDAclFilter const* filter;
    bool operator==( FilterRef const& other ) const { return *filter == *other.filter; }
    std::uint32_t hash() const noexcept { return filter->hash(); }
  };
  class RuleError;

  Kiv::Ptr<RuleExpanderConfig const> expanderConfig() const;
  void doCleanSm();
  bool doBuildExpandedRules();
  void expandAcl( AclGenSetIpRuleList const& list, PDAclRuleColl& rules );
  static bool canMatch( std::vector<Field> const& fields );
  void expandRule( std::vector<Field> const& fields );
  void keepFilters( PDAclKey const& key, PDAclRule& rule );
  void fitToSize( std::vector<PDAclFilter>& kept );
  void checkLimit( std::vector<Field> const& fields ) const;

  std::vector<Field> fieldsOf( GenSetIpRule const& rule, Vell::AddressFamily af ) const;
  void buildSrcDstIpField( GenSetKey srcKey, GenSetKey dstKey, Vell::AddressFamily af,
                           std::vector<Field>& fields ) const;
  void buildSrcDstL4PortField( GenSetKey sportKey, GenSetKey dportKey, std::vector<Field>& fields ) const;
  bool buildComboField( TcamFieldType fieldType, ComboLabelSetType type, GenSetKeyPair const& keys,
                        std::vector<Field>& fields ) const;
  void buildPrefixField( TcamFieldType fieldType, PrefixXformKey space, GenSetKey key,
                         std::vector<Field>& fields ) const;
  void buildRangeField( TcamFieldType fieldType, RangeSetType type, GenSetKey key, std::vector<Field>& fields ) const;

  void dumpRuleExpanderConfig() const;
  void dumpRuleExpanderStatus() const;

  Kiv::Ptr<RuleExpanderStatus> expanderStatus_;
  Kiv::LinkQueue<PDAclFilter> ruleFilter_;
  Kiv::HashSet2018<FilterRef> ruleFilterDeduper_;
  std::uint64_t keptFilters_ = 0;  // in this kick
  Kiv::String traceKey_;
};

}  // namespace Orvex
