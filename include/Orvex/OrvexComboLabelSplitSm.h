#pragma once

/// Finds for every pair of labels the combination sets that contain it, and labels the pairs.
///
/// Pairs are disjoint as they are: a label names one piece of its own field. What is left is to name each pair by its group:
///
///     set X: (1, 7)                 (1, 7) {X, Y}    label 1
///     set Y: (1, 7) (2, 7)          (2, 7) {Y}       label 2
///
/// Sets are rectangles, so the pairs are gone through row by row, a row being all pairs of one source label: a set lies in a
/// row with all its destination labels or not at all.
///
/// Invariants: those of OrvexXformSm.h. An empty set has no pair, and gets no list.
/// Cost: the sum of the sizes of the sets; memory for the distinct groups, and 16 bytes a pair.
///
/// Reads ComboLabelInfo, writes ComboLabelSplitStatus.

#include "Kiv/SortedMap.h"
#include "Orvex/OrvexXformSm.h"

namespace Orvex {

class ComboLabelSplitSm final : public XformSmBase {
 public:
  ComboLabelSplitSm( Brae::ChipId chipId, Kiv::Ptr<ComboLabelSplitConfig const> const& config,
                     Kiv::Ptr<ComboLabelSplitStatus> const& status,
                     Kiv::Ptr<ChipHwCapability const> const& hwCapability, ComboLabelSetType setType );

  ComboLabelSetType setType() const { return setType_; }
  Kiv::Ptr<ComboLabelSplitStatus> const& comboLabelSplitStatus() const { return comboLabelSplitStatus_; }
  /// As of the last computation, in ascending order.
  Kiv::SortedMap<GenCombo, Kiv::Ptr<GenSetKeyGroup>> const& comboLabelToGenSetGrpMap() const {
    return comboLabelToGenSetGrpMap_;
  }

 protected:
  void doBuildWorkingSet() override;
  void doBuildSetGroup() override;
  void doAllocLabels() override;
  std::uint32_t xformWidth() const override;

 private:
  ComboLabelInfo const& comboLabelInfo() const;

  ComboLabelSetType setType_;
  Kiv::Ptr<ComboLabelSplitStatus> comboLabelSplitStatus_;
  Kiv::SortedMap<GenCombo, Kiv::Ptr<GenSetKeyGroup>> comboLabelToGenSetGrpMap_;
};

}  // namespace Orvex
