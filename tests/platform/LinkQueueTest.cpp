#include "Kiv/LinkQueue.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "Kiv/String.h"

namespace {

using Kiv::LinkQueue;
using Kiv::String;

constexpr std::uint32_t kLastIndex = 0xFFFFFFFF;

static_assert( sizeof( LinkQueue<String> ) <= 64 );
static_assert( std::is_nothrow_default_constructible_v<LinkQueue<String>>, "allocates nothing" );

TEST( LinkQueue, IndicesCountOnFromTheLargerOfNextIndexAndLastMember ) {
  LinkQueue<String> queue;
  queue.nextIndexIs( 5 );
  EXPECT_EQ( 5U, queue.enq( "a" ) );
  queue.nextIndexIs( 3 );
  EXPECT_EQ( 6U, queue.enq( "b" ) );
  queue.nextIndexIs( 9 );
  EXPECT_EQ( 9U, queue.enq( "c" ) );
  queue.clear();
  EXPECT_EQ( 10U, queue.enq( "d" ) );
}

TEST( LinkQueue, IndicesStartAgainOnlyWhenTheQueueIsEmpty ) {
  LinkQueue<String> queue;
  queue.nextIndexIs( kLastIndex );
  EXPECT_EQ( kLastIndex, queue.enq( "a" ) );
  try {
    queue.enq( "b" );
    FAIL() << "no exception";
  } catch ( Kiv::Exception const& thrown ) {
    EXPECT_STREQ( "linkqueue index space full", thrown.what() );
  }
  EXPECT_EQ( "a", queue.deq() );
  EXPECT_EQ( 0U, queue.enq( "b" ) );
  EXPECT_EQ( 1U, queue.enq( "c" ) );
}

// The newcomer lies where the deleted last member lay: an iterator that stood there must not step over it.
TEST( LinkQueue, NewcomerAfterTheDeletionOfTheLastMemberIsVisited ) {
  LinkQueue<String> queue;
  queue.enq( "a" );
  queue.enq( "b" );
  auto at = queue.begin();
  ++at;
  queue.erase( 1 );
  queue.enq( "c" );
  ++at;
  ASSERT_TRUE( at );
  EXPECT_EQ( "c", at.value() );
}

TEST( LinkQueue, EmptyQueueHasNoHead ) {
  LinkQueue<String> queue;
  EXPECT_DEATH( queue.deq(), "fatal check failed" );
  EXPECT_DEATH( queue.head(), "fatal check failed" );
  queue.enq( "a" );
  auto const at = queue.begin();
  queue.deq();
  EXPECT_DEATH( *at, "fatal check failed" );
}

/// A queue and its slow twin under the same random changes, with an iterator under way in both.
class Twins {
 public:
  explicit Twins( std::uint32_t seed ) : random_( seed ), at_( queue_.begin() ) {}

  void run( int changes ) {
    for ( int i = 0; i < changes && !testing::Test::HasFailure(); ++i ) {
      change( i / 500 % 2 == 0 ? 70 : 40 );
      EXPECT_EQ( model_.size(), queue_.size() );
      if ( below( 3 ) == 0 ) step();
      if ( i % 16 == 0 ) checkAll();
    }
  }

 private:
  std::uint32_t below( std::uint32_t bound ) { return static_cast<std::uint32_t>( random_() % bound ); }

  void change( std::uint32_t enqPercent ) {
    std::uint32_t const choice = below( 1000 );
    if ( choice < 3 ) {
      queue_.clear();
      model_.clear();
    } else if ( choice < 6 ) {
      queue_ = LinkQueue<String>( queue_ );
    } else if ( choice < 10 * enqPercent ) {
      String const value( std::to_string( below( 100 ) ) );
      std::uint32_t const index = queue_.enq( value );
      EXPECT_EQ( next_, index );
      model_.emplace( next_++, value );
    } else if ( choice % 2 == 0 ) {
      std::uint32_t const index = next_ - below( 200 );
      EXPECT_EQ( model_.erase( index ) != 0, queue_.erase( index ) );
    } else if ( !model_.empty() ) {
      EXPECT_EQ( model_.begin()->second, queue_.head() );
      EXPECT_EQ( model_.begin()->second, queue_.deq() );
      model_.erase( model_.begin() );
    }
  }

  void step() {
    auto const want = place_ ? model_.upper_bound( *place_ ) : model_.begin();
    if ( place_ )
      ++at_;
    else
      at_ = queue_.begin();
    place_.reset();
    ASSERT_EQ( want != model_.end(), static_cast<bool>( at_ ) );
    if ( !at_ ) return;
    place_ = want->first;
    EXPECT_EQ( want->first, at_.index() );
    EXPECT_EQ( want->second, at_.value() );
  }

  void checkAll() {
    auto want = model_.begin();
    for ( auto const [index, value] : queue_ ) {
      ASSERT_NE( want, model_.end() );
      EXPECT_EQ( want->first, index );
      EXPECT_EQ( want->second, value );
      ++want;
    }
    EXPECT_EQ( want, model_.end() );
  }

  std::mt19937 random_;
  LinkQueue<String> queue_;
  std::map<std::uint32_t, String> model_;
  std::uint32_t next_ = 0;
  LinkQueue<String>::Iterator at_;
  std::optional<std::uint32_t> place_;
};

TEST( LinkQueue, AgreesWithAModel ) {
  for ( std::uint32_t seed = 1; seed <= 20; ++seed ) {
    SCOPED_TRACE( testing::Message() << "seed " << seed );
    Twins( seed ).run( 5000 );
  }
}

// Deep recursion in a destructor, or deletion that moves the rest of the queue each time, shows at this length.
TEST( LinkQueue, LongQueueIsPassedThroughAndDestroyed ) {
  LinkQueue<String> queue;
  for ( int i = 0; i < 1000000; ++i ) queue.enq( "a" );
  for ( auto const [index, value] : queue )
    if ( index % 2 != 0 ) queue.erase( index );
  for ( int i = 0; i < 100000; ++i ) queue.deq();
  EXPECT_EQ( 400000U, queue.size() );
  EXPECT_EQ( 200000U, queue.begin().index() );
}

/// Adds to the queue that it leaves.
class Leaver : public Kiv::PtrInterface {
 public:
  using Queue = LinkQueue<Kiv::Ptr<Leaver>>;

  Leaver( Queue& queue, int followers ) : queue_( queue ), followers_( followers ) {}
  ~Leaver() override {
    if ( followers_ > 0 ) queue_.enq( Kiv::make<Leaver>( queue_, followers_ - 1 ) );
  }

 private:
  Queue& queue_;
  int followers_;
};

TEST( LinkQueue, DestructorsOfValuesMayUseTheQueue ) {
  Leaver::Queue queue;
  for ( int i = 0; i < 3; ++i ) queue.enq( Kiv::make<Leaver>( queue, 2 ) );
  queue.erase( 1 );
  EXPECT_EQ( 3U, queue.size() );
  queue.clear();
  EXPECT_EQ( 3U, queue.size() );
}

}  // namespace
