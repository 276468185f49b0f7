#include "Kiv/Entity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <stdexcept>

#include "Kiv/RbTreeMap.h"
#include "Kiv/StateMachine.h"
#include "Kiv/String.h"

namespace {

using testing::ElementsAre;
using Log = std::vector<std::string>;

struct Part : Kiv::PtrInterface {
  explicit Part( Kiv::String n ) : name( std::move( n ) ) {}
  Kiv::String name;
};

class Lamp : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<Lamp, Kiv::NotifieeConst> {
   public:
    virtual void onLevel() {}
    virtual void onHeat() {}
    virtual void onShade( int ) {}
    virtual void onShade() {}
    virtual void onPart( Kiv::String const& ) {}
  };

  int level() const { return level_; }
  void levelIs( int level ) { set( level_, level, &NotifieeConst::onLevel ); }
  void heatIs( double heat ) { set( heat_, heat, &NotifieeConst::onHeat ); }
  Kiv::RbTreeMap<int, int> const& shade() const { return shade_; }
  void shadeIs( int key, int value ) { setMember( shade_, key, value, &NotifieeConst::onShade ); }
  void shadeDel( int key ) { deleteMember( shade_, key, &NotifieeConst::onShade ); }
  void shadeDelAll() { deleteAllMembers( shade_, &NotifieeConst::onShade ); }
  Kiv::RbTreeMap<Kiv::String, Kiv::Ptr<Part>> const& part() const { return part_; }
  void partIs( Kiv::String const& key, Kiv::Ptr<Part> const& part ) {
    setMember( part_, key, part, &NotifieeConst::onPart );
  }

 private:
  int level_ = 0;
  double heat_ = 0;
  Kiv::RbTreeMap<int, int> shade_;
  Kiv::RbTreeMap<Kiv::String, Kiv::Ptr<Part>> part_;
};

class ColourLamp : public Lamp {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<ColourLamp, Lamp::NotifieeConst> {
   public:
    virtual void onColour() {}
  };
  void colourIs( int colour ) { set( colour_, colour, &NotifieeConst::onColour ); }

 private:
  int colour_ = 0;
};

/// Logs what it hears under its name, then does what the test asks for.
class Listener : public Lamp::NotifieeConst {
 public:
  Listener( std::string name, Log& log ) : name_( std::move( name ) ), log_( log ) { hasNotificationActiveIs( true ); }

  std::function<void()> react;

  void onLevel() override { heard( "level " + std::to_string( notifier()->level() ) ); }
  void onHeat() override { heard( "heat" ); }
  void onShade( int key ) override { heard( "shade " + std::to_string( key ) ); }
  void onShade() override { heard( "shades" ); }
  void onPart( Kiv::String const& key ) override { heard( "part " + std::string( key.view() ) ); }
  void onNotificationException( std::exception_ptr ) noexcept override { log_.push_back( name_ + " threw" ); }

 private:
  void heard( std::string const& what ) {
    log_.push_back( name_ + " " + what );
    if ( react ) std::exchange( react, nullptr )();
  }

  std::string name_;
  Log& log_;
};

/// Sets a lamp when it is destroyed, whoever is being destroyed around it.
struct Meddler : Kiv::PtrInterface {
  explicit Meddler( Kiv::Ptr<Lamp> const& l ) : lamp( l ) {}
  ~Meddler() override { lamp->levelIs( lamp->level() + 1 ); }
  Kiv::Ptr<Lamp> lamp;
};

class EntityTest : public testing::Test {
 protected:
  Kiv::Ptr<Listener> listener( std::string const& name ) {
    auto const made = Kiv::make<Listener>( name, log );
    made->notifierIs( lamp );
    return made;
  }

  Log log;
  Kiv::Ptr<Lamp> lamp = Kiv::make<Lamp>();
};

TEST_F( EntityTest, OnlyAChangeNotifies ) {
  auto const a = listener( "a" );
  lamp->levelIs( 0 );
  lamp->levelIs( 5 );
  lamp->levelIs( 5 );
  lamp->heatIs( std::nan( "" ) );
  lamp->heatIs( std::nan( "" ) );
  EXPECT_THAT( log, ElementsAre( "a level 5", "a heat", "a heat" ) );
}

TEST_F( EntityTest, CollectionChangesNameTheMemberAndDeletionOfAllDoesNot ) {
  auto const a = listener( "a" );
  lamp->shadeDelAll();
  lamp->shadeIs( 1, 10 );
  lamp->shadeIs( 1, 10 );
  lamp->shadeIs( 1, 11 );
  lamp->shadeIs( 2, 20 );
  lamp->shadeDel( 3 );
  lamp->shadeDel( 1 );
  lamp->shadeDelAll();
  EXPECT_THAT( log, ElementsAre( "a shade 1", "a shade 1", "a shade 2", "a shade 1", "a shades" ) );
}

