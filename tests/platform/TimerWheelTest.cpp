#include "Brae/TimerWheel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Kiv/System.h"

namespace {

using testing::ElementsAre;

class TimerWheelTest : public testing::Test {
 protected:
  class Timer : public Brae::TimerWheel::NotifieeConst {
   public:
    Timer( std::string name, std::vector<std::string>& log ) : name_( std::move( name ) ), log_( log ) {
      hasNotificationActiveIs( true );
    }
    std::function<void()> react;
    void onTime() override {
      log_.push_back( name_ );
      if ( react ) std::exchange( react, nullptr )();
    }

   private:
    std::string name_;
    std::vector<std::string>& log_;
  };

  TimerWheelTest() {
    Kiv::System::clockIs( [this] { return clock; } );
  }
  ~TimerWheelTest() override { Kiv::System::clockIs( {} ); }

  Kiv::Ptr<Timer> timer( std::string const& name ) {
    auto const made = Kiv::make<Timer>( name, fired );
    made->notifierIs( wheel );
    return made;
  }

  double clock = 100;
  std::vector<std::string> fired;
  Kiv::Ptr<Brae::TimerWheel> wheel = Kiv::make<Brae::TimerWheel>();
};

TEST_F( TimerWheelTest, TheClockIsStrictlyIncreasingAndNeverZero ) {
  clock = 0;
  double const first = Kiv::System::currentTime();
  double const second = Kiv::System::currentTime();
  EXPECT_LT( 0, first );
  EXPECT_LT( first, second );
  clock = 1e9;
  double const third = Kiv::System::currentTime();
  EXPECT_EQ( 1e9, third );
  clock = 5;
  EXPECT_LT( third, Kiv::System::currentTime() );
}

TEST_F( TimerWheelTest, FiresOnceInOrderOfTimeWhenTheTimeHasCome ) {
  auto const a = timer( "a" ), b = timer( "b" ), c = timer( "c" );
  a->timeMinIs( 130 );
  b->timeMinIs( 120 );
  c->timeMinIs( 120 );
  EXPECT_EQ( 0U, wheel->service() );
  EXPECT_EQ( 120, wheel->nextTime() );
  clock = 140;
  EXPECT_TRUE( wheel->due() );
  EXPECT_EQ( 3U, wheel->service() );
  EXPECT_FALSE( wheel->due() );
  EXPECT_EQ( 0U, wheel->service() );
  EXPECT_THAT( fired, ElementsAre( "b", "c", "a" ) );
}

TEST_F( TimerWheelTest, SettingTheTimeAgainArmsAgainAlsoWithAnEqualTime ) {
  auto const a = timer( "a" );
  a->timeMinIs( 100 );
  a->timeMinIs( 100 );
  wheel->service();
  a->timeMinIs( 100 );
  wheel->service();
  EXPECT_THAT( fired, ElementsAre( "a", "a" ) );
}

TEST_F( TimerWheelTest, ATimerSetDuringAServiceFiresAtTheNextOne ) {
  auto const a = timer( "a" ), b = timer( "b" );
  a->timeMinIs( 90 );
  b->timeMinIs( 95 );
  a->react = [&] {
    a->timeMinIs( 1 );
    b->timeMinIs( 0 );
  };
  EXPECT_EQ( 1U, wheel->service() );
  EXPECT_TRUE( wheel->due() );
  EXPECT_EQ( 2U, wheel->service() );
  EXPECT_THAT( fired, ElementsAre( "a", "b", "a" ) );
}

TEST_F( TimerWheelTest, AClockThatStepsBackDelaysNothing ) {
  auto const a = timer( "a" );
  a->timeMinIs( Kiv::System::currentTime() );
  clock = 3;
  EXPECT_EQ( 1U, wheel->service() );
}

TEST_F( TimerWheelTest, AHandlerMayNotServiceItsWheel ) {
  auto const a = timer( "a" );
  a->timeMinIs( 50 );
  a->react = [&] { wheel->service(); };
  EXPECT_DEATH( wheel->service(), "service: not called from inside a service" );
}

TEST_F( TimerWheelTest, ATimerUnboundOrDestroyedOrSwitchedOffMeanwhileDoesNotFire ) {
  auto const a = timer( "a" ), b = timer( "b" );
  auto c = timer( "c" ), d = timer( "d" );
  for ( auto const& each : { a, b, c, d } ) each->timeMinIs( 50 );
  a->react = [&] {
    b->notifierIs( nullptr );
    c = nullptr;
    d->hasNotificationActiveIs( false );
    wheel = nullptr;
  };
  EXPECT_EQ( 2U, wheel->service() );
  EXPECT_THAT( fired, ElementsAre( "a" ) );
}

}  // namespace
