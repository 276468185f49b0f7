#include "Remedies.h"

#include <fmt/format.h>

#include "StandardStreams.h"
#include "pipeline/Remedies.h"

namespace Orvex::Cli {

namespace {

void showLines( char const* title, std::vector<std::string> const& lines ) {
  if ( !lines.empty() ) tell( fmt::format( "{}\n", title ) );
  for ( std::string const& line : lines ) tell( fmt::format( "  {}\n", line ) );
}

}  // namespace

void showRemedies( Host::LocatedPolicy const& located, Host::ChipProfile const& profile,
                   Host::CompileResult const& failure, ConsoleOptions const& options ) {
  if ( options.quiet || !isForWantOfRoom( failure ) ) return;
  Host::Remedies const remedies = remediesFor( located, profile, failure );
  showLines( "it would fit, each by itself:", remedies.enough );
  showLines( remedies.enough.empty() ? "nothing that was tried makes it fit:" : "not enough by itself:",
             remedies.notEnough );
  tell( fmt::format( "{} tried in {:.1f} s{}\n",
                     counted( remedies.enough.size() + remedies.notEnough.size(), "change" ),
                     std::chrono::duration<double>( remedies.time ).count(),
                     remedies.isCutShort ? "; further ones were left out" : "" ) );
}

}  // namespace Orvex::Cli
