#pragma once

/// What `orvex compile` makes of policies over lists, and how it turns down what no chip of 16-bit labels can hold.
///
/// Their plain expansion is counted and not made. The command is quiet: it does not look for what would make a policy fit, which
/// it otherwise takes its time for after the refusal.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "compare/ChildProcess.h"
#include "compare/Programs.h"
#include "compare/Table.h"

namespace Orvex::Bench {

/// 0: no bound.
struct PolicyBound {
  double seconds = 0;
  double peakMebibytes = 0;
  /// Rules or lists that a refusal must name.
  double costsNamed = 0;
};

struct PolicyRow {
  /// "lists:ipv4:2000:1"
  std::string name;
  bool combinations = false;
  PolicyBound bound;
  double plainEntries = 0;
  std::vector<ChildResult> samples;

  std::string title() const { return name + ( combinations ? ", combinations on" : "" ); }
  bool isCompiled() const;
  std::optional<double> wallSeconds() const;
  std::optional<double> cpuSeconds() const;
  std::optional<double> peakMebibytes() const;
  /// In the message of a refusal; nothing when there is none.
  std::optional<double> costsNamed() const;
  /// "54,666 entries", or the message.
  std::string outcome() const;
};

/// Each policy in each round.
std::vector<PolicyRow> runPolicies( Programs const& programs, std::uint64_t rounds,
                                    std::function<void( std::string const& )> const& progress );

Table tableOfPolicies( std::vector<PolicyRow> const& rows );

}  // namespace Orvex::Bench
