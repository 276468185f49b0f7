#pragma once

/// The base of the label encoders: turns the plain labels of one transform into values that the chip matches, and every set
/// into ternary entries.
///
///     transform:   set 3: labels 1, 2, 3       encoder:   1 -> 4, 2 -> 5, 3 -> 6       set 3: 01**
///
/// A kick asks for an allocation of the working set, the sets that the transform has listed; cuts each set's values into
/// entries; and merges these. It is skipped when the transform was skipped or is off, and the sets and their use counts hash
/// as before. It ends "finishedFailed" when there are more labels than values; values, entries and loader table then stay as
/// they were. Width 0 is "finishedNotEnabled".
///
/// Invariants after a kick that succeeded: (1) those of OrvexEncodedLabelAllocator.h; (2) the entries of a set match the
/// values of its labels and of no other set's label that it has not.
/// Cost: allocation and merging of each distinct list once.
///
/// Reads XformStatus, writes EncoderStatus and the loader's table.

#include "Orvex/OrvexEncodedLabelAllocator.h"
#include "Orvex/OrvexEncoderTypes.h"
#include "Orvex/OrvexHwCapability.h"
#include "Orvex/OrvexNestedAllocator.h"
#include "Orvex/OrvexStageSm.h"

namespace Orvex {

class LabelEncoderSm : public StageSm {
 public:
  Kiv::Ptr<EncoderConfig const> encoderConfig() const;
  Kiv::Ptr<EncoderStatus> const& encoderStatus() const { return encoderStatus_; }
  EncodingAttr encodingAttr() const { return encodingAttr_; }
  /// Bits of the values, 0 to 16; 0: not enabled.
  std::uint32_t encodeBitWidth() const { return encodeBitWidth_; }
  std::uint64_t workingSetHash() const { return workingSetHash_; }

  /// The entries of each set before they are merged.
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<EncodedLabelWithMaskList>> const& eLabelMask() const { return eLabelMask_; }
  Kiv::Ptr<EncodedLabelWithMaskList> eLabelMaskIs( GenSetKey key );
  void eLabelMaskDel( GenSetKey key ) { eLabelMask_.erase( key ); }
  void eLabelMaskDelAll() { eLabelMask_.clear(); }

 protected:
  /// `traceKey` is the encoder's name, in front of each of its traces.
  LabelEncoderSm( Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config,
                  Kiv::Ptr<EncoderStatus> const& status, Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo,
                  Kiv::Ptr<ChipHwCapability const> const& hwCapability, EncodingAttr encodingAttr,
                  std::uint32_t encodeBitWidth, Kiv::String traceKey );

  Kiv::Ptr<ChipHwCapability const> const& hwCapability() const { return hwCapability_; }
  Kiv::String const& traceKey() const { return traceKey_; }

  void doStartKick() override;
  virtual std::uint64_t doBuildWorkingSetHash() const;
  /// Fills eLabelMask and the status's values; false when the labels do not fit.
  virtual bool doEncode();
  virtual void doUpdateLoaderInfo() {}
  /// Whether a packet can lack a label.
  virtual ReservedValue reservedValueKind() const { return ReservedValue::reachable; }

 private:
  struct Allocation;

  Kiv::Ptr<EncodedLabelAllocStatus> allocation();
  Allocation allocationBy( LabelPlacement placement );
  bool takesFewerEntries( EncodedLabelAllocStatus const& costOrdered, EncodedLabelAllocStatus const& nested ) const;
  std::uint64_t furtherEntries( EncodedLabelAllocStatus const& allocation, std::uint64_t limit ) const;
  std::uint64_t usersOf( GenSetKey key ) const;
  void doMerge();

  Kiv::Ptr<EncoderStatus> encoderStatus_;
  Kiv::Ptr<GenSetUsageInfo const> genSetUsageInfo_;
  Kiv::Ptr<ChipHwCapability const> hwCapability_;
  EncodingAttr encodingAttr_;
  std::uint32_t encodeBitWidth_;
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<EncodedLabelWithMaskList>> eLabelMask_;
  std::uint64_t workingSetHash_ = 0;
  Kiv::String traceKey_;
};

}  // namespace Orvex
