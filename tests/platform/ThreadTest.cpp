// What several threads may do at once, for ThreadSanitizer: share strings and objects, compile for a chip each on a
// wheel of their own, and trace.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "Brae/TimerWheel.h"
#include "Kiv/String.h"
#include "Kiv/System.h"
#include "Kiv/Trace.h"
#include "orvex/TestStages.h"

#include "Orvex/OrvexStageControllerSm.h"

namespace {

constexpr unsigned kThreads = 4;

void onEachThread( std::function<void( unsigned )> const& work ) {
  std::vector<std::thread> threads;
  for ( unsigned each = 0; each != kThreads; ++each ) threads.emplace_back( work, each );
  for ( std::thread& each : threads ) each.join();
}

class Threads : public testing::Test {
 protected:
  Threads() { Kiv::threadSafePointersIs( true ); }
  ~Threads() override { Kiv::threadSafePointersIs( false ); }
};

TEST_F( Threads, ShareStringsAndObjects ) {
  struct Shared : Kiv::PtrInterface {
    explicit Shared( std::atomic<int>& destroyedCount ) : destroyed( destroyedCount ) {}
    ~Shared() override { ++destroyed; }
    std::atomic<int>& destroyed;
  };
  std::atomic<int> destroyed = 0;
  auto object = Kiv::make<Shared>( destroyed );
  Kiv::String text = "shared by all";
  std::atomic<unsigned> ready = 0;
  onEachThread( [&, object, text]( unsigned ) {
    ++ready;
    while ( ready != kThreads ) std::this_thread::yield();
    for ( int i = 0; i != 10000; ++i ) {
      Kiv::Ptr<Shared const> const other = object;
      Kiv::String const copy = text;
      ASSERT_EQ( 13U, copy.size() );
    }
  } );
  EXPECT_EQ( 0, destroyed );
  EXPECT_EQ( 1U, object->references() );
  object = nullptr;
  EXPECT_EQ( 1, destroyed );
}

TEST_F( Threads, EachRunsAPipelineOfItsOwnAndTraces ) {
  using namespace Orvex;
  std::atomic<unsigned> lines = 0;
  Kiv::Trace::levelIs( 8 );
  Kiv::Trace::sinkIs( [&lines]( Kiv::TraceLine const& ) { ++lines; } );
  onEachThread( []( unsigned chip ) {
    std::vector<std::string> log;
    auto const configs = Kiv::make<StageSmConfig>();
    auto const statuses = Kiv::make<StageSmStatus>();
    std::vector<Kiv::Ptr<Orvex::Test::TestStage>> stages;
    for ( char const* const name : { "aggregator", "ruleExpander", "loader" } ) {
      stages.push_back( Kiv::make<Orvex::Test::TestStage>( name, log ) );
      stages.back()->hasNotificationActiveIs( true );
    }
    configs->aggregatorConfigIs( stages[0]->kicker() );
    configs->ruleExpanderConfigIs( stages[1]->kicker() );
    configs->loaderConfigIs( stages[2]->kicker() );
    statuses->aggregatorStatusIs( stages[0]->status() );
    statuses->ruleExpanderStatusIs( stages[1]->status() );
    statuses->loaderStatusIs( stages[2]->status() );
    auto const config = Kiv::make<StageControllerConfig>();
    auto const status = Kiv::make<StageControllerStatus>();
    auto const wheel = Brae::TimerWheel::ofThisThread();
    auto const controller =
        orvexStageControllerSmFactory( Brae::ChipId( chip ), config, status, configs, statuses, wheel );
    for ( int kick = 0; kick != 50; ++kick ) {
      config->kickTimeIs( Kiv::System::currentTime() );
      while ( wheel->due() ) wheel->service();
      ASSERT_EQ( StageStatusType::finishedSuccess, status->status() );
    }
    ASSERT_EQ( 150U, log.size() );
  } );
  Kiv::Trace::sinkIs( {} );
  Kiv::Trace::levelIs( 0 );
  EXPECT_LT( 4U * 50U * 20U, lines );
}

TEST( ThreadsDeathTest, ASecondThreadsWheelNeedsThreadSafePointers ) {
  GTEST_FLAG_SET( death_test_style, "threadsafe" );
  EXPECT_DEATH(
      {
        auto const wheel = Brae::TimerWheel::ofThisThread();
        std::thread( [] { Brae::TimerWheel::ofThisThread(); } ).join();
      },
      "threadSafePointers is on before a second thread has a timer wheel" );
}

}  // namespace
