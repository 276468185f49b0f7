#include "Kiv/Ptr.h"

#include <gtest/gtest.h>

#include <vector>

#include "Kiv/String.h"

namespace {

struct Link : Kiv::PtrInterface {
  explicit Link( int& aliveCount ) : alive( aliveCount ) { ++alive; }
  ~Link() override { --alive; }
  int& alive;
  std::vector<Kiv::Ptr<Link>> next;
};

TEST( Ptr, AssigningAPartOfTheOldObjectKeepsThePart ) {
  int alive = 0;
  auto head = Kiv::make<Link>( alive );
  head->next.push_back( Kiv::make<Link>( alive ) );
  head = head->next.front();
  EXPECT_EQ( 1, alive );
}

TEST( Ptr, AnObjectIsDestroyedAtOnce ) {
  struct Watcher : Kiv::PtrInterface {
    Watcher( int& aliveCount, int& seenCount )
        : part( Kiv::make<Link>( aliveCount ) ), alive( aliveCount ), seen( seenCount ) {}
    ~Watcher() override {
      part = nullptr;
      seen = alive;
    }
    Kiv::Ptr<Link> part;
    int& alive;
    int& seen;
  };
  int alive = 0;
  int aliveAfterPart = -1;
  Kiv::make<Watcher>( alive, aliveAfterPart );
  EXPECT_EQ( 0, aliveAfterPart );
}

TEST( Ptr, LongChainsAndBroadTreesAreUnwoundWithoutRecursion ) {
  constexpr int kLength = 1'000'000;
  int alive = 0;
  {
    auto head = Kiv::make<Link>( alive );
    for ( int i = 1; i < kLength; ++i ) {
      auto longer = Kiv::make<Link>( alive );
      longer->next.push_back( std::move( head ) );
      if ( i % 3 == 0 ) longer->next.push_back( longer->next.front() );
      head = std::move( longer );
    }
    EXPECT_EQ( kLength, alive );
  }
  EXPECT_EQ( 0, alive );
}

// The count went from 0 to 1 and back, and the object was destroyed again.
TEST( Ptr, AConstructorAndADestructorMayFormPtrsToTheirObject ) {
  struct Selfish : Kiv::PtrInterface {
    explicit Selfish( int& destroyedCount ) : destroyed( destroyedCount ) { Kiv::Ptr<Selfish>( this ); }
    ~Selfish() override {
      Kiv::Ptr<Selfish>( this );
      ++destroyed;
    }
    void handleLastReferenceGone() noexcept override { Kiv::Ptr<Selfish>( this ); }
    int& destroyed;
  };
  int destroyed = 0;
  auto selfish = Kiv::make<Selfish>( destroyed );
  EXPECT_EQ( 1U, selfish->references() );
  selfish = nullptr;
  EXPECT_EQ( 1, destroyed );
}

TEST( String, CopiesShareAndJoinsDoNot ) {
  Kiv::String const hello = "hello";
  Kiv::String copy = hello;
  EXPECT_EQ( hello.c_str(), copy.c_str() );
  copy += copy;
  copy = copy + " " + "world";
  EXPECT_EQ( "hellohello world", copy.view() );
  EXPECT_EQ( "hello", hello.view() );
  EXPECT_TRUE( hello < copy );
  EXPECT_EQ( Kiv::String( "hello" ).hash(), hello.hash() );
  EXPECT_EQ( Kiv::String(), "" );
  EXPECT_EQ( std::string( 1000, 'x' ) + "7 0x1f",
             Kiv::format( "%s%d 0x%x", std::string( 1000, 'x' ).c_str(), 7, 31U ).view() );
}

}  // namespace
