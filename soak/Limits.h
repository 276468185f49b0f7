#pragma once

/// What a chip can run out of, and policies that need exactly so much of it.
///
///     labels      of each prefix space, field and combination      2^k - 1, of k bits, beside the invalid value
///     rows        of each of the chip's tables                     2^k
///     entries     of all rules, before a chip is asked             2^k
///     pairs       of a rule's labels in a combination              2^k

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "chip/SoftwareChip.h"
#include "packets/Random.h"

namespace Orvex::Soak {

struct Limit {
  std::string name;
  std::uint32_t leastBits = 2;
  std::uint32_t mostBits = 9;
  std::function<std::uint64_t( std::uint32_t bits )> available;
  /// One with so much, and otherwise room for everything.
  std::function<std::unique_ptr<Host::SoftwareChip>( std::uint32_t bits, Random& random )> chip;
  /// Not normalised. Requires: count is from 1 to 2^mostBits + 1.
  std::function<Host::Policy( std::uint32_t count, Random& random )> policy;
  /// What the message says of a policy that needs too much: the table, what it needs, and what there is.
  std::function<std::string( std::uint32_t bits, std::uint64_t needed )> complaint;
};

std::vector<Limit> const& limits();

}  // namespace Orvex::Soak
