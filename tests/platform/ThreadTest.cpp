// What several threads may do at once, for ThreadSanitizer: share strings and objects.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Brae/TimerWheel.h"
#include "Kiv/String.h"

namespace {

constexpr unsigned kThreads = 4;

TEST( Threads, ShareStringsAndObjects ) {
  Kiv::threadSafePointersIs( true );
  struct Shared : Kiv::PtrInterface {
    explicit Shared( std::atomic<int>& destroyedCount ) : destroyed( destroyedCount ) {}
    ~Shared() override { ++destroyed; }
    std::atomic<int>& destroyed;
  };
  std::atomic<int> destroyed = 0;
  auto object = Kiv::make<Shared>( destroyed );
  Kiv::String text = "shared by all";
  std::atomic<unsigned> ready = 0;
  {
    auto const work = [&, object, text] {
      ++ready;
      while ( ready != kThreads ) std::this_thread::yield();
      for ( int i = 0; i != 10000; ++i ) {
        Kiv::Ptr<Shared const> const other = object;
        Kiv::String const copy = text;
        ASSERT_EQ( 13U, copy.size() );
      }
    };
    std::vector<std::jthread> threads;
    for ( unsigned each = 0; each != kThreads; ++each ) threads.emplace_back( work );
  }
  EXPECT_EQ( 0, destroyed );
  EXPECT_EQ( 1U, object->references() );
  object = nullptr;
  EXPECT_EQ( 1, destroyed );
  Kiv::threadSafePointersIs( false );
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
