#pragma once

/// Filter sets in the style of ClassBench, of any size, from a seed.
///
/// The styles differ in what real sets of their kind differ in:
///
///     acl       hosts and small nets on both sides, any source port, many single and some ranges of destination ports
///     firewall  any address on one side often, very short prefixes, 1024-65535 on either side
///     chain     nets of all lengths on both sides, ports on either, a few short ranges that cross 1024-65535
///
/// Prefixes nest: two of three are drawn within one that is already there. Ports come from a stock that grows with the set.

#include <cstdint>
#include <string>

#include "Vell/AddressFamily.h"

namespace Orvex::Bench {

enum class FilterSetStyle : std::uint8_t { acl, firewall, chain };

struct FilterSetParameters {
  FilterSetStyle style = FilterSetStyle::acl;
  Vell::AddressFamily family = Vell::AddressFamily::ipv4;
  std::uint32_t filters = 1000;
  std::uint64_t seed = 1;
};

/// The set's text, a filter a line, all different. Equal parameters give equal text on every machine.
std::string filterSetText( FilterSetParameters const& parameters );

}  // namespace Orvex::Bench
