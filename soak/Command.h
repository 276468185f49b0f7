#pragma once

/// The orvex command as a process that can be killed.

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace Orvex::Soak {

/// The one beside this tool, or in the build tree that this tool is in.
/// Fails with: std::runtime_error when there is none.
std::string orvexPath();

/// Its end as waitpid() says it. What it prints is lost.
/// Fails with: std::system_error, as all below, when it cannot be run.
int runToItsEnd( std::vector<std::string> const& command );

/// Kills it after that time, unless it has ended.
int runAndKillAfter( std::vector<std::string> const& command, std::chrono::microseconds time );

/// Traces it, and kills it when it enters or leaves the kernel for the `at`-th time, from 1; never when `at` is 0.
struct TracedRun {
  int status = 0;
  /// How often it has entered or left the kernel.
  std::uint64_t stops = 0;
};
TracedRun runAndKillAtStop( std::vector<std::string> const& command, std::uint64_t at );

}  // namespace Orvex::Soak
