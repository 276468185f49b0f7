#pragma once

/// What is promised of every policy that a reader has taken, whatever the format.

#include "policy/PolicyPlaces.h"

namespace Orvex::Fuzz {

/// Requires that the policy
///  1. is normalised;
///  2. printed as ACL text is read back as it was, and printed again gives the same text.
void checkPolicy( Host::LocatedPolicy const& located );

/// Whether both do the same to every packet, for formats that keep no more than that. Policies that are too hard to compare
/// count as equal.
bool doTheSame( Host::Policy const& a, Host::Policy const& b );

}  // namespace Orvex::Fuzz
