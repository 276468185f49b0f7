#pragma once

/// What a snapshot takes of a chip's tables, and what a chip says that has not enough of them.

#include <string>
#include <vector>

#include "Orvex/OrvexPDData.h"
#include "chip/ChipProfile.h"
#include "verify/TableShape.h"

namespace Orvex::Host {

/// Tables that are switched off take nothing.
PerResource useOf( PDData const& snapshot, Verify::TableShape const& shape );

/// A rule or a list, and what it takes.
struct Cost {
  /// "ipv4 ACL edge-in, rule 40"
  std::string what;
  std::uint64_t amount = 0;

  friend bool operator==( Cost const&, Cost const& ) = default;
};

inline constexpr std::size_t kCostliest = 5;

/// Those that cost most, dearest first, equal ones in the order given.
std::vector<Cost> costliest( std::vector<Cost> costs );

/// The rules with the most entries; in a snapshot of the host's, whose ACLs have the library's names.
std::vector<Cost> costliestRules( PDAclColl const& acls );

/// A resource that a snapshot needs more of than there is.
struct Shortage {
  Resource resource = Resource::ruleEntries;
  std::uint64_t capacity = 0;
  std::uint64_t needed = 0;
  /// What takes most of it; empty where nobody knows.
  std::vector<Cost> costliest;

  friend bool operator==( Shortage const&, Shortage const& ) = default;
};

/// In the order of the resources; nothing when the snapshot fits by itself.
std::vector<Shortage> shortagesOf( ChipProfile const& profile, PDData const& snapshot );

/// "ruleEntries: there are 512, it would take 1300; most cost ipv4 ACL edge-in, rule 40 (700); ..."
std::string textOf( Shortage const& shortage );

/// A rule as messages name it: "ipv4 ACL edge-in, rule 40".
std::string ruleText( PDAclKey const& acl, std::uint32_t ruleIndex );

}  // namespace Orvex::Host
