#pragma once

/// Who is compared: each runs on a filter set, in a process of its own, and tells what that took.

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "compare/FilterSets.h"
#include "compare/Programs.h"

namespace Orvex::Bench {

struct Measurement {
  double wallSeconds = 0;
  double cpuSeconds = 0;
  std::uint64_t peakBytes = 0;
  /// "entries", "keyBits", "labelEntries", "labelBits", as far as the contender has them.
  std::map<std::string, double> facts;
  /// Why there is none of the above; empty when there is.
  std::string failure;
};

struct Contender {
  std::string name;
  /// Its measures are told as multiples of this contender's.
  std::string against;
  /// Why it cannot run here at all; empty when it can.
  std::string missing;
  std::function<Measurement( ComparedSet const& )> run;
};

inline constexpr char const* kCommand = "orvex compile";
inline constexpr char const* kKick = "kick";
inline constexpr char const* kCostOrderKick = "kick, cost order";
inline constexpr char const* kRteAcl = "librte_acl";
inline constexpr char const* kPlain = "plain expansion";
inline constexpr char const* kNftCheck = "nft -c -f";
inline constexpr char const* kNftLoad = "nft -f";

/// Whole commands first, then what works in memory alone. The programs must outlive the contenders.
std::vector<Contender> contenders( Programs const& programs );

/// A child as a measurement of the whole of it; what it says when it fails.
Measurement measurementOf( ChildResult const& child );

/// In the summary of `orvex compile`: "9,788 rules in 1 ACL; 9,718 entries, where ..."; 0 when there are none.
double entriesIn( std::string const& summary );

}  // namespace Orvex::Bench
