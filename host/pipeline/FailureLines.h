#pragma once

/// The failures that stages trace, kept for a result instead of printed.
///
/// While one of these lives, the lines of level 0 that its thread traces are collected here. All other lines, of other
/// threads too, go where traceSinkIs() says, or to standard error.
///
/// The trace facility has one sink for the process, which this module takes over with every object. A host that wants
/// to see lines sets traceSinkIs() and not the facility's own.

#include <functional>
#include <string>
#include <vector>

#include "Kiv/Trace.h"

namespace Orvex::Host {

/// Where lines go that nobody collects; an empty function: to standard error. Called by one thread at a time.
void traceSinkIs( std::function<void( Kiv::TraceLine const& )> sink );

class FailureLines {
 public:
  FailureLines();
  ~FailureLines();
  FailureLines( FailureLines const& ) = delete;
  FailureLines& operator=( FailureLines const& ) = delete;

  /// In the order in which they were traced, each without its module.
  std::vector<std::string> const& lines() const { return lines_; }

 private:
  friend class TraceTap;

  std::vector<std::string> lines_;
  FailureLines* outer_;
};

}  // namespace Orvex::Host
