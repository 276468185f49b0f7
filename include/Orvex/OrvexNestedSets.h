#pragma once

/// Makes of the sets of a table the tree of blocks that they ask for.
///
/// Sets that nest, as prefixes do, ask for blocks inside blocks, which costs every set one entry:
///
///     10.0.0.0/8     labels 1 2 3 4       [ 4 [ 1 2 3 . ] . . . ]
///     10.1.0.0/16    labels 1 2 3
///
/// So each class of overlapping sets (OrvexOverlapClasses.h) becomes a node within the part of the enclosing class that holds
/// it. A class of several sets first becomes a small tree over the parts that its sets cut each other into: by the programme
/// for intervals where the parts lie on a line and are few, between neighbours where they lie on a line, else by pairing.
///
/// Cost: linear in the labels of the sets but for sorting, and that of the programme for kProgrammeWork of its sums at most;
/// a class for which no work is left goes between neighbours.

#include "Orvex/OrvexBlockTree.h"
#include "Orvex/OrvexLabelFamily.h"

namespace Orvex {

/// As many sums as 6 programmes of the largest size take at most.
constexpr std::uint64_t kProgrammeWork = std::uint64_t{ 256 } * 256 * 256;

BlockTree nestedSetsTree( LabelFamily const& family );

}  // namespace Orvex
