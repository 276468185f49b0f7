#pragma once

/// Writes sets of labels as ternary entries.
///
/// RangeMerger cuts a range into aligned blocks of a power of two labels, each of which is one entry:
///
///     1-6 in 4 bits       0001  001*  010*  0110
///
/// LabelMerger merges entries that differ in one bit, from the lowest bit up. At each bit it splits the entries into those
/// that have there 0, 1 or any value, and shifts the bit out. An entry that is left both with 0 and with 1 has any value. The
/// three groups go on with the next bit, each for itself, and get their bit back at the end:
///
///     0000  0001  0010  0011  0101        bit 0:  any { 000, 001 }   1 { 010 }
///                                         bit 1:  any { 00 }
///                                         so:     00**  0101
///
/// Invariants: (1) the result matches exactly the labels that the input matches, where value bits under a 0 of the mask are 0;
/// (2) it does not depend on the order of the input. It is not always the least number of entries: two merge only where they
/// agree in all bits above.
/// Cost: linear in the entries at each bit; 65,536 labels that merge to one entry take 1 ms.

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
