#pragma once

/// Runs a program and measures it: time from its start to its end, the time of processors that it took, and the most memory
/// that it had.
///
/// What the kernel reports as a child's greatest memory begins at that of the process that started it. So a program that
/// measures others must stay small: generated policies are written by children too.

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Orvex::Bench {

struct ChildResult {
  /// It came to an end within the limit, by itself.
  bool ended = false;
  /// Of a child that ended.
  int exitStatus = 0;
  double wallSeconds = 0;
  double cpuSeconds = 0;
  std::uint64_t peakBytes = 0;
  std::string output;
  /// Standard error, its first 4,096 bytes.
  std::string errors;

  bool succeeded() const { return ended && exitStatus == 0; }
};

/// `words` are the program, found as a shell finds it, and its arguments. A child beyond the limit is killed.
/// Fails with: std::system_error when it cannot be started.
ChildResult runChild( std::vector<std::string> const& words, std::chrono::duration<double> limit );

/// The lines of a name, a blank and a number in a child's output; others are passed over.
std::map<std::string, double> factsOf( std::string const& output );

}  // namespace Orvex::Bench
