#pragma once

/// Writes sets of labels as ternary entries.
///
/// RangeMerger cuts a range into aligned blocks of a power of two labels, each of which is one entry:
///
///     1-6 in 4 bits       0001  001*  010*  0110
///
/// LabelMerger merges entries that differ in one bit, from the lowest bit up (OrvexEntryMerging.h):
///
///     0000  0001  0010  0011  0101        00**  0101

#include <cstdint>

#include "Orvex/OrvexGenSetTypes.h"

namespace Orvex {

class RangeMerger : public Kiv::Entity {
 public:
  /// Entries are added to `outList`. Widths are in bits, 1 to 16.
  RangeMerger( std::uint32_t bitWidth, Kiv::Ptr<EncodedLabelWithMaskList> const& outList )
      : bitWidth_( bitWidth ), outList_( outList ) {}

  /// Both ends included. Requires: start <= end, and a width that is not 0.
  void doMergeRange( std::uint32_t start, std::uint32_t end );

 private:
  void addBlock( std::uint32_t start, std::uint32_t sizeBits );

  std::uint32_t bitWidth_;
  Kiv::Ptr<EncodedLabelWithMaskList> outList_;
};

Kiv::Ptr<RangeMerger> rangeMergerFactory( std::uint32_t bitWidth, Kiv::Ptr<EncodedLabelWithMaskList> const& outList );

class LabelMerger : public Kiv::Entity {
 public:
  /// Merges at once.
  LabelMerger( std::uint32_t bitWidth, Kiv::Ptr<EncodedLabelWithMaskList const> const& inLabelMask,
               Kiv::Ptr<EncodedLabelWithMaskList> const& outLabelMask );
};

/// When it returns, `outLabelMask` has the result added.
Kiv::Ptr<LabelMerger> labelMergerFactory( std::uint32_t bitWidth,
                                          Kiv::Ptr<EncodedLabelWithMaskList const> const& inLabelMask,
                                          Kiv::Ptr<EncodedLabelWithMaskList> const& outLabelMask );

}  // namespace Orvex
