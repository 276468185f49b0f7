#pragma once

/// Chips of random make: which label tables there are, how wide the labels are, what stands for the absence of one, and how
/// much there is room for.
///
/// A third of them is wide, so that most policies fit; a third narrow, where labels just suffice or just do not; in a third
/// every table has a width of its own, of all that a profile allows. Few have little room. Labels are placed either way.

#include "chip/ChipProfile.h"
#include "packets/Random.h"

namespace Orvex::Host::Test {

/// A good profile.
ChipProfile randomProfile( Random& random );

/// One with labels of 16 bits for everything, and room without limit; combinations are there at random.
ChipProfile widestProfile( Random& random );

}  // namespace Orvex::Host::Test
