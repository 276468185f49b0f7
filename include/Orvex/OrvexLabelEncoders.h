#pragma once

/// The three encoders: what OrvexLabelEncoderSm.h leaves to prefixes, ranges and combinations, their widths and the tables
/// that they leave for the loader.
///
/// A range field without an encoding attribute has no labels: the chip matches its value as it is, and the encoder writes a
/// set's ranges as entries of the field's own width. That is done on presence of the attribute; one of width 0 goes by labels
/// all the same, of which there are none.

#include "Orvex/OrvexLabelEncoderSm.h"

namespace Orvex {

/// A piece that no set contains has the invalid value in the prefix table: it must be there, or longest match would fall back
/// to the enclosing prefix.
class PrefixLabelEncoderSm final : public LabelEncoderSm {
 public:
  PrefixLabelEncoderSm( Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config,
                        Kiv::Ptr<PrefixEncoderStatus> const& status,
                        Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo,
                        Kiv::Ptr<ChipHwCapability const> const& hwCapability, PrefixXformKey key,
                        Kiv::Ptr<PrefixXformStatus const> const& prefixXformStatus );

  PrefixXformKey key() const { return key_; }

 protected:
  void doUpdateLoaderInfo() override;
  ReservedValue reservedValueKind() const override;

 private:
  PrefixXformKey key_;
  Kiv::Ptr<PrefixEncoderStatus> prefixEncoderStatus_;
  Kiv::Ptr<PrefixXformStatus const> prefixXformStatus_;
};

/// Ranges that have gone stay in the table until they are overwritten.
class RangeEncoderSm final : public LabelEncoderSm {
 public:
  RangeEncoderSm( Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config,
                  Kiv::Ptr<RangeEncoderStatus> const& status, Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo,
                  Kiv::Ptr<ChipHwCapability const> const& hwCapability, RangeSetType setType,
                  Kiv::Ptr<RangeSplitStatus const> const& rangeSplitStatus,
                  Kiv::Ptr<RangeSplitAggregatorInfo const> const& aggregatorInfo );

  RangeSetType setType() const { return setType_; }

 protected:
  std::uint64_t doBuildWorkingSetHash() const override;
  bool doEncode() override;
  void doUpdateLoaderInfo() override;
  ReservedValue reservedValueKind() const override;

 private:
  bool isRaw() const { return !hwCapability()->rangeEncodingAttrHas( setType_ ); }

  RangeSetType setType_;
  Kiv::Ptr<RangeEncoderStatus> rangeEncoderStatus_;
  Kiv::Ptr<RangeSplitStatus const> rangeSplitStatus_;
  Kiv::Ptr<RangeSplitAggregatorInfo const> aggregatorInfo_;
};

/// The table goes from the values of the source and the destination label to the value of their pair. Pairs that have gone
/// stay until they are overwritten.
class ComboLabelEncoderSm final : public LabelEncoderSm {
 public:
  ComboLabelEncoderSm( Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config,
                       Kiv::Ptr<ComboLabelEncoderStatus> const& status,
                       Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo,
                       Kiv::Ptr<ChipHwCapability const> const& hwCapability, ComboLabelSetType setType,
                       Kiv::Ptr<ComboLabelSplitStatus const> const& comboLabelSplitStatus,
                       Kiv::Ptr<EncoderStatus const> const& srcEncStatus,
                       Kiv::Ptr<EncoderStatus const> const& dstEncStatus );

  ComboLabelSetType setType() const { return setType_; }
  Kiv::Ptr<EncoderStatus const> const& srcEncStatus() const { return srcEncStatus_; }
  Kiv::Ptr<EncoderStatus const> const& dstEncStatus() const { return dstEncStatus_; }

 protected:
  void doUpdateLoaderInfo() override;

 private:
  ComboLabelSetType setType_;
  Kiv::Ptr<ComboLabelEncoderStatus> comboLabelEncoderStatus_;
  Kiv::Ptr<ComboLabelSplitStatus const> comboLabelSplitStatus_;
  Kiv::Ptr<EncoderStatus const> srcEncStatus_;
  Kiv::Ptr<EncoderStatus const> dstEncStatus_;
};

}  // namespace Orvex