TEST_F( EntityTest, ReactorsHearInBindingOrderAndNotWhileSwitchedOff ) {
  auto const a = listener( "a" ), b = listener( "b" ), c = listener( "c" );
  b->hasNotificationActiveIs( false );
  lamp->levelIs( 1 );
  b->hasNotificationActiveIs( true );
  c->kivDoZombieReactors( true );
  lamp->levelIs( 2 );
  a->notifierIs( nullptr );
  a->notifierIs( lamp );
  c->kivDoZombieReactors( false );
  lamp->levelIs( 3 );
  EXPECT_THAT(
      log, ElementsAre( "a level 1", "c level 1", "a level 2", "b level 2", "b level 3", "c level 3", "a level 3" ) );
}

TEST_F( EntityTest, AReactorUnboundMeanwhileIsSkippedAndOneBoundMeanwhileWaits ) {
  auto const a = listener( "a" );
  auto b = listener( "b" );
  auto const c = listener( "c" );
  Kiv::Ptr<Listener> d;
  a->react = [&] {
    b = nullptr;
    d = listener( "d" );
    a->notifierIs( nullptr );
  };
  lamp->levelIs( 1 );
  EXPECT_EQ( 2U, lamp->notifiees() );
  lamp->levelIs( 2 );
  EXPECT_THAT( log, ElementsAre( "a level 1", "c level 1", "c level 2", "d level 2" ) );
}

TEST_F( EntityTest, ANestedNotificationLeavesTheOuterOneItsPlace ) {
  auto a = listener( "a" );
  auto const b = listener( "b" ), c = listener( "c" );
  b->react = [&] {
    a = nullptr;
    lamp->levelIs( 2 );
  };
  lamp->levelIs( 1 );
  EXPECT_THAT( log, ElementsAre( "a level 1", "b level 1", "b level 2", "c level 2", "c level 2" ) );
}

TEST_F( EntityTest, AHandlerMayDropTheLastReferenceToItsNotifierAndToItself ) {
  auto a = listener( "a" );
  auto const b = listener( "b" );
  a->react = [&] {
    b->notifierIs( nullptr );
    a = nullptr;
    lamp = nullptr;
  };
  lamp->levelIs( 1 );
  EXPECT_THAT( log, ElementsAre( "a level 1" ) );
}

TEST_F( EntityTest, AnEscapedExceptionGoesToItsReactorAndTheOthersStillHear ) {
  auto const a = listener( "a" ), b = listener( "b" );
  a->react = [] { throw std::runtime_error( "no" ); };
  lamp->levelIs( 1 );
  EXPECT_THAT( log, ElementsAre( "a level 1", "a threw", "b level 1" ) );
}

// The handler got a reference into the name that the new value had replaced.
TEST_F( EntityTest, TheKeyMayBePartOfTheValueThatIsReplaced ) {
  auto const a = listener( "a" );
  lamp->partIs( "bulb", Kiv::make<Part>( "bulb" ) );
  Part const* const stored = lamp->part().find( "bulb" ).get();
  lamp->partIs( stored->name, Kiv::make<Part>( "shade" ) );
  EXPECT_THAT( log, ElementsAre( "a part bulb", "a part bulb" ) );
}

TEST_F( EntityTest, AReactorThatIsBeingDestroyedHearsNothing ) {
  struct Dying : Lamp::NotifieeConst {
    Dying( Kiv::Ptr<Lamp> const& lamp, Log& l ) : meddler( Kiv::make<Meddler>( lamp ) ), log( l ) {
      hasNotificationActiveIs( true );
      notifierIs( lamp );
    }
    void onLevel() override { log.push_back( "heard" ); }
    Kiv::Ptr<Meddler> meddler;
    Log& log;
  };
  Kiv::make<Dying>( lamp, log );
  EXPECT_EQ( 1, lamp->level() );
  EXPECT_THAT( log, testing::IsEmpty() );
}

TEST( EntityDeathTest, AnExceptionThatNoReactorTakesEndsTheProcess ) {
  struct Thrower : Lamp::NotifieeConst {
    void onLevel() override { throw std::runtime_error( "half done" ); }
  };
  auto const lamp = Kiv::make<Lamp>();
  auto const thrower = Kiv::make<Thrower>();
  thrower->hasNotificationActiveIs( true );
  thrower->notifierIs( lamp );
  EXPECT_DEATH( lamp->levelIs( 1 ), "a notification handler threw: half done" );
}

