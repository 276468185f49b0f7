#pragma once

/// What the transform stages read and write: per kind of set a config with the sets to cut, and a status with the disjoint
/// pieces, each with its plain label, and with every set's list of labels.
///
/// Configs are written by the root, once; statuses and ComboLabelInfo by their stage, in a kick.

#include "Kiv/HashMap2018.h"
#include "Kiv/SortedMap.h"
#include "Orvex/OrvexAggregatorTypes.h"
#include "Orvex/OrvexGenSetTypes.h"
#include "Orvex/OrvexStageSm.h"

namespace Orvex {

/// The combination sets of one kind of pair. Written by the resolver, read by the split.
class ComboLabelInfo : public Kiv::Entity {
 public:
  explicit ComboLabelInfo( ComboLabelSetType setType ) : setType_( setType ) {}

  ComboLabelSetType setType() const { return setType_; }

  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<ComboLabelSet>> const& comboLabelSetColl() const { return comboLabelSetColl_; }
  Kiv::Ptr<ComboLabelSet> comboLabelSetCollIs( GenSetKey key, ComboLabelSetType type );
  void comboLabelSetCollDel( GenSetKey key ) { comboLabelSetColl_.erase( key ); }
  void comboLabelSetCollDelAll() { comboLabelSetColl_.clear(); }
  bool comboLabelSetCollHas( GenSetKey key ) const { return comboLabelSetColl_.has( key ); }

  /// The combination set that stands for a pair of source and destination set.
  Kiv::HashMap2018<GenSetKeyPair, GenSetKey> const& srcDstToComboMap() const { return srcDstToComboMap_; }
  void srcDstToComboMapIs( GenSetKeyPair const& pair, GenSetKey combo ) { srcDstToComboMap_.set( pair, combo ); }
  void srcDstToComboMapDel( GenSetKeyPair const& pair ) { srcDstToComboMap_.erase( pair ); }
  void srcDstToComboMapDelAll() { srcDstToComboMap_.clear(); }
  bool srcDstToComboMapHas( GenSetKeyPair const& pair ) const { return srcDstToComboMap_.has( pair ); }

 private:
  ComboLabelSetType setType_;
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<ComboLabelSet>> comboLabelSetColl_;
  Kiv::HashMap2018<GenSetKeyPair, GenSetKey> srcDstToComboMap_;
};

// Configs

class PrefixXformConfig : public StageConfig {
 public:
  PrefixXformConfig( PrefixXformKey key, Kiv::Ptr<PrefixAggregatorInfo const> const& aggregatorInfo )
      : key_( key ), aggregatorInfo_( aggregatorInfo ) {}

  PrefixXformKey key() const { return key_; }
  Kiv::Ptr<PrefixAggregatorInfo const> const& aggregatorInfo() const { return aggregatorInfo_; }

 private:
  PrefixXformKey key_;
  Kiv::Ptr<PrefixAggregatorInfo const> aggregatorInfo_;
};

class RangeSplitConfig : public StageConfig {
 public:
  RangeSplitConfig( RangeSetType setType, Kiv::Ptr<RangeSplitAggregatorInfo const> const& aggregatorInfo )
      : setType_( setType ), aggregatorInfo_( aggregatorInfo ) {}

  RangeSetType setType() const { return setType_; }
  Kiv::Ptr<RangeSplitAggregatorInfo const> const& aggregatorInfo() const { return aggregatorInfo_; }

 private:
  RangeSetType setType_;
  Kiv::Ptr<RangeSplitAggregatorInfo const> aggregatorInfo_;
};

class ComboLabelSplitConfig : public StageConfig {
 public:
  ComboLabelSplitConfig( ComboLabelSetType setType, Kiv::Ptr<ComboLabelInfo const> const& comboLabelInfo )
      : setType_( setType ), comboLabelInfo_( comboLabelInfo ) {}

  ComboLabelSetType setType() const { return setType_; }
  Kiv::Ptr<ComboLabelInfo const> const& comboLabelInfo() const { return comboLabelInfo_; }

 private:
  ComboLabelSetType setType_;
  Kiv::Ptr<ComboLabelInfo const> comboLabelInfo_;
};

// Statuses

/// The lists of labels; each transform adds the map from its pieces to their labels, in ascending order of the pieces.
class XformStatus : public StageStatus {
 public:
  Kiv::Ptr<PlainLabelListMap> const& plainLabelListMap() const { return plainLabelListMap_; }

 protected:
  XformStatus();

 private:
  Kiv::Ptr<PlainLabelListMap> plainLabelListMap_;
};

class PrefixXformStatus : public XformStatus {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<PrefixXformStatus, StageStatus::NotifieeConst> {
   public:
    virtual void onPrefixToLabelMap() {}
    virtual void onPrefixToLabelMap( Vell::IpGenPrefix ) {}
  };

  explicit PrefixXformStatus( PrefixXformKey key ) : key_( key ) {}

  PrefixXformKey key() const { return key_; }

