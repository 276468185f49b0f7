#include "Inputs.h"
#include "formats/ClassbenchWriter.h"
#include "formats/OpenConfigWriter.h"
#include "formats/Rfc8519Writer.h"
#include "output/OutputFile.h"
#include "policy/AclTextWriter.h"

namespace Orvex::Cli {

namespace {

/// None, with messages, when the format cannot hold the policy.
std::optional<std::string> policyText( Host::LocatedPolicy const& located, PolicyFormat format,
                                       Host::Diagnostics& diagnostics ) {
  switch ( format ) {
    case PolicyFormat::classbench:
      return classbenchText( located, diagnostics );
    case PolicyFormat::rfc8519:
      return rfc8519Text( located, diagnostics );
    case PolicyFormat::openConfig:
      return openConfigText( located, diagnostics );
    case PolicyFormat::automatic:
    case PolicyFormat::acl:
      break;
  }
  return aclText( located.policy, located.listNames );
}

}  // namespace

int convert( ConvertOptions const& options ) {
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  auto const text = located ? policyText( *located, options.to, diagnostics ) : std::nullopt;
  show( diagnostics, options.console );
  if ( !text ) return kQuestionIsWrong;
  Host::OutputFile output( options.output );
  output.write( *text );
  output.commit();
  return kDone;
}

}  // namespace Orvex::Cli
