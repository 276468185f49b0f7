#pragma once

/// What the comparison should come to, and whether it does.

#include <optional>
#include <string>
#include <vector>

#include "compare/PolicyRows.h"
#include "compare/SpeedTables.h"

namespace Orvex::Bench {

struct Target {
  std::string what;
  double bound = 0;
  bool isLeast = false;
  /// Nothing when what it is about was not measured.
  std::optional<double> figure;
  /// The same of the time of processors, where the figure is a time: other work on the machine weighs less there.
  std::optional<double> cpuFigure = std::nullopt;

  bool isMetBy( std::optional<double> const& value ) const {
    return value && ( isLeast ? *value >= bound : *value <= bound );
  }
};

/// Of the software chip, by time and by the time of its processor.
struct LookUpRates {
  double bySecond = 0;
  double byCpuSecond = 0;
};

std::vector<Target> targetsOf( std::vector<ComparedSet> const& sets, Results const& results,
                               std::vector<PolicyRow> const& policies, std::optional<LookUpRates> const& lookUps );

Table tableOfTargets( std::vector<Target> const& targets );

}  // namespace Orvex::Bench
