#pragma once

/// Which seeds a random test tries. ORVEX_SEEDS="FIRST COUNT" in the environment names others than the test's own, for
/// long runs and for one seed that failed.

#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace Orvex::Host::Test {

struct SeedRange {
  std::uint64_t first = 1;
  std::uint64_t count = 0;
};

inline SeedRange seedRange( std::uint64_t count ) {
  SeedRange seeds{ 1, count };
  if ( char const* const text = std::getenv( "ORVEX_SEEDS" ) ) std::istringstream( text ) >> seeds.first >> seeds.count;
  return seeds;
}

}  // namespace Orvex::Host::Test
