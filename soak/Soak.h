#pragma once

/// What the soak tool's modes are made of: cases, each of which follows from a seed and a number alone, and the counts
/// that they come to.
///
/// So a case that failed is run again by itself, cases run on several threads, and the output is the same each time.

#include <cstdint>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "chip/ChipProfile.h"
#include "packets/Random.h"
#include "policy/Policy.h"

namespace Orvex::Soak {

/// Counts by name.
class Tally {
 public:
  void add( std::string_view what, std::uint64_t count = 1 ) { counts_[std::string( what )] += count; }
  void add( Tally const& other ) {
    for ( auto const& [what, count] : other.counts_ ) counts_[what] += count;
  }
  std::map<std::string, std::uint64_t> const& counts() const { return counts_; }

 private:
  std::map<std::string, std::uint64_t> counts_;
};

struct Case {
  std::uint64_t number;
  Random random;
  Tally& tally;
};

/// What was promised and is not so. The text has all that a reader needs to see it: the problem, the chip, the policy.
class Failure : public std::runtime_error {
 public:
  Failure( std::string const& problem, Host::Policy const& policy, Host::ChipProfile const& profile );
};

struct Mode {
  std::string name;
  std::string description;
  /// How many cases are run unless it is said.
  std::uint64_t cases;
  /// Fails with: Failure, or any other exception, which counts as one.
  std::function<void( Case& )> run;
  /// Of a mode that goes through a world, how many cases there are in all: the last one's number. 0: there is no end.
  std::uint64_t all = 0;
};

/// All modes, in the order in which they are listed.
std::vector<Mode> modes();

struct Run {
  std::uint64_t seed = 1;
  std::uint64_t first = 1;
  std::uint64_t count = 0;
  unsigned jobs = 1;
};

struct RunResult {
  Tally tally;
  /// By the number of the case.
  std::map<std::uint64_t, std::string> failures;
};

RunResult run( Mode const& mode, Run const& what );

}  // namespace Orvex::Soak
