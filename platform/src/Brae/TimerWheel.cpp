#include "Brae/TimerWheel.h"

#include <atomic>
#include <limits>

#include "Kiv/System.h"

namespace Brae {

void TimerWheel::NotifieeConst::timeMinIs( double time ) {
  auto const wheel = notifier();
  Kiv::fatalUnless( wheel != nullptr, "timeMinIs: the timer is bound to a wheel" );
  Kiv::fatalUnless( time == time, "timeMinIs: the time is a number" );
  disarm();
  timeMin_ = time;
  arming_ = wheel->armings_++;
  wheel->armed_.emplace( Place( timeMin_, arming_ ), this );
  armed_ = true;
}

void TimerWheel::NotifieeConst::disarm() noexcept {
  if ( !std::exchange( armed_, false ) ) return;
  notifier()->armed_.erase( Place( timeMin_, arming_ ) );
}

Kiv::Ptr<TimerWheel> TimerWheel::ofThisThread() {
  static std::atomic<unsigned> threads = 0;
  struct Own {
    Own() : wheel( Kiv::make<TimerWheel>() ) {
      Kiv::fatalUnless( threads.fetch_add( 1 ) == 0 || Kiv::threadSafePointers(),
                        "threadSafePointers is on before a second thread has a timer wheel" );
    }
    ~Own() { threads.fetch_sub( 1 ); }
    Own( Own const& ) = delete;
    Own& operator=( Own const& ) = delete;

    Kiv::Ptr<TimerWheel> wheel;
  };
  thread_local Own own;
  return own.wheel;
}

std::size_t TimerWheel::service() {
  Kiv::fatalUnless( !inService_, "service: not called from inside a service" );
  Kiv::Ptr<TimerWheel> const self( this );
  inService_ = true;
  double const now = Kiv::System::currentTime();
  std::uint64_t const later = armings_;  // armings from here on wait for the next service

  std::size_t fired = 0;
  Place place( -std::numeric_limits<double>::infinity(), 0 );
  for ( ;; ) {
    auto next = armed_.lower_bound( place );
    while ( next != armed_.end() && next->first.second >= later ) ++next;
    if ( next == armed_.end() || next->first.first > now ) break;
    place = next->first;
    NotifieeConst* const timer = next->second;
    timer->disarm();
    timer->deliver( &NotifieeConst::onTime );
    ++fired;
  }
  inService_ = false;
  return fired;
}

bool TimerWheel::due() const {
  auto const next = nextTime();
  return next && *next <= Kiv::System::currentTime();
}

std::optional<double> TimerWheel::nextTime() const {
  if ( armed_.empty() ) return std::nullopt;
  return armed_.begin()->first.first;
}

}  // namespace Brae
