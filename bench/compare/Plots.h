#pragma once

/// Plots of a comparison: SVG files, each beside the data and the gnuplot script that it was made from.

#include <string>
#include <vector>

#include "compare/Programs.h"
#include "compare/Rounds.h"

namespace Orvex::Bench {

/// Writes time.{dat,gp,svg} (over rules, both axes logarithmic) and entries.{dat,gp,svg} (a rule, by set) into the directory,
/// which is made when it is not there. Without gnuplot, data and scripts only.
/// Returns what went wrong; empty when nothing did.
std::string writePlots( std::string const& directory, std::vector<ComparedSet> const& sets,
                        std::vector<Contender> const& contenders, Results const& results, Programs const& programs );

}  // namespace Orvex::Bench
