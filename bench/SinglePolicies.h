#pragma once

/// Policies that load one stage of a compile and leave the others idle. Each is a function of its parameters alone, on
/// every machine.

#include <cstdint>

#include "Orvex/OrvexAclTypes.h"
#include "PrefixLists.h"
#include "Vell/AddressFamily.h"

namespace Orvex::Bench {

/// `count` distinct prefixes, each the whole of a list of its own, which is the source of a rule of its own. Two of
/// three extend an earlier prefix; the first twelve are one chain, and none lies deeper: lengths come from a ladder of
/// twelve.
/// Requires: 0 < count <= 1,000,000.
Kiv::Ptr<AclConfigColl> separatePrefixes( std::uint32_t count, Vell::AddressFamily family, std::uint64_t seed = 1 );

/// 100,000 distinct prefixes in 2,000 lists of sites, each list the source of one rule.
struct SitePrefixes {
  Kiv::Ptr<AclConfigColl> config;
  PrefixLists prefixLists;
};
SitePrefixes sitePrefixes( Vell::AddressFamily family, std::uint64_t seed = 1 );

/// `count` different ranges of destination ports that overlap, one a rule: from single ports to 16,384 wide, the narrow
/// ones as frequent as the wide ones.
/// Requires: count <= 100,000.
Kiv::Ptr<AclConfigColl> overlappingPorts( std::uint32_t count = 5000, std::uint64_t seed = 1 );

/// Rules from 0.0.0.0/0 to 0.0.0.0/0, all with list objects of their own (`own`), or all with one list object for every
/// source and destination (`shared`).
enum class AnyLists : std::uint8_t { own, shared };
Kiv::Ptr<AclConfigColl> anyToAny( AnyLists lists, std::uint32_t rules = 10000 );

/// 1,000 rules over different pairs of 100 source and 100 destination lists. Lists hold 50 of 500 prefixes, drawn so
/// that no two prefixes of a side stand in the same lists: 500 labels on each side, 2,500 pairs of labels a rule.
Kiv::Ptr<AclConfigColl> labelGrid( std::uint64_t seed = 1 );

}  // namespace Orvex::Bench
