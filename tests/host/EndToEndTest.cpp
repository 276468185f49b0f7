#include <gtest/gtest.h>

#include <string>

#include "host/CompiledPolicy.h"
#include "host/PolicyNotation.h"
#include "host/RandomChip.h"
#include "host/RandomPolicy.h"
#include "orvex/TestStages.h"
#include "packets/BoundaryPackets.h"
#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"

/// From a policy to the snapshot that a chip is loaded with, held against what the policy means.

namespace Orvex::Host::Test {

namespace {

using Orvex::Test::TestChip;
using Orvex::Test::TraceLines;

void expectTheSnapshotIsThePolicy( Policy const& policy, PDData const& snapshot, Verify::TableShape const& shape,
                                   Random& random, int packetsAnAcl ) {
  for ( Acl const& acl : policy.acls ) {
    BoundaryPackets packets( random, acl );
    for ( int count = 0; count != packetsAnAcl; ++count ) {
      Verify::Packet const packet = packets.next();
      ASSERT_EQ( Verify::interpret( acl, packet ),
                 Verify::lookUp( snapshot, shape, libraryAclName( acl.family, acl.name ), actionOf( acl.defaultAction ),
                                 packet ) )
          << textOf( acl ) << textOf( packet );
    }
  }
}

}  // namespace

TEST( EndToEnd, RandomPoliciesOnRandomChipsMeanWhatTheySay ) {
  TraceLines const failures( 0 );
  int refused = 0;
  constexpr int kPolicies = 1500;
  for ( std::uint64_t seed = 1; seed <= kPolicies; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    RandomChip const make( random );
    TestChip chip;
    chip.capability = make.capability;
    Policy const policy = randomPolicy( random );
    auto const snapshot = compiled( chip, policy );
    if ( !snapshot ) {
      ++refused;
      std::string const message( chip.rootStatus->kickMessage().view() );
      ASSERT_TRUE( message.find( "Xform" ) != std::string::npos || message.find( "Split" ) != std::string::npos ||
                   message.find( "Encoder" ) != std::string::npos || message.find( "Expander" ) != std::string::npos )
          << message;
      continue;
    }
    expectTheSnapshotIsThePolicy( policy, *snapshot, make.shape, random, 60 );
    if ( testing::Test::HasFatalFailure() ) return;
  }
  EXPECT_LT( refused, kPolicies / 2 );
  EXPECT_GT( refused, 0 ) << "no chip was too narrow";
}

TEST( EndToEnd, VersionAfterVersionTheChipHoldsTheLastThatWasReportedLoaded ) {
  TraceLines const failures( 0 );
  for ( std::uint64_t seed = 1; seed <= 40; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    RandomChip const make( random );
    TestChip chip;
    chip.capability = make.capability;
    Policy inForce;
    for ( int version = 0; version != 8; ++version ) {
      Policy const candidate = randomPolicy( random );
      bool const refuses = random.percent( 25 );
      chip.driver.toAcquire = refuses                ? ResponseState::failed
                              : random.percent( 30 ) ? ResponseState::hitful
                                                     : ResponseState::hitless;
      bool const loaded = compiled( chip, candidate ) != nullptr;
      ASSERT_FALSE( loaded && refuses );
      if ( loaded ) inForce = candidate;
      if ( !chip.driver.loaded ) continue;
      expectTheSnapshotIsThePolicy( inForce, *chip.driver.loaded, make.shape, random, 40 );
      if ( testing::Test::HasFatalFailure() ) return;
    }
  }
}

}  // namespace Orvex::Host::Test