TEST( EntityClasses, ReactorsOfTheBaseHearTheBaseAndThoseOfTheDerivedClassHearAll ) {
  struct ColourListener : ColourLamp::NotifieeConst {
    explicit ColourListener( Log& l ) : log( l ) { hasNotificationActiveIs( true ); }
    void onLevel() override { log.push_back( "derived level" ); }
    void onColour() override { log.push_back( "derived colour" ); }
    Log& log;
  };
  Log log;
  auto const lamp = Kiv::make<ColourLamp>();
  auto const base = Kiv::make<Listener>( "base", log );
  auto const derived = Kiv::make<ColourListener>( log );
  base->notifierIs( lamp );
  derived->notifierIs( lamp );
  lamp->colourIs( 1 );
  lamp->levelIs( 1 );
  EXPECT_THAT( log, ElementsAre( "derived colour", "base level 1", "derived level" ) );

  Lamp::NotifieeConst& asBase = *derived;
  EXPECT_DEATH( asBase.notifierIs( Kiv::make<Lamp>() ), "bound to an entity of its own class" );
}

/// A machine that watches two lamps and forwards what it hears.
class Switch : public Kiv::StateMachine {
 public:
  Switch( Kiv::Ptr<Lamp> const& first, Kiv::Ptr<Lamp> const& second, Log& log ) : log_( log ) {
    for ( auto const& lamp : { first, second } ) watch( lamp );
  }
  ~Switch() override { log_.push_back( "gone" ); }

  void watch( Kiv::Ptr<Lamp const> const& lamp ) {
    reactors_.push_back( Kiv::make<KivLamp>( this ) );
    reactors_.back()->notifierIs( lamp );
  }
  void handleLevel( int level ) {
    if ( react ) std::exchange( react, nullptr )();
    log_.push_back( "level " + std::to_string( level ) );
  }

  std::function<void()> react;

 private:
  class KivLamp : public Kiv::Reactor<Lamp::NotifieeConst, Switch> {
   public:
    using Reactor::Reactor;
    void onLevel() override { owner()->handleLevel( notifier()->level() ); }
  };

  Log& log_;
  std::vector<Kiv::Ptr<KivLamp>> reactors_;
};

TEST( StateMachine, SwitchesTheDeliveryOfAllItsReactorsTogether ) {
  Log log;
  auto const first = Kiv::make<Lamp>(), second = Kiv::make<Lamp>(), third = Kiv::make<Lamp>();
  auto const machine = Kiv::make<Switch>( first, second, log );
  first->levelIs( 1 );
  machine->hasNotificationActiveIs( true );
  machine->watch( third );
  first->levelIs( 2 );
  second->levelIs( 3 );
  third->levelIs( 4 );
  machine->hasNotificationActiveIs( false );
  third->levelIs( 5 );
  EXPECT_THAT( log, ElementsAre( "level 2", "level 3", "level 4" ) );
}

TEST( StateMachine, AHandlerMayDropTheLastReferenceToItsMachine ) {
  Log log;
  auto const lamp = Kiv::make<Lamp>();
  auto machine = Kiv::make<Switch>( lamp, lamp, log );
  machine->hasNotificationActiveIs( true );
  machine->react = [&] { machine = nullptr; };
  lamp->levelIs( 1 );
  EXPECT_THAT( log, ElementsAre( "level 1", "gone" ) );
  EXPECT_EQ( 0U, lamp->notifiees() );
}

// At the end of a chain of just the right length a machine has lost its last reference and waits to be destroyed. It heard
// meanwhile, and the Ptr that this takes destroyed it twice.
TEST( StateMachine, HearsNothingWhileItWaitsToBeDestroyed ) {
  struct Link : Kiv::PtrInterface {
    Kiv::Ptr<Meddler> goesLast;
    Kiv::Ptr<Kiv::PtrInterface> next;
  };
  for ( int length = 1; length != 150; ++length ) {
    SCOPED_TRACE( length );
    Log log;
    auto const lamp = Kiv::make<Lamp>();
    auto machine = Kiv::make<Switch>( lamp, lamp, log );
    machine->hasNotificationActiveIs( true );
    auto chain = Kiv::Ptr<Kiv::PtrInterface>( std::move( machine ) );
    for ( int i = 0; i != length; ++i ) {
      auto link = Kiv::make<Link>();
      link->next = std::move( chain );
      link->goesLast = Kiv::make<Meddler>( lamp );
      chain = std::move( link );
    }
    chain = nullptr;
    EXPECT_EQ( length, lamp->level() );
    EXPECT_EQ( "gone", log.back() );
  }
}

}  // namespace
