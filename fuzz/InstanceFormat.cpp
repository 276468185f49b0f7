#include "InstanceFormat.h"

#include <array>

#include "FuzzTarget.h"
#include "PolicyChecks.h"
#include "Reading.h"

namespace Orvex::Fuzz {

namespace {

std::optional<Host::LocatedPolicy> read( std::string_view input, InstanceFormat const& format,
                                         Host::Unsupported unsupported ) {
  Reading reading( input );
  std::optional<Host::LocatedPolicy> located;
  if ( auto document = Host::readInstanceDocument( reading.file(), reading.diagnostics() ) ) {
    std::array const documents = { std::move( *document ) };
    located = format.read( documents, unsupported, reading.diagnostics() );
  }
  reading.check( located.has_value() );
  return located;
}

}  // namespace

void checkInstance( std::string_view input, InstanceFormat const& format ) {
  auto located = read( input, format, Host::Unsupported::isError );
  if ( !located ) located = read( input, format, Host::Unsupported::skipsAcl );
  if ( !located ) return;
  checkPolicy( *located );
  Host::Diagnostics losses;
  auto const text = format.write( *located, losses );
  if ( !text ) found( "what came in the format cannot be written in it:\n" + losses.text() );
  auto const back = read( *text, format, Host::Unsupported::isError );
  if ( !back ) found( "the policy's own text is refused:\n" + *text );
  if ( !doTheSame( located->policy, back->policy ) ) found( "the policy's own text is another policy:\n" + *text );
  if ( format.write( *back, losses ) != text ) found( "the text is another when it is written again:\n" + *text );
}

}  // namespace Orvex::Fuzz
