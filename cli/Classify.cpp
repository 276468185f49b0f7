#include <fmt/format.h>

#include <map>
#include <utility>

#include "Inputs.h"
#include "chip/SoftwareChip.h"
#include "input/NearestWord.h"
#include "output/OutputFile.h"
#include "packets/PacketJson.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"

namespace Orvex::Cli {

namespace {

/// Answers from the policy and from a chip that holds it.
class Answers {
 public:
  Answers( Host::Policy const& policy, Host::SoftwareChip const* chip ) : chip_( chip ) {
    for ( Host::Acl const& acl : policy.acls )
      acls_.emplace( std::pair( acl.family, acl.name ), OfAcl{ &acl, keyOf( acl ) } );
  }

  /// Null when the packet's family has no ACL of that name.
  Host::Acl const* aclOf( Host::AskedPacket const& asked ) const {
    auto const found = find( asked );
    return found ? found->acl : nullptr;
  }
  Verify::Verdict interpreted( Host::AskedPacket const& asked ) const {
    return Verify::interpret( *find( asked )->acl, asked.packet );
  }
  Verify::Verdict fromTable( Host::AskedPacket const& asked ) const {
    return chip_->lookUp( find( asked )->key, asked.packet );
  }

  std::string nearestTo( std::string const& name ) const {
    Host::NearestWord nearest( name );
    for ( auto const& [key, acl] : acls_ ) nearest.consider( key.second );
    return nearest.question();
  }

 private:
  struct OfAcl {
    Host::Acl const* acl;
    PDAclKey key;
  };

  static PDAclKey keyOf( Host::Acl const& acl ) { return { acl.family, Host::libraryAclName( acl.family, acl.name ) }; }
  OfAcl const* find( Host::AskedPacket const& asked ) const {
    auto const found = acls_.find( std::pair( asked.packet.source.af(), asked.acl ) );
    return found == acls_.end() ? nullptr : &found->second;
  }

  Host::SoftwareChip const* chip_;
  std::map<std::pair<Vell::AddressFamily, std::string>, OfAcl> acls_;
};

/// Every packet asks an ACL that there is.
bool checkAcls( std::vector<Host::AskedPacket> const& packets, Answers const& answers, Host::SourceFile const& file,
                Host::Diagnostics& diagnostics ) {
  for ( Host::AskedPacket const& asked : packets )
    if ( !answers.aclOf( asked ) )
      diagnostics.error(
          file.placeOf( asked.line, file.line( asked.line ) ),
          fmt::format( "there is no {} ACL {}", asked.packet.source.af() == Vell::AddressFamily::ipv4 ? "IPv4" : "IPv6",
                       Host::inQuotes( asked.acl ) ),
          answers.nearestTo( asked.acl ) );
  return !diagnostics.failed();
}

}  // namespace

int classify( ClassifyOptions const& options ) {
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
  Answers const answers( located->policy, &chip );
  bool const known = checkAcls( *packets, answers, *file, diagnostics );
  show( diagnostics, options.console );
  if ( !known ) return kQuestionIsWrong;

  if ( options.mode != ClassifyMode::interpret ) {
    auto const result = Host::compileProved( located->policy, chip ).compile;
    if ( result.outcome != Host::CompileOutcome::loaded ) {
      showError( "the policy is not loaded: " + result.message, options.console );
      return kAnswerIsNo;
    }
  }
  Host::OutputFile output( options.output );
  for ( Host::AskedPacket const& asked : *packets ) {
    Verify::Verdict const verdict =
        options.mode == ClassifyMode::interpret ? answers.interpreted( asked ) : answers.fromTable( asked );
    if ( options.mode == ClassifyMode::compare ) {
      Verify::Verdict const meant = answers.interpreted( asked );
      if ( meant != verdict ) {
        showError( fmt::format( "line {}: {}: the policy says {}, the table {}", asked.line,
                                Host::packetJson( asked.acl, asked.packet ), Host::verdictJson( meant ),
                                Host::verdictJson( verdict ) ),
                   options.console );
        return kAnswerIsNo;
      }
    } else {
      output.write( Host::verdictJson( verdict ) + "\n" );
    }
  }
  if ( options.mode == ClassifyMode::compare )
    output.write( counted( packets->size(), "packet" ) + ": table and policy agree\n" );
  output.commit();
  return kDone;
}

}  // namespace Orvex::Cli
