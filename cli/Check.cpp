#include <fmt/format.h>

#include "Inputs.h"
#include "policy/Lint.h"

namespace Orvex::Cli {

int check( CheckOptions const& options ) {
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  if ( located ) Host::lint( *located, diagnostics );
  show( diagnostics, options.console );
  if ( !located ) return kQuestionIsWrong;
  if ( !options.console.quiet )
    fmt::print( "{}, {}: no errors, {}\n", counted( located->policy.acls.size(), "ACL" ),
                counted( rulesIn( located->policy ), "rule" ), counted( diagnostics.warnings(), "warning" ) );
  return kDone;
}

}  // namespace Orvex::Cli
