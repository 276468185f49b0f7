#pragma once

/// All contenders on all sets, several times: in each round every contender runs once on every set, one after the other on the
/// same set, so that whatever else the machine does falls on all of them alike.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "compare/Contender.h"

namespace Orvex::Bench {

enum class Measure { wall, cpu, peak };

/// The middle one; of an even number the mean of the two. Requires: there is one.
double medianOf( std::vector<double> values );

/// What one contender made of one set.
struct Result {
  std::vector<Measurement> samples;
  /// Why there are no samples; a contender that has failed on a set is not asked again.
  std::string failure;

  /// Nothing without samples.
  std::optional<double> median( Measure measure ) const;
  /// The same in every round, so the last one's.
  std::optional<double> fact( std::string const& name ) const;
};

class Results {
 public:
  Result& of( ComparedSet const& set, std::string const& contender ) { return results_[{ set.name, contender }]; }
  /// Empty when there is none.
  Result const& of( ComparedSet const& set, std::string const& contender ) const;

  /// One contender's median as a multiple of another's; nothing unless both have one.
  std::optional<double> ratio( ComparedSet const& set, Measure measure, std::string const& contender,
                               std::string const& against ) const;

 private:
  std::map<std::pair<std::string, std::string>, Result> results_;
};

/// `progress` is told what runs next.
Results runRounds( std::vector<ComparedSet> const& sets, std::vector<Contender> const& contenders, std::uint64_t rounds,
                   std::function<void( std::string const& )> const& progress );

}  // namespace Orvex::Bench
