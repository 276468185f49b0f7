/// What an attribute costs: reading it, setting it with nobody watching, and with one reactor, against a plain member.
///
/// Each round works through the same small array of objects, so that a store does not wait for the one before it.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>

#include "Kiv/Entity.h"

namespace {

class Plain : public Kiv::PtrInterface {
 public:
  std::uint32_t level() const { return level_; }
  void levelIs( std::uint32_t level ) {
    if ( level_ == level ) return;
    level_ = level;
  }

 private:
  std::uint32_t level_ = 0;
};

class Lamp : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<Lamp, Kiv::NotifieeConst> {
   public:
    virtual void onLevel() {}
  };

  std::uint32_t level() const { return level_; }
  void levelIs( std::uint32_t level ) { set( level_, level, &NotifieeConst::onLevel ); }

 private:
  std::uint32_t level_ = 0;
};

class Counter : public Lamp::NotifieeConst {
 public:
  Counter() { hasNotificationActiveIs( true ); }
  void onLevel() override { ++changes; }
  std::uint64_t changes = 0;
};

constexpr std::size_t kObjects = 64;

template <class T>
std::array<Kiv::Ptr<T>, kObjects> made() {
  std::array<Kiv::Ptr<T>, kObjects> objects;
  for ( auto& each : objects ) each = Kiv::make<T>();
  return objects;
}

template <class T>
void read( benchmark::State& state, std::array<Kiv::Ptr<T>, kObjects> const& objects ) {
  for ( auto step : state )
    for ( auto const& each : objects ) benchmark::DoNotOptimize( each->level() );
  state.SetItemsProcessed( state.iterations() * static_cast<std::int64_t>( kObjects ) );
}

template <class T>
void set( benchmark::State& state, std::array<Kiv::Ptr<T>, kObjects> const& objects ) {
  std::uint32_t level = 0;
  for ( auto step : state ) {
    ++level;
    for ( auto const& each : objects ) {
      each->levelIs( level );
      benchmark::ClobberMemory();
    }
  }
  state.SetItemsProcessed( state.iterations() * static_cast<std::int64_t>( kObjects ) );
}

void readPlain( benchmark::State& state ) { read( state, made<Plain>() ); }
void readAttribute( benchmark::State& state ) { read( state, made<Lamp>() ); }
void setPlain( benchmark::State& state ) { set( state, made<Plain>() ); }
void setUnwatched( benchmark::State& state ) { set( state, made<Lamp>() ); }
void setWatched( benchmark::State& state ) {
  auto const lamps = made<Lamp>();
  auto const counters = made<Counter>();
  for ( std::size_t each = 0; each != kObjects; ++each ) counters[each]->notifierIs( lamps[each] );
  set( state, lamps );
  if ( counters[0]->changes == 0 ) state.SkipWithError( "no notification arrived" );
}
BENCHMARK( readPlain );
BENCHMARK( readAttribute );
BENCHMARK( setPlain );
BENCHMARK( setUnwatched );
BENCHMARK( setWatched );

}  // namespace
