/// ClassBench filter sets.

#include "FuzzTarget.h"
#include "PolicyChecks.h"
#include "Reading.h"
#include "formats/ClassbenchWriter.h"
#include "policy/ClassbenchReader.h"

namespace Orvex::Fuzz {

namespace {

using Host::ClassbenchAction;
using Host::ClassbenchFlags;

std::optional<Host::LocatedPolicy> read( Reading& reading, Host::ClassbenchOptions const& options ) {
  auto located = Host::readClassbench( { &reading.file(), 1 }, options, reading.diagnostics() );
  reading.check( located.has_value() );
  return located;
}

void check( std::string_view input, Host::ClassbenchOptions const& options ) {
  Reading reading( input );
  auto const located = read( reading, options );
  if ( !located ) return;
  checkPolicy( *located );
  Host::Diagnostics losses;
  auto const text = classbenchText( *located, losses );
  if ( !text ) found( "what came as filters cannot be written as filters:\n" + losses.text() );
  // Flags that were left out stay left out; those that were honoured have to be read as such.
  Reading again( *text );
  auto const back = read( again, { options.action, ClassbenchFlags::honour } );
  if ( !back || back->policy != located->policy ) found( "the filters' own text is another policy:\n" + *text );
  if ( classbenchText( *back, losses ) != text ) found( "the text is another when it is written again:\n" + *text );
}

}  // namespace

void oneInput( std::string_view input ) {
  check( input, { ClassbenchAction::permit, ClassbenchFlags::honour } );
  check( input, { ClassbenchAction::alternate, ClassbenchFlags::ignore } );
}

}  // namespace Orvex::Fuzz
