#pragma once

/// Forms the combination sets of one kind of pair: for every rule with a source and a destination set, all pairs of their
/// plain labels.
///
/// Some chips match a source and a destination field through one combined label. A rule then matches a set of pairs:
///
///     source set 3: labels 1, 2        combination set 9: (1, 7) (2, 7)        srcDstToComboMap (3, 4) = 9
///     destination set 4: label 7
///
/// A set is all of source labels by destination labels, a rectangle, and stays one: it refers to the two lists. Rules with the
/// same two sets share it through `srcDstToComboMap`; other pairs of sets with equal lists share it by content.
///
/// Not enabled without a combo encoding attribute for the type, of whatever width. Skipped when both transforms were and the
/// rules pair the same keys as before. Ends "finishedFailed", with a trace of level 0, when a set would have more pairs than
/// the capability's maxComboPairs, or when a set that is not empty has no labels because its transform is off; all
/// combination sets are then forgotten, and the next kick forms them again. A set with nothing but excepted prefixes matches
/// nothing, and so do its combinations: they are empty.
///
/// The skip looks at this kick's transforms only. When a kick has relabelled a side and then failed ahead of the resolver, the
/// next unchanged kick skips both transforms and this stage, and combinations of the old labels stay. A pipeline that sees
/// one policy and one kick never gets there.
///
/// Invariants after a kick that did not fail: (1) comboLabelSetColl holds the distinct sets that rules use, each under the key
/// that it had before; (2) every pair of keys that a rule uses is in srcDstToComboMap; (3) genSetUsageInfo counts the rules.
/// Cost: a hash of every pair of labels, once for each distinct pair of lists.
///
/// Reads the aggregator's and both transforms' statuses, writes ComboLabelInfo.

#include "Orvex/OrvexHwCapability.h"
#include "Orvex/OrvexStageSm.h"
#include "Orvex/OrvexXformTypes.h"

namespace Orvex {

/// The combination sets that rules use.
class ComboLabelDedupMarkAndSweeper final : public DedupMarkAndSweeper {
 public:
  ComboLabelDedupMarkAndSweeper( ComboLabelSetType type, Kiv::Ptr<ComboLabelInfo> const& comboLabelInfo,
                                 Brae::ChipId chipId )
      : type_( type ), comboLabelInfo_( comboLabelInfo ), chipId_( chipId ) {}

  void doCleanupSweptEntry( GenSetKey key ) override;
  GenSetKey getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const override;

 private:
  ComboLabelSetType type_;
  Kiv::Ptr<ComboLabelInfo> comboLabelInfo_;
  Brae::ChipId chipId_;
};

class ComboLabelResolverSm final : public StageSm {
 public:
  ComboLabelResolverSm( Brae::ChipId chipId, Kiv::Ptr<ComboLabelResolverConfig const> const& config,
                        Kiv::Ptr<ComboLabelResolverStatus> const& status,
                        Kiv::Ptr<ChipHwCapability const> const& hwCapability, ComboLabelSetType setType,
                        Kiv::Ptr<GenSetKeyGenerator> const& genSetKeyGen );

  ComboLabelSetType setType() const { return setType_; }
  Kiv::Ptr<GenSetKeyGenerator> const& genSetKeyGen() const { return genSetKeyGen_; }
  Kiv::Ptr<ComboLabelDedupMarkAndSweeper> const& comboLabelDeduper() const { return comboLabelDeduper_; }
  /// Of the pairs of keys that rules used in the last computation; 0 at first and after a failure.
  std::uint64_t workingSetHash() const { return workingSetHash_; }
  void workingSetHashIs( std::uint64_t hash ) { workingSetHash_ = hash; }

 protected:
  void doStartKick() override;

 private:
  /// Two lists of labels that live as long as a computation.
  struct LabelLists {
    PlainLabels const* src;
    PlainLabels const* dst;
    bool operator==( LabelLists const& ) const = default;
    std::uint32_t hash() const noexcept {
      return Kiv::IncrementalHash()
          .add( reinterpret_cast<std::uintptr_t>( src ) )
          .add( reinterpret_cast<std::uintptr_t>( dst ) )
          .result();
    }
  };

  Kiv::Ptr<ComboLabelResolverConfig const> resolverConfig() const;
  std::uint64_t doComputeComboHash() const;
  void doCleanSm();
  /// These two return false when the stage cannot do its work, and have then traced why.
  bool checkRulesForSrcDstSets();
  bool doBuildComboLabelSet( GenSetKey srcKey, GenSetKey dstKey );
  void doDeleteUnusedSets();
  void forget();

  Kiv::Ptr<PlainLabels const> labelsOf( bool src, GenSetKey key ) const;
  bool isEmptySet( bool src, GenSetKey key ) const;
  GenSetKey canonicalKey( GenSetKey newKey, Kiv::Ptr<PlainLabels const> const& srcLabels,
                          Kiv::Ptr<PlainLabels const> const& dstLabels );

  ComboLabelSetType setType_;
  Kiv::Ptr<ComboLabelResolverStatus> resolverStatus_;
  Kiv::Ptr<ChipHwCapability const> hwCapability_;
  Kiv::Ptr<GenSetKeyGenerator> genSetKeyGen_;
  Kiv::Ptr<ComboLabelDedupMarkAndSweeper> comboLabelDeduper_;
  Kiv::Ptr<PlainLabels const> emptyLabels_;
  Kiv::HashMap2018<LabelLists, GenSetKey> comboOfLists_;  // of this computation
  std::uint64_t workingSetHash_ = 0;
  Kiv::String traceStr_;
};

}  // namespace Orvex
