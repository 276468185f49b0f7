#pragma once

/// Gives plain labels their encoded values so that sets that nest are blocks that nest.
///
/// The other way, OrvexEncodedLabelAllocator.h, serves the largest set first and packs its labels close; a smaller set within it
/// finds its labels scattered. Here all sets have a say before the first value is given:
///
///     lists  ->  LabelFamily    which labels, which weights
///            ->  BlockTree      which labels share a block                (OrvexNestedSets.h)
///            ->  values         blocks inside blocks, within the width    (OrvexBlockPacking.h)
///            ->  ranges         what each set matches                     (OrvexBlockCover.h)
///
/// and, where sets cross and there are bits left over, fields beside the blocks for some of them (OrvexSetFields.h).
///
/// Invariants of a successful allocation: (1) every label of every list has one value, and no two have the same; (2) the
/// reserved value is not among them; (3) the ranges of a set hold the values of its labels, and otherwise only values that no
/// label has, the reserved one only where no packet can have it; (4) it succeeds where the other way does.
/// Cost: that of the parts.

#include "Orvex/OrvexBlockPacking.h"
#include "Orvex/OrvexEncodedLabelAllocator.h"

namespace Orvex {

/// Allocates at once: values into `encoderStatus`, which holds none of an earlier run, ranges into `allocStatus`.
void allocateNested( std::uint32_t bitWidth, EncodedLabel reservedLabel, ReservedValue kind,
                     EncoderConfig const& config, GenSetUsageInfo const& usage, EncoderStatus& encoderStatus,
                     EncodedLabelAllocStatus& allocStatus );

}  // namespace Orvex
