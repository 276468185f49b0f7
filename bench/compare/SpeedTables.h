#pragma once

/// The tables of a comparison on filter sets: the sets, each measure by contender, entries, growth.

#include <vector>

#include "compare/Rounds.h"
#include "compare/Table.h"

namespace Orvex::Bench {

Table tableOfSets( std::vector<ComparedSet> const& sets );

/// Medians, in parentheses as multiples of what the contender is held against.
Table tableOfMeasure( Measure measure, std::vector<ComparedSet> const& sets, std::vector<Contender> const& contenders,
                      Results const& results );

/// Entries, entries a rule and bits of the table, by placement and plain; label tables apart.
Table tableOfEntries( std::vector<ComparedSet> const& sets, Results const& results );

/// Two sets of one series: 10,000 rules and 100,000.
struct Growth {
  ComparedSet const* small = nullptr;
  ComparedSet const* large = nullptr;
};
inline constexpr std::uint64_t kSmall = 10000;
inline constexpr std::uint64_t kLarge = 100000;
std::vector<Growth> growths( std::vector<ComparedSet> const& sets );
/// The large one's median as a multiple of the small one's.
std::optional<double> growthOf( Growth const& growth, Measure measure, std::string const& contender,
                                Results const& results );

Table tableOfGrowth( std::vector<ComparedSet> const& sets, Results const& results );

}  // namespace Orvex::Bench
