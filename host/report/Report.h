#pragma once

/// What a compile came to, as a page of pictures: one HTML file that needs nothing else, no network and no script either.
///
///     how full the chip is       a bar a table, over its capacity too
///     what each rule takes       its entries, the arithmetic behind them, its line in the user's file
///     how fields are cut         the pieces of each range field with their labels, and the sets that they lie in
///     how addresses nest         the prefix tables as trees
///     what may be meant otherwise   all warnings, at their lines
///
/// With a script the rules can be sorted and searched, and pieces say more when they are pointed at. A policy of security
/// people is opened in a browser: everything that comes from it is escaped (Html.h), and the page forbids itself whatever
/// it does not consist of, by the hashes of its one style sheet and one script.
///
/// Equal compiles give equal pages: there is no date, no duration and no path but those that the user gave.
/// Cost: in proportion to the policy's text; what is too much to be drawn is counted.

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "input/Diagnostics.h"
#include "pipeline/Compile.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

/// What the page is about, whether the policy fits or not.
struct ReportSubject {
  /// As the user named them.
  std::vector<std::string> const& files;
  LocatedPolicy const& located;
  ChipProfile const& profile;
  CompileResult const& result;
  /// The table is the policy, for all packets.
  bool isProved = false;
  /// What the policy's reader has warned of, and what lint() has.
  Diagnostics const& readerWarnings;
  Diagnostics const& lintWarnings;
};

void writeReport( ReportSubject const& subject, std::function<void( std::string_view )> const& write );

}  // namespace Orvex::Host
