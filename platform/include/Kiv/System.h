#pragma once

/// The time that kicks and timers are stamped with.

#include <functional>

namespace Kiv::System {

/// Seconds since the epoch, strictly increasing from call to call within a thread and never 0, also when the machine's
/// clock stands still or is set back: every value is new.
double currentTime();

/// This thread's clock from now on, for tests; an empty function restores the machine's. The next value is only as
/// large as the new clock says, so values may repeat those from before the change.
void clockIs( std::function<double()> clock );

}  // namespace Kiv::System
