#include "verify/Prover.h"

#include <gtest/gtest.h>

#include <string>

#include "host/CompiledPolicy.h"
#include "host/PolicyNotation.h"
#include "host/RandomChip.h"
#include "host/RandomPolicy.h"
#include "host/SeedRange.h"
#include "orvex/TestStages.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"

/// The prover on tables that the compiler made.

namespace Orvex::Host::Test {

namespace {

using Orvex::Test::TestChip;
using Orvex::Test::TraceLines;
using Verify::Outcome;
using Verify::Proof;

}  // namespace

TEST( Prover, EveryTableThatIsCompiledIsProvedAndNearlyAlwaysWithoutBoxes ) {
  TraceLines const failures( 0 );
  std::uint64_t proved = 0, rules = 0, rulesByBoxes = 0, boxes = 0;
  SeedRange const seeds = seedRange( 2000 );
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Random random( seed );
    RandomChip const make( random );
    TestChip chip;
    chip.capability = make.capability;
    Policy const policy = randomPolicy( random );
    auto const snapshot = compiled( chip, policy );
    if ( !snapshot ) continue;
    Proof const proof = prove( policy, *snapshot, make.shape, defaultsOf( policy ) );
    ASSERT_EQ( proof.outcome, Outcome::equal ) << proof.reason;
    ++proved;
    rules += proof.rules;
    rulesByBoxes += proof.rulesByBoxes;
    boxes += proof.boxes;
  }
  std::cout << proved << " proved, " << rulesByBoxes << " of " << rules << " rules with " << boxes << " boxes\n";
  EXPECT_GT( proved, seeds.count / 2 );
  EXPECT_LT( rulesByBoxes, rules / 5 );
}

}  // namespace Orvex::Host::Test
