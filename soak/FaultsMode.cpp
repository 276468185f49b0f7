#include <optional>
#include <utility>

#include "Modes.h"
#include "ProvedTable.h"
#include "RandomPolicy.h"
#include "TableFaults.h"
#include "packets/BoundaryPackets.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"

namespace Orvex::Soak {

namespace {

using Host::Test::TableCopy;
using Host::Test::TableFault;
using Verify::Outcome;
using Verify::Packet;
using Verify::Proof;
using Verify::Verdict;

constexpr int kTriesATable = 6;
constexpr int kPacketsAnAcl = 400;

Verdict verdictOf( TableCopy const& table, Host::Acl const& acl, Packet const& packet ) {
  PDAclKey const key( acl.family, Host::libraryAclName( acl.family, acl.name ) );
  return lookUp( *table.data, table.shape, key.aclName, actionOf( table.defaults.at( key ) ), packet );
}

/// Whether a packet on the boundaries of either side is treated differently.
bool aPacketDiffers( Host::Policy const& policy, TableCopy const& table, Random& random ) {
  for ( Host::Acl const& acl : policy.acls ) {
    Host::Acl const aims = withBoundariesOf( table, acl );
    Host::BoundaryPackets packets( random, aims );
    for ( int left = kPacketsAnAcl; left != 0; --left ) {
      Packet const packet = packets.next();
      if ( interpret( acl, packet ) != verdictOf( table, acl, packet ) ) return true;
    }
  }
  return false;
}

/// Empty unless the witness is not one.
std::string faultOf( Verify::Witness const& witness, Host::Policy const& policy, TableCopy const& table ) {
  Host::Acl const& acl = aclFor( policy, witness.acl, witness.packet );
  bool const isReal = witness.policy == interpret( acl, witness.packet ) &&
                      witness.table == verdictOf( table, acl, witness.packet ) && witness.policy != witness.table;
  if ( !isReal ) return "the witness is none: " + textOf( witness );
  return witness.field.empty() ? "the witness has no field: " + textOf( witness ) : "";
}

/// A range that a fault lets overlap another gives a value two labels, which no table may have: nothing can be said.
bool mayBeUndecided( TableFault fault ) { return fault == TableFault::staleRow; }

/// True when the fault has changed what the table means, and was found.
bool isFound( TableFault fault, Host::Policy const& policy, TableCopy const& table, ProvedTable const& from,
              Case& one ) {
  std::string const name( Kiv::stringValue( fault ) );
  bool const differs = aPacketDiffers( policy, table, one.random );
  Proof const proof = prove( policy, *table.data, table.shape, table.defaults );
  auto const fail = [&]( std::string const& problem ) {
    throw Failure( name + ": " + problem, policy, from.chip->profile() );
  };
  if ( proof.outcome == Outcome::different ) {
    if ( !proof.witness ) fail( "different, without a witness" );
    if ( auto const problem = faultOf( *proof.witness, policy, table ); !problem.empty() ) fail( problem );
  } else if ( proof.outcome == Outcome::undecided && !mayBeUndecided( fault ) ) {
    fail( "undecided: " + proof.reason );
  }
  if ( !differs ) {
    one.tally.add( proof.outcome == Outcome::equal ? "skipped: without a meaning"
                                                   : "skipped: found by the prover alone" );
    return false;
  }
  if ( proof.outcome == Outcome::equal ) fail( "a packet differs, and the table is proved equal" );
  one.tally.add( "found: " + name + ( proof.outcome == Outcome::undecided ? ", as undecided" : "" ) );
  return true;
}

}  // namespace

void faultsCase( Case& one ) {
  auto const fault = static_cast<TableFault>( one.number % Host::Test::kTableFaultNames.size() );
  for ( ;; ) {
    Host::Policy const policy = Host::Test::randomPolicy( one.random, { 2, 6, 4, 2, 15 } );
    ProvedTable const from = provedTable( policy, one );
    for ( int left = kTriesATable; left != 0; --left ) {
      TableCopy table( *from.snapshot, shapeOf( from.chip->profile() ), Host::defaultActionsOf( policy ) );
      if ( !inject( table, fault, one.random ) ) break;
      if ( isFound( fault, policy, table, from, one ) ) return;
    }
  }
}

}  // namespace Orvex::Soak
