#pragma once

/// Counts the memory that a benchmark program allocates. Linking it in replaces operator new and delete.

#include <cstddef>

namespace Orvex::Bench {

/// Bytes, as the allocator rounds them.
std::size_t liveBytes();
std::size_t peakBytes();
/// The peak begins again at what is live now.
void peakBytesReset();

}  // namespace Orvex::Bench
