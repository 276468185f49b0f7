// Several chips in one process, each driven on a thread of its own, from policies that they share and policies of their own.
// All trace at once.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Kiv/Trace.h"
#include "ListPolicy.h"
#include "orvex/SnapshotText.h"
#include "orvex/TestChip.h"

namespace Orvex {
namespace {

constexpr unsigned kChips = 4;

Kiv::Ptr<AclConfigColl> listPolicy( Vell::AddressFamily family, std::uint64_t seed ) {
  Bench::ListPolicyParameters parameters;
  parameters.family = family;
  parameters.rules = 200;
  parameters.lists = 40;
  parameters.seed = seed;
  return Bench::makeListPolicy( parameters ).config;
}

/// The snapshots of the policies, compiled one after the other onto one chip.
std::string snapshotsOf( std::vector<Kiv::Ptr<AclConfigColl>> const& policies ) {
  Test::TestChip chip;
  chip.capability->rangeEncodingAttrIs( RangeSetType::dstPort, EncodingAttr( 12, EncodedLabel( 0 ) ) );
  std::string text;
  for ( auto const& policy : policies ) {
    chip.policy = policy;
    text += chip.compile() == OrvexProgress::orvexFinishedSuccess ? Test::textOf( *chip.driver.loaded ) : "failed";
  }
  return text;
}

TEST( ChipThreads, ChipsOnThreadsOfTheirOwnGetTheSnapshotsThatTheyGetOneAfterTheOther ) {
  Kiv::threadSafePointersIs( true );
  auto const shared = listPolicy( Vell::AddressFamily::ipv4, 1 );
  std::array<std::vector<Kiv::Ptr<AclConfigColl>>, kChips> policies;
  for ( unsigned chip = 0; chip != kChips; ++chip )
    policies[chip] = {
        shared, listPolicy( chip % 2 == 0 ? Vell::AddressFamily::ipv4 : Vell::AddressFamily::ipv6, chip ), shared };

  std::array<std::string, kChips> inTurn;
  for ( unsigned chip = 0; chip != kChips; ++chip ) inTurn[chip] = snapshotsOf( policies[chip] );
  std::array<std::string, kChips> atOnce;
  std::atomic<unsigned> lines = 0;
  Kiv::Trace::sinkIs( [&lines]( Kiv::TraceLine const& ) { ++lines; } );
  Kiv::Trace::levelIs( 4 );
  {
    std::vector<std::jthread> threads;
    for ( unsigned chip = 0; chip != kChips; ++chip )
      threads.emplace_back( [&, chip] { atOnce[chip] = snapshotsOf( policies[chip] ); } );
  }
  for ( unsigned chip = 0; chip != kChips; ++chip ) {
    EXPECT_LT( 10000U, inTurn[chip].size() );
    EXPECT_TRUE( inTurn[chip] == atOnce[chip] ) << chip;
  }
  Kiv::Trace::levelIs( 0 );
  Kiv::Trace::sinkIs( {} );
  EXPECT_LT( 3 * kChips * 20U, lines );  // each compile's transitions
  policies = {};
  Kiv::threadSafePointersIs( false );
}

}  // namespace
}  // namespace Orvex
