#include <gtest/gtest.h>

#include <array>
#include <iostream>
#include <string>

#include "Kiv/Value.h"
#include "host/CompiledPolicy.h"
#include "host/PolicyNotation.h"
#include "host/RandomChip.h"
#include "host/RandomPolicy.h"
#include "host/SeedRange.h"
#include "host/TableFaults.h"
#include "orvex/TestStages.h"
#include "packets/BoundaryPackets.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"
#include "verify/Prover.h"

/// The prover on tables that were broken after they had been compiled.

namespace Orvex::Host::Test {

namespace {

using Orvex::Test::TestChip;
using Orvex::Test::TraceLines;
using Verify::Outcome;
using Verify::Packet;
using Verify::Proof;
using Verify::Verdict;

Verdict verdictOf( TableCopy const& table, Acl const& acl, Packet const& packet ) {
  PDAclKey const key( acl.family, libraryAclName( acl.family, acl.name ) );
  return lookUp( *table.data, table.shape, key.aclName, actionOf( table.defaults.at( key ) ), packet );
}

/// The slow judge: whether one of many packets on the boundaries of both sides is treated differently.
bool aPacketDiffers( Policy const& policy, TableCopy const& table, Random& random, int packetsAnAcl ) {
  for ( Acl const& acl : policy.acls ) {
    Acl const aims = withBoundariesOf( table, acl );
    BoundaryPackets packets( random, aims );
    for ( int count = 0; count != packetsAnAcl; ++count ) {
      Packet const packet = packets.next();
      if ( interpret( acl, packet ) != verdictOf( table, acl, packet ) ) return true;
    }
  }
  return false;
}

void expectARealWitness( Policy const& policy, TableCopy const& table, Proof const& proof ) {
  ASSERT_TRUE( proof.witness );
  Verify::Witness const& witness = *proof.witness;
  Acl const& acl = aclFor( policy, witness.acl, witness.packet );
  EXPECT_EQ( witness.family, acl.family );
  EXPECT_EQ( witness.policy, interpret( acl, witness.packet ) );
  EXPECT_EQ( witness.table, verdictOf( table, acl, witness.packet ) );
  EXPECT_NE( witness.policy, witness.table );
  EXPECT_FALSE( witness.field.empty() );
}

struct Counts {
  int equal = 0;
  int different = 0;
  int undecided = 0;
};

/// A range that a fault lets overlap another gives a value two labels, which no table may have.
bool mayBeUndecided( TableFault fault ) { return fault == TableFault::staleRow; }

}  // namespace

TEST( ProverFaults, AFaultThatChangesAVerdictIsNeverProvedEqualAndItsPacketIsReal ) {
  TraceLines const failures( 0 );
  std::array<Counts, kTableFaultNames.size()> counts{};
  SeedRange const seeds = seedRange( 700 );
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    Random random( seed );
    RandomChip const make( random );
    TestChip chip;
    chip.capability = make.capability;
    Policy const policy = randomPolicy( random );
    auto const snapshot = compiled( chip, policy );
    if ( !snapshot ) continue;
    for ( std::uint32_t number = 0; number != kTableFaultNames.size(); ++number ) {
      auto const fault = static_cast<TableFault>( number );
      SCOPED_TRACE( testing::Message() << "seed " << seed << ", " << Kiv::stringValue( fault ) );
      TableCopy table( *snapshot, make.shape, defaultsOf( policy ) );
      if ( !inject( table, fault, random ) ) continue;
      Proof const proof = prove( policy, *table.data, table.shape, table.defaults );
      switch ( proof.outcome ) {
        case Outcome::equal:
          ++counts[number].equal;
          ASSERT_FALSE( aPacketDiffers( policy, table, random, 40 ) );
          break;
        case Outcome::different:
          ++counts[number].different;
          expectARealWitness( policy, table, proof );
          if ( testing::Test::HasFailure() ) return;
          break;
        case Outcome::undecided:
          ++counts[number].undecided;
          ASSERT_TRUE( mayBeUndecided( fault ) ) << proof.reason;
      }
    }
  }
  for ( std::uint32_t number = 0; number != kTableFaultNames.size(); ++number ) {
    std::cout << kTableFaultNames[number] << ": " << counts[number].different << " different, " << counts[number].equal
              << " equal, " << counts[number].undecided << " undecided\n";
    EXPECT_GT( counts[number].different, 0 ) << kTableFaultNames[number];
  }
}

}  // namespace Orvex::Host::Test
