#pragma once

/// Cuts overlapping ranges of one packet field into disjoint pieces and labels them.
///
/// Two sets that share ports cannot both be written as plain labels: a port would need two. So the field is cut where any
/// set begins or ends, each piece is named by the group of sets that hold it, and pieces with equal groups share a label.
///
///     set 1: 10-20            pieces: 10-14 {1}    label 1
///     set 2: 15-30                    15-20 {1,2}  label 2
///                                     21-30 {2}    label 3
///
/// The pieces come from one sweep over the points where ranges begin or end, with the group of the sets that are open.
///
/// Invariants: (1) pieces are disjoint and ascending; (2) their union is the union of the sets; (3) labels run from 1 without
/// gaps, in ascending order of the pieces. All require that the ranges of one set neither overlap nor share an end with a
/// start: the group knows which sets are open, not how often, so the end of one range closes the set for the others. Whoever
/// builds a policy merges a set's ranges first.
/// Cost: O(n log n) in range ends, and each piece's group in classes. Ends are inclusive and 65535 is a legal end: the value
/// after it is never used.
///
/// Reads RangeSplitAggregatorInfo, writes RangeSplitStatus. Kicks, labels and lists are those of OrvexXformSm.h.

#include "Kiv/RbTreeMap.h"
#include "Kiv/SortedMap.h"
#include "Orvex/OrvexXformSm.h"

namespace Orvex {

/// A value at which ranges begin or end.
class RangePointInfo : public Kiv::Entity {
 public:
  explicit RangePointInfo( std::uint16_t point )
      : start_( Kiv::make<GenSetKeyGroup>() ), end_( Kiv::make<GenSetKeyGroup>() ), point_( point ) {}

  std::uint16_t point() const { return point_; }
  /// Keys of the sets with a range that begins here.
  Kiv::Ptr<GenSetKeyGroup> const& start() const { return start_; }
  /// Keys of the sets with a range that ends here.
  Kiv::Ptr<GenSetKeyGroup> const& end() const { return end_; }

 private:
  Kiv::Ptr<GenSetKeyGroup> start_;
  Kiv::Ptr<GenSetKeyGroup> end_;
  std::uint16_t point_;
};

class RangeSplitSm final : public XformSmBase {
 public:
  RangeSplitSm( Brae::ChipId chipId, Kiv::Ptr<RangeSplitConfig const> const& config,
                Kiv::Ptr<RangeSplitStatus> const& status, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                RangeSetType setType );

  RangeSetType setType() const { return setType_; }
  Kiv::Ptr<RangeSplitStatus> const& rangeSplitStatus() const { return rangeSplitStatus_; }
  /// As of the last computation.
  Kiv::RbTreeMap<std::uint16_t, Kiv::Ptr<RangePointInfo>> const& rangePointInfo() const { return rangePointInfo_; }
  Kiv::Ptr<RangePointInfo> rangePointInfoIs( std::uint16_t point );
  Kiv::SortedMap<RangeSetElem, Kiv::Ptr<GenSetKeyGroup>> const& rangeElemToGenSetGrp() const {
    return rangeElemToGenSetGrp_;
  }

 protected:
  void doBuildWorkingSet() override;
  void doBuildSetGroup() override;
  void doAllocLabels() override;
  std::uint32_t xformWidth() const override;

 private:
  class OpenSets;

  RangeSplitAggregatorInfo const& aggregatorInfo() const;
  void doCreateRangePoints();
  void createRange( std::uint16_t first, std::uint16_t last, OpenSets& openSets );

  RangeSetType setType_;
  Kiv::Ptr<RangeSplitStatus> rangeSplitStatus_;
  Kiv::RbTreeMap<std::uint16_t, Kiv::Ptr<RangePointInfo>> rangePointInfo_;
  Kiv::SortedMap<RangeSetElem, Kiv::Ptr<GenSetKeyGroup>> rangeElemToGenSetGrp_;
};

}  // namespace Orvex
