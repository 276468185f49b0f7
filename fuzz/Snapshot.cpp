/// Snapshots, and the prover on tables that no compiler made.

#include <chrono>
#include <string>

#include "FuzzTarget.h"
#include "Reading.h"
#include "chip/SnapshotJson.h"
#include "chip/SnapshotReader.h"
#include "packets/BoundaryPackets.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"
#include "verify/Prover.h"

namespace Orvex::Fuzz {

namespace {

constexpr int kPacketsAnAcl = 20;

std::optional<Host::ReadSnapshot> read( std::string_view text ) {
  Reading reading( text );
  auto snapshot = readSnapshot( *reading.file(), reading.diagnostics() );
  reading.check( snapshot.has_value() );
  return snapshot;
}

/// The snapshot's ACLs and rules, which here match everything. The names of rules are not kept.
Host::Policy policyOf( Host::ReadSnapshot const& read ) {
  Host::Policy policy;
  for ( auto const& [key, defaultAction] : read.defaults ) {
    Host::Acl acl{ Host::userAclName( key.aclName ).second, key.af, defaultAction, {} };
    if ( auto const loaded = read.snapshot->pdAclColl()->pdAcl().find( key ) )
      for ( auto const& [index, rule] : loaded->rule() ) {
        acl.rules.emplace_back();
        acl.rules.back().index = index.value();
        acl.rules.back().name = std::to_string( index.value() );
        acl.rules.back().action = rule->action();
      }
    policy.acls.push_back( std::move( acl ) );
  }
  return policy;
}

std::string textOf( Host::ReadSnapshot const& read ) {
  std::string text;
  writeSnapshotJson( *read.snapshot, policyOf( read ), read.shape, Brae::ChipId( 0 ),
                     [&text]( std::string_view piece ) { text += piece; } );
  return text;
}

/// What the prover says of a table is so for some packets at least.
void checkProof( Host::Policy const& policy, Host::ReadSnapshot const& table ) {
  Verify::Budget const budget{ .boxes = 20'000, .time = std::chrono::milliseconds( 500 ) };
  auto const proof = prove( policy, *table.snapshot, table.shape, table.defaults, budget );
  if ( !proof.isProved() ) return;
  Random random( 1 );
  for ( Host::Acl const& acl : policy.acls ) {
    Host::BoundaryPackets packets( random, acl );
    PDAclKey const key( acl.family, Host::libraryAclName( acl.family, acl.name ) );
    for ( int left = kPacketsAnAcl; left != 0; --left ) {
      Verify::Packet const packet = packets.next();
      auto const have =
          lookUp( *table.snapshot, table.shape, key.aclName, actionOf( table.defaults.at( key ) ), packet );
      require( interpret( acl, packet ) == have, "the table is proved equal, and a packet differs" );
    }
  }
}

}  // namespace

void oneInput( std::string_view input ) {
  auto const snapshot = read( input );
  if ( !snapshot ) return;
  std::string const text = textOf( *snapshot );
  auto const back = read( text );
  if ( !back ) found( "the snapshot's own text is refused:\n" + text );
  if ( back->shape != snapshot->shape || back->defaults != snapshot->defaults || textOf( *back ) != text )
    found( "the snapshot's own text is another snapshot:\n" + text + textOf( *back ) );
  checkProof( Host::normalised( policyOf( *snapshot ) ), *snapshot );
}

}  // namespace Orvex::Fuzz
