#pragma once

/// Timers that fire when the host services their wheel, never from inside a notification.
///
/// A timer is a reactor bound to a wheel. `timeMinIs( t )` arms it, and the first service at or after time t calls its
/// `onTime()` once. The host's loop services the wheel until nothing is due:
///
///     while ( wheel->due() ) wheel->service();
///
/// Invariants:
///  1. timeMinIs always arms, also with the time already held, and replaces an earlier arming: one call of onTime.
///  2. A timer armed during a service, for whatever time, waits for a later service.
///  3. Due timers fire in order of time, equal times in order of arming.
///  4. Unbinding or destroying a timer disarms it.

#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "Kiv/Entity.h"

namespace Brae {

class TimerWheel : public Kiv::Entity {
 public:
  /// A timer.
  class NotifieeConst : public Kiv::NotifieeConstOf<TimerWheel, Kiv::NotifieeConst> {
   public:
    ~NotifieeConst() override { disarm(); }

    /// The time last set, in seconds; 0 before.
    double timeMin() const noexcept { return timeMin_; }
    /// Requires: bound to a wheel; the time is a number.
    void timeMinIs( double time );
    bool armed() const noexcept { return armed_; }

    virtual void onTime() = 0;

   protected:
    void handleUnbinding() noexcept override { disarm(); }

   private:
    friend class TimerWheel;
    void disarm() noexcept;

    double timeMin_ = 0;
    std::uint64_t arming_ = 0;
    bool armed_ = false;
  };

  /// The calling thread's own wheel. A second thread may have one only while threadSafePointers is on (a fatal check).
  static Kiv::Ptr<TimerWheel> ofThisThread();

  /// Fires every timer that was due and armed when the service began. Returns how many those were: one whose delivery is
  /// switched off is due, and disarmed, and does not hear of it. Requires: no service of this wheel is in progress.
  std::size_t service();

  /// Whether a service now would fire anything.
  bool due() const;
  /// The earliest time that a timer is armed for; none when no timer is armed.
  std::optional<double> nextTime() const;

 private:
  using Place = std::pair<double, std::uint64_t>;  // time, number of the arming

  mutable std::map<Place, NotifieeConst*> armed_;
  mutable std::uint64_t armings_ = 0;
  bool inService_ = false;
};

}  // namespace Brae
