#include <fmt/format.h>

#include <algorithm>

#include "Inputs.h"
#include "chip/BuiltInProfiles.h"
#include "chip/ProfileJson.h"

namespace Orvex::Cli {

int chips( ChipsOptions const& options ) {
  if ( options.name.empty() ) {
    for ( Host::ChipProfile const& profile : Host::builtInProfiles() )
      fmt::print( "{:<16} {}\n", profile.name, profile.description );
    return kDone;
  }
  Host::Diagnostics diagnostics;
  auto const profile = readChip( options.name, diagnostics );
  show( diagnostics, options.console );
  if ( !profile ) return kQuestionIsWrong;
  fmt::print( "{}", Host::profileJson( *profile ) );
  return kDone;
}

}  // namespace Orvex::Cli
