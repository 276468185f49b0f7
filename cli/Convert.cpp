#include "Inputs.h"
#include "output/OutputFile.h"
#include "policy/AclTextWriter.h"

namespace Orvex::Cli {

int convert( ConvertOptions const& options ) {
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  show( diagnostics, options.console );
  if ( !located ) return kQuestionIsWrong;
  Host::OutputFile output( options.output );
  output.write( Host::aclText( located->policy, located->listNames ) );
  output.commit();
  return kDone;
}

}  // namespace Orvex::Cli
