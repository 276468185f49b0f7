#pragma once

/// The loader's config and status, and in the config the tables that the encoders and the rule expander leave for it. Each
/// table is written by its stage and read by the loader, which copies all but the rules into a snapshot.

#include "Kiv/Entity.h"
#include "Kiv/HashMap2018.h"
#include "Kiv/SortedMap.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Orvex/OrvexPDTypes.h"
#include "Orvex/OrvexStageSm.h"
#include "Vell/IpGenPrefix.h"

namespace Orvex {

/// What the chip labels an address with: the label of the longest of these prefixes.
class PrefixXformLoaderInfo : public Kiv::Entity {
 public:
  explicit PrefixXformLoaderInfo( PrefixXformKey key ) : key_( key ) {}

  PrefixXformKey key() const { return key_; }

  Kiv::SortedMap<Vell::IpGenPrefix, EncodedLabel> const& prefixToLabelMap() const { return prefixToLabelMap_; }
  void prefixToLabelMapIs( Vell::IpGenPrefix const& prefix, EncodedLabel label ) {
    prefixToLabelMap_.set( prefix, label );
  }
  void prefixToLabelMapDel( Vell::IpGenPrefix const& prefix ) { prefixToLabelMap_.erase( prefix ); }
  void prefixToLabelMapDelAll() { prefixToLabelMap_.clear(); }

 private:
  PrefixXformKey key_;
  Kiv::SortedMap<Vell::IpGenPrefix, EncodedLabel> prefixToLabelMap_;
};

/// What the chip labels a field's value with: the label of the range that holds it. Ranges that have gone stay until they
/// are overwritten, so a table that is used for several policies can hold ranges that overlap.
class RangeSplitLoaderInfo : public Kiv::Entity {
 public:
  explicit RangeSplitLoaderInfo( RangeSetType setType ) : setType_( setType ) {}

  RangeSetType setType() const { return setType_; }

  Kiv::SortedMap<RangeSetElem, EncodedLabel> const& rangeToEncodedLabelMap() const { return rangeToEncodedLabelMap_; }
  void rangeToEncodedLabelMapIs( RangeSetElem const& range, EncodedLabel label ) {
    rangeToEncodedLabelMap_.set( range, label );
  }
  void rangeToEncodedLabelMapDel( RangeSetElem const& range ) { rangeToEncodedLabelMap_.erase( range ); }
  void rangeToEncodedLabelMapDelAll() { rangeToEncodedLabelMap_.clear(); }

 private:
  RangeSetType setType_;
  Kiv::SortedMap<RangeSetElem, EncodedLabel> rangeToEncodedLabelMap_;
};

/// What the chip labels a pair of labels with. Pairs that have gone stay until they are overwritten.
class ComboLabelLoaderInfo : public Kiv::Entity {
 public:
  explicit ComboLabelLoaderInfo( ComboLabelSetType setType ) : setType_( setType ) {}

  ComboLabelSetType setType() const { return setType_; }

  Kiv::HashMap2018<EncodedComboLabel, EncodedLabel> const& encComboToEncodedLabelMap() const {
    return encComboToEncodedLabelMap_;
  }
  void encComboToEncodedLabelMapIs( EncodedComboLabel const& combo, EncodedLabel label ) {
    encComboToEncodedLabelMap_.set( combo, label );
  }
  void encComboToEncodedLabelMapDel( EncodedComboLabel const& combo ) { encComboToEncodedLabelMap_.erase( combo ); }
  void encComboToEncodedLabelMapDelAll() { encComboToEncodedLabelMap_.clear(); }

 private:
  ComboLabelSetType setType_;
  Kiv::HashMap2018<EncodedComboLabel, EncodedLabel> encComboToEncodedLabelMap_;
};

/// What the loader publishes. Made by the root, which hands its parts to the stages that fill them.
class LoaderConfig : public StageConfig {
 public:
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PrefixXformLoaderInfo>> const& prefixXformLoaderInfo() const {
    return prefixXformLoaderInfo_;
  }
  Kiv::Ptr<PrefixXformLoaderInfo> prefixXformLoaderInfoIs( PrefixXformKey key );
  void prefixXformLoaderInfoDel( PrefixXformKey key ) { prefixXformLoaderInfo_.erase( key ); }
  void prefixXformLoaderInfoDelAll() { prefixXformLoaderInfo_.clear(); }

  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<RangeSplitLoaderInfo>> const& rangeSplitLoaderInfo() const {
    return rangeSplitLoaderInfo_;
  }
  Kiv::Ptr<RangeSplitLoaderInfo> rangeSplitLoaderInfoIs( RangeSetType type );
  void rangeSplitLoaderInfoDel( RangeSetType type ) { rangeSplitLoaderInfo_.erase( type ); }
  void rangeSplitLoaderInfoDelAll() { rangeSplitLoaderInfo_.clear(); }

  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<ComboLabelLoaderInfo>> const& comboLabelLoaderInfo() const {
    return comboLabelLoaderInfo_;
  }
  Kiv::Ptr<ComboLabelLoaderInfo> comboLabelLoaderInfoIs( ComboLabelSetType type );
  void comboLabelLoaderInfoDel( ComboLabelSetType type ) { comboLabelLoaderInfo_.erase( type ); }
  void comboLabelLoaderInfoDelAll() { comboLabelLoaderInfo_.clear(); }

  /// The rule expander's collection, which snapshots share.
  Kiv::Ptr<PDAclColl> const& ruleExpanderLoaderInfo() const { return ruleExpanderLoaderInfo_; }
  Kiv::Ptr<PDAclColl> const& ruleExpanderLoaderInfoIs();

 private:
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PrefixXformLoaderInfo>> prefixXformLoaderInfo_;
  Kiv::HashMap2018<RangeSetType, Kiv::Ptr<RangeSplitLoaderInfo>> rangeSplitLoaderInfo_;
  Kiv::HashMap2018<ComboLabelSetType, Kiv::Ptr<ComboLabelLoaderInfo>> comboLabelLoaderInfo_;
  Kiv::Ptr<PDAclColl> ruleExpanderLoaderInfo_;
};

class LoaderStatus : public StageStatus {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<LoaderStatus, StageStatus::NotifieeConst> {
   public:
    virtual void onLastFailedState() {}
  };

  /// The last snapshot for which resources could not be acquired.
  FailureData const& lastFailedState() const { return lastFailedState_; }
  void lastFailedStateIs( FailureData const& failure ) {
    set( lastFailedState_, failure, &NotifieeConst::onLastFailedState );
  }

 private:
  FailureData lastFailedState_;
};

}  // namespace Orvex
