#pragma once

/// Every three edits of a small policy, in every order.
///
/// A version has three places for rules, which are empty or have one of three rules; two of these share a prefix list; and an ACL
/// has a default. An edit puts a rule or nothing into a place, gives the list other prefixes, or changes the default; some
/// leave everything as it is. From each base, the edits of each set of three follow one another in all six orders, each
/// version through a pipeline of its own. The chip has not the room for all versions: those that it refuses leave the last
/// one accepted in force, and the next edit comes on top all the same.

#include "Soak.h"

namespace Orvex::Soak {

/// How many there are: bases, times sets of edits.
std::uint64_t smallEditSets();

/// Requires: number < smallEditSets().
/// Fails with: Failure.
void checkSmallEdits( std::uint64_t number, Case& one );

}  // namespace Orvex::Soak
