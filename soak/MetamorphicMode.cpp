#include <utility>

#include "Modes.h"
#include "ProvedTable.h"
#include "RandomPolicy.h"
#include "Rewriting.h"
#include "packets/BoundaryPackets.h"
#include "packets/PacketJson.h"
#include "policy/AclConfigBuilder.h"
#include "policy/AclTextReader.h"
#include "policy/AclTextWriter.h"
#include "policy/Normalise.h"
#include "verify/BoxEngine.h"

namespace Orvex::Soak {

namespace {

using Host::Test::Rewriting;

constexpr int kPacketsAnAcl = 100;

/// Lists have names in the text form only: it gives them new ones, and is read.
Host::Policy withNewListNames( Host::Policy const& policy, Random& random ) {
  Host::PrefixListNames names;
  for ( Host::Acl const& acl : policy.acls )
    for ( Host::Rule const& rule : acl.rules )
      for ( auto const& list : { rule.source, rule.destination } )
        if ( list )
          names.emplace( *list,
                         "list " + std::to_string( random.below( 1000 ) ) + "." + std::to_string( names.size() ) );
  Host::Diagnostics diagnostics;
  auto const file = Host::SourceFile::fromText( "renamed.acl", aclText( policy, names ), diagnostics );
  auto located = readAclText( { file }, diagnostics );
  if ( !located ) throw std::runtime_error( "the text is not read back: " + diagnostics.text() );
  return std::move( located->policy );
}

/// A policy, and another that means the same, ACL for ACL.
struct Pair {
  Host::Policy original;
  Host::Policy rewritten;
};

/// Both are normalised, and call their ACLs alike.
Pair rewrittenPair( Host::Policy const& policy, Rewriting how, Random& random, Tally& tally ) {
  Pair pair{ policy, policy };
  for ( std::uint32_t left = random.between( 1, 4 ); left != 0; --left ) {
    bool const found = rewrite( pair.rewritten, how, random );
    tally.add( ( found ? "rewritten: " : "skipped, nothing to rewrite: " ) + std::string( Kiv::stringValue( how ) ) );
  }
  for ( std::size_t at = 0; at != policy.acls.size(); ++at ) pair.original.acls[at].name = pair.rewritten.acls[at].name;
  pair.original = normalised( std::move( pair.original ) );
  pair.rewritten = normalised( std::move( pair.rewritten ) );
  if ( how == Rewriting::renamed ) pair.rewritten = withNewListNames( pair.rewritten, random );
  return pair;
}

[[noreturn]] void fail( std::string const& problem, Pair const& pair, ProvedTable const& table ) {
  throw Failure( problem + "\nbefore it was rewritten:\n" + aclText( pair.original ), pair.rewritten,
                 table.chip->profile() );
}

/// Packets on the boundaries of either policy, on both chips: the action counts, whichever rule it comes from.
void comparePackets( Pair const& pair, ProvedTable const& before, ProvedTable const& after, Case& one ) {
  for ( Host::Policy const* const aims : { &pair.original, &pair.rewritten } )
    for ( Host::Acl const& acl : aims->acls ) {
      PDAclKey const key( acl.family, Host::libraryAclName( acl.family, acl.name ) );
      Host::BoundaryPackets packets( one.random, acl );
      for ( int left = kPacketsAnAcl; left != 0; --left ) {
        auto const packet = packets.next();
        auto const was = before.chip->lookUp( key, packet );
        auto const is = after.chip->lookUp( key, packet );
        if ( was.action != is.action )
          fail( "packet " + Host::packetJson( acl.name, packet ) + ": it was " + Host::verdictJson( was ) +
                    ", and is " + Host::verdictJson( is ),
                pair, after );
      }
      one.tally.add( "packets", kPacketsAnAcl );
    }
}

}  // namespace

void metamorphicCase( Case& one ) {
  auto const how = static_cast<Rewriting>( one.number % Host::Test::kRewritingNames.size() );
  Host::Policy const policy =
      Host::Test::withRoomBetweenRules( Host::Test::randomPolicy( one.random, { 2, 8, 4, 3, 15 } ) );
  Pair const pair = rewrittenPair( policy, how, one.random, one.tally );
  ProvedTable const before = provedTable( pair.original, one );
  ProvedTable const after = provedTable( pair.rewritten, one );
  comparePackets( pair, before, after, one );
  if ( auto const comparison = Verify::equal( pair.original, pair.rewritten );
       comparison.outcome != Verify::Outcome::equal )
    fail( "it no longer means the same " + comparison.reason, pair, after );
  if ( keepsRules( how ) ) {
    auto const proof = prove( pair.original, *after.snapshot, shapeOf( after.chip->profile() ),
                              Host::defaultActionsOf( pair.original ) );
    if ( !proof.isProved() )
      fail( "the new table is not the policy of before: " + ( proof.witness ? textOf( *proof.witness ) : proof.reason ),
            pair, after );
    one.tally.add( "new tables proved to be the policy of before" );
  }
  one.tally.add( "policies proved", 2 );
}

}  // namespace Orvex::Soak