  Kiv::SortedMap<Vell::IpGenPrefix, PlainLabel> const& prefixToLabelMap() const { return prefixToLabelMap_; }
  void prefixToLabelMapIs( Vell::IpGenPrefix const& prefix, PlainLabel label ) {
    setMember( prefixToLabelMap_, prefix, label, &NotifieeConst::onPrefixToLabelMap );
  }
  void prefixToLabelMapDel( Vell::IpGenPrefix const& prefix ) {
    deleteMember( prefixToLabelMap_, prefix, &NotifieeConst::onPrefixToLabelMap );
  }
  void prefixToLabelMapDelAll() { deleteAllMembers( prefixToLabelMap_, &NotifieeConst::onPrefixToLabelMap ); }

 private:
  PrefixXformKey key_;
  Kiv::SortedMap<Vell::IpGenPrefix, PlainLabel> prefixToLabelMap_;
};

class RangeSplitStatus : public XformStatus {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<RangeSplitStatus, StageStatus::NotifieeConst> {
   public:
    virtual void onRangeToPlainLabelMap() {}
    virtual void onRangeToPlainLabelMap( RangeSetElem ) {}
  };

  explicit RangeSplitStatus( RangeSetType setType ) : setType_( setType ) {}

  RangeSetType setType() const { return setType_; }

  Kiv::SortedMap<RangeSetElem, PlainLabel> const& rangeToPlainLabelMap() const { return rangeToPlainLabelMap_; }
  void rangeToPlainLabelMapIs( RangeSetElem const& range, PlainLabel label ) {
    setMember( rangeToPlainLabelMap_, range, label, &NotifieeConst::onRangeToPlainLabelMap );
  }
  void rangeToPlainLabelMapDel( RangeSetElem const& range ) {
    deleteMember( rangeToPlainLabelMap_, range, &NotifieeConst::onRangeToPlainLabelMap );
  }
  void rangeToPlainLabelMapDelAll() {
    deleteAllMembers( rangeToPlainLabelMap_, &NotifieeConst::onRangeToPlainLabelMap );
  }

 private:
  RangeSetType setType_;
  Kiv::SortedMap<RangeSetElem, PlainLabel> rangeToPlainLabelMap_;
};

class ComboLabelSplitStatus : public XformStatus {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<ComboLabelSplitStatus, StageStatus::NotifieeConst> {
   public:
    virtual void onComboToPlainLabelMap() {}
    virtual void onComboToPlainLabelMap( GenCombo ) {}
  };

  explicit ComboLabelSplitStatus( ComboLabelSetType setType ) : setType_( setType ) {}

  ComboLabelSetType setType() const { return setType_; }

  Kiv::SortedMap<GenCombo, PlainLabel> const& comboToPlainLabelMap() const { return comboToPlainLabelMap_; }
  void comboToPlainLabelMapIs( GenCombo const& combo, PlainLabel label ) {
    setMember( comboToPlainLabelMap_, combo, label, &NotifieeConst::onComboToPlainLabelMap );
  }
  void comboToPlainLabelMapDel( GenCombo const& combo ) {
    deleteMember( comboToPlainLabelMap_, combo, &NotifieeConst::onComboToPlainLabelMap );
  }
  void comboToPlainLabelMapDelAll() {
    deleteAllMembers( comboToPlainLabelMap_, &NotifieeConst::onComboToPlainLabelMap );
  }

 private:
  ComboLabelSetType setType_;
  Kiv::SortedMap<GenCombo, PlainLabel> comboToPlainLabelMap_;
};

// The resolver of combinations

class ComboLabelResolverConfig : public StageConfig {
 public:
  ComboLabelResolverConfig( ComboLabelSetType setType, Kiv::Ptr<XformStatus const> const& srcXform,
                            Kiv::Ptr<XformStatus const> const& dstXform,
                            Kiv::Ptr<AggregatorStatus const> const& aggInfo )
      : setType_( setType ), srcXform_( srcXform ), dstXform_( dstXform ), aggInfo_( aggInfo ) {}

  ComboLabelSetType setType() const { return setType_; }
  Kiv::Ptr<XformStatus const> const& srcXform() const { return srcXform_; }
  Kiv::Ptr<XformStatus const> const& dstXform() const { return dstXform_; }
  Kiv::Ptr<AggregatorStatus const> const& aggInfo() const { return aggInfo_; }

 private:
  ComboLabelSetType setType_;
  Kiv::Ptr<XformStatus const> srcXform_;
  Kiv::Ptr<XformStatus const> dstXform_;
  Kiv::Ptr<AggregatorStatus const> aggInfo_;
};

class ComboLabelResolverStatus : public StageStatus {
 public:
  explicit ComboLabelResolverStatus( ComboLabelSetType setType );

  ComboLabelSetType setType() const { return comboLabelInfo_->setType(); }
  Kiv::Ptr<ComboLabelInfo> const& comboLabelInfo() const { return comboLabelInfo_; }
  /// How many rules use each combination set.
  Kiv::Ptr<GenSetUsageInfo> const& genSetUsageInfo() const { return genSetUsageInfo_; }

 private:
  Kiv::Ptr<ComboLabelInfo> comboLabelInfo_;
  Kiv::Ptr<GenSetUsageInfo> genSetUsageInfo_;
};

}  // namespace Orvex
