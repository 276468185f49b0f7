#pragma once

/// Random policies such as most formats can hold, at least in part.
///
/// Random rules are seldom so: these have the protocol that their matches need, mostly single values and lists of one
/// prefix, and no actions that only this program has. ACLs of the two families have different names.

#include "packets/Random.h"
#include "policy/Policy.h"

namespace Orvex::Host::Test {

/// It can be normalised.
Policy plainPolicy( Random& random );

}  // namespace Orvex::Host::Test
