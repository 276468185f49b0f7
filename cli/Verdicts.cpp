#include "Verdicts.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "input/NearestWord.h"
#include "packets/PacketJson.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"

namespace Orvex::Cli {

Verdicts::Verdicts( Host::Policy const& policy, Host::SoftwareChip& chip, ClassifyMode mode )
    : policy_( policy ), chip_( chip ), mode_( mode ) {
  for ( Host::Acl const& acl : policy.acls )
    acls_.push_back( { &acl, PDAclKey( acl.family, Host::libraryAclName( acl.family, acl.name ) ) } );
}

std::string Verdicts::load() {
  if ( mode_ == ClassifyMode::interpret ) return "";
  auto const result = Host::compileProved( policy_, chip_ ).compile;
  return result.outcome == Host::CompileOutcome::loaded ? "" : "the policy is not loaded: " + result.message;
}

AskedAcl const* Verdicts::acl( Vell::AddressFamily family, std::string_view name ) const {
  auto const placeOf = []( AskedAcl const& asked ) {
    return std::pair( asked.acl->family, std::string_view( asked.acl->name ) );
  };
  std::pair const wanted( family, name );
  auto const found =
      std::lower_bound( acls_.begin(), acls_.end(), wanted,
                        [&]( AskedAcl const& asked, auto const& key ) { return placeOf( asked ) < key; } );
  return found != acls_.end() && placeOf( *found ) == wanted ? &*found : nullptr;
}

std::string Verdicts::nearestTo( std::string_view aclName ) const {
  Host::NearestWord nearest( aclName );
  for ( AskedAcl const& asked : acls_ ) nearest.consider( asked.acl->name );
  return nearest.question();
}

Verify::Verdict Verdicts::of( AskedAcl const& asked, Verify::Packet const& packet ) const {
  if ( mode_ == ClassifyMode::interpret ) return Verify::interpret( *asked.acl, packet );
  Verify::Verdict const verdict = chip_.lookUp( asked.key, packet );
  if ( mode_ == ClassifyMode::table ) return verdict;
  Verify::Verdict const meant = Verify::interpret( *asked.acl, packet );
  if ( meant != verdict )
    throw VerdictsDiffer( fmt::format( "{}: the policy says {}, the table {}",
                                       Host::packetJson( asked.acl->name, packet ), Host::verdictJson( meant ),
                                       Host::verdictJson( verdict ) ) );
  return verdict;
}

}  // namespace Orvex::Cli
