#pragma once

/// The tables that the encoders and the rule expander leave for the loader. Written by their stage, read by the loader.

#include "Kiv/HashMap2018.h"
#include "Kiv/SortedMap.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Vell/IpGenPrefix.h"

#include "Kiv/Entity.h"

namespace Orvex {

/// What the chip labels an address with: the label of the longest of these prefixes.
class PrefixXformLoaderInfo : public Kiv::Entity {
 public:
  Kiv::SortedMap<Vell::IpGenPrefix, EncodedLabel> const& prefixToLabelMap() const { return prefixToLabelMap_; }
  void prefixToLabelMapIs( Vell::IpGenPrefix const& prefix, EncodedLabel label ) {
    prefixToLabelMap_.set( prefix, label );
  }
  void prefixToLabelMapDel( Vell::IpGenPrefix const& prefix ) { prefixToLabelMap_.erase( prefix ); }
  void prefixToLabelMapDelAll() { prefixToLabelMap_.clear(); }

 private:
  Kiv::SortedMap<Vell::IpGenPrefix, EncodedLabel> prefixToLabelMap_;
};

/// What the chip labels a field's value with: the label of the range that holds it. Ranges that have gone stay until they
/// are overwritten, so a table that is used for several policies can hold ranges that overlap.
class RangeSplitLoaderInfo : public Kiv::Entity {
 public:
  Kiv::SortedMap<RangeSetElem, EncodedLabel> const& rangeToEncodedLabelMap() const { return rangeToEncodedLabelMap_; }
  void rangeToEncodedLabelMapIs( RangeSetElem const& range, EncodedLabel label ) {
    rangeToEncodedLabelMap_.set( range, label );
  }
  void rangeToEncodedLabelMapDel( RangeSetElem const& range ) { rangeToEncodedLabelMap_.erase( range ); }
  void rangeToEncodedLabelMapDelAll() { rangeToEncodedLabelMap_.clear(); }

 private:
  Kiv::SortedMap<RangeSetElem, EncodedLabel> rangeToEncodedLabelMap_;
};

/// What the chip labels a pair of labels with. Pairs that have gone stay until they are overwritten.
class ComboLabelLoaderInfo : public Kiv::Entity {
 public:
  Kiv::HashMap2018<EncodedComboLabel, EncodedLabel> const& encComboToEncodedLabelMap() const {
    return encComboToEncodedLabelMap_;
  }
  void encComboToEncodedLabelMapIs( EncodedComboLabel const& combo, EncodedLabel label ) {
    encComboToEncodedLabelMap_.set( combo, label );
  }
  void encComboToEncodedLabelMapDel( EncodedComboLabel const& combo ) { encComboToEncodedLabelMap_.erase( combo ); }
  void encComboToEncodedLabelMapDelAll() { encComboToEncodedLabelMap_.clear(); }

 private:
  Kiv::HashMap2018<EncodedComboLabel, EncodedLabel> encComboToEncodedLabelMap_;
};

}  // namespace Orvex
