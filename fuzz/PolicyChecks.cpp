#include "PolicyChecks.h"

#include <chrono>
#include <string>

#include "FuzzTarget.h"
#include "policy/AclTextReader.h"
#include "policy/AclTextWriter.h"
#include "policy/Normalise.h"
#include "verify/BoxEngine.h"

namespace Orvex::Fuzz {

namespace {

void checkText( Host::LocatedPolicy const& located, std::string const& text ) {
  Host::Diagnostics diagnostics;
  auto const file = Host::SourceFile::fromText( "written.acl", text, diagnostics );
  auto const back = readAclText( { file }, diagnostics );
  if ( !back ) found( "the policy's own text is refused:\n" + diagnostics.text() + text );
  if ( back->policy != located.policy ) found( "the policy's own text is another policy:\n" + text );
  std::string const again = aclText( back->policy, back->listNames );
  if ( again != text ) found( "the text is another when it is written again:\n" + text + again );
}

}  // namespace

void checkPolicy( Host::LocatedPolicy const& located ) {
  require( Host::normalised( located.policy ) == located.policy, "what a reader gives is not normalised" );
  checkText( located, aclText( located.policy, located.listNames ) );
}

bool doTheSame( Host::Policy const& a, Host::Policy const& b ) {
  Verify::Budget const budget{ .boxes = 100'000, .time = std::chrono::seconds( 2 ) };
  return equal( a, b, budget ).outcome != Verify::Outcome::different;
}

}  // namespace Orvex::Fuzz
