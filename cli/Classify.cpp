#include <fmt/format.h>

#include "Inputs.h"
#include "Verdicts.h"
#include "output/OutputFile.h"
#include "packets/PacketJson.h"
#include "policy/AclAddresses.h"

namespace Orvex::Cli {

namespace {

/// The ACL of every packet, or errors.
std::vector<AskedAcl const*> aclsOf( std::vector<Host::AskedPacket> const& packets, Verdicts const& verdicts,
                                     Host::SourceFile const& file, Host::Diagnostics& diagnostics ) {
  std::vector<AskedAcl const*> acls;
  for ( Host::AskedPacket const& asked : packets ) {
    acls.push_back( verdicts.acl( asked.packet.source.af(), asked.acl ) );
    if ( !acls.back() )
      diagnostics.error( file.placeOf( asked.line, file.line( asked.line ) ),
                         fmt::format( "there is no {} ACL {}", Host::familyName( asked.packet.source.af() ),
                                      Host::inQuotes( asked.acl ) ),
                         verdicts.nearestTo( asked.acl ) );
  }
  return acls;
}

}  // namespace

int classify( ClassifyOptions const& options ) {
  if ( !options.capture.empty() ) return classifyCapture( options );
  Host::Diagnostics diagnostics;
  auto const located = readPolicy( options.policy, diagnostics );
  auto const profile = readChip( options.chip, diagnostics );
  auto const file = Host::SourceFile::read( options.packets, diagnostics );
  auto const packets = file ? Host::readPackets( *file, diagnostics ) : std::nullopt;
  if ( !located || !profile || !packets ) {
    show( diagnostics, options.console );
    return kQuestionIsWrong;
  }
  Host::SoftwareChip chip( Brae::ChipId( 0 ), *profile );
  Verdicts verdicts( located->policy, chip, options.mode );
  auto const acls = aclsOf( *packets, verdicts, *file, diagnostics );
  show( diagnostics, options.console );
  if ( diagnostics.failed() ) return kQuestionIsWrong;

  if ( auto const problem = verdicts.load(); !problem.empty() ) {
    showError( problem, options.console );
    return kAnswerIsNo;
  }
  Host::OutputFile output( options.output );
  for ( std::size_t at = 0; at != packets->size(); ++at ) {
    Host::AskedPacket const& asked = ( *packets )[at];
    try {
      Verify::Verdict const verdict = verdicts.of( *acls[at], asked.packet );
      if ( options.mode != ClassifyMode::compare ) output.write( Host::verdictJson( verdict ) + "\n" );
    } catch ( VerdictsDiffer const& difference ) {
      showError( fmt::format( "line {}: {}", asked.line, difference.what() ), options.console );
      return kAnswerIsNo;
    }
  }
  if ( options.mode == ClassifyMode::compare )
    output.write( counted( packets->size(), "packet" ) + ": table and policy agree\n" );
  output.commit();
  return kDone;
}

}  // namespace Orvex::Cli
