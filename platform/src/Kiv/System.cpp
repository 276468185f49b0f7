#include "Kiv/System.h"

#include <chrono>
#include <cmath>
#include <limits>
#include <utility>

namespace Kiv::System {

namespace {

thread_local double lastTime = 0;
thread_local std::function<double()> threadClock;

double machineTime() {
  return std::chrono::duration<double>( std::chrono::system_clock::now().time_since_epoch() ).count();
}

}  // namespace

double currentTime() {
  double const now = threadClock ? threadClock() : machineTime();
  lastTime = now > lastTime ? now : std::nextafter( lastTime, std::numeric_limits<double>::infinity() );
  return lastTime;
}

void clockIs( std::function<double()> clock ) {
  threadClock = std::move( clock );
  lastTime = 0;
}

}  // namespace Kiv::System
