#pragma once

/// A policy of the shape that real ones have: rules over named lists of prefixes and of ports, which the rules share.
///
///     auto const policy = makeListPolicy( {} );                    // 2,000 rules over 200 lists, seed 1
///     ListPolicyParameters parameters;
///     parameters.family = Vell::AddressFamily::ipv6;
///     auto const wide = makeListPolicy( parameters );
///
/// A rule names a list as its source and one as its destination, a protocol (TCP, UDP or both), mostly a list of
/// destination ports, seldom one of source ports, and drops or permits. Lists are dealt to the rules, so that all stand
/// on both sides. Equal parameters give an equal policy on every machine.
///
/// What rules hold is in the form in which a host gives it: ranges sorted and merged, one IpPrefixList object for all
/// rules that name the list.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Orvex/OrvexAclTypes.h"
#include "PrefixLists.h"

namespace Orvex::Bench {

struct ListPolicyParameters : PrefixListParameters {
  std::uint32_t rules = 2000;
  /// Different lists of port ranges; 0: no rule names ports.
  std::uint32_t portLists = 60;
};

struct ListPolicy {
  Kiv::Ptr<AclConfigColl> config;
  /// The lists that the rules share, and figures about them.
  PrefixLists prefixLists;
  /// Normalised and pairwise different.
  std::vector<std::vector<L4PortRange>> portLists;
};

/// Fails with: std::invalid_argument, as makePrefixLists.
ListPolicy makeListPolicy( ListPolicyParameters const& parameters );

/// The stress form: the lists' prefixes are drawn at random from 10,000, so nearly every one needs a label of its own.
ListPolicyParameters stressParameters();

/// `count` different lists, each the union of 1 to 6 blocks of up to 64 neighbouring ports. Lists share blocks.
std::vector<std::vector<L4PortRange>> makePortLists( std::uint32_t count, Random& random );

}  // namespace Orvex::Bench
