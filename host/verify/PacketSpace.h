#pragma once

/// The packets of one family as a space of eleven dimensions, in which a rule is a box.
///
///     ports, ICMP type or TCP flags match only a head fragment:   so such a rule's box has fragment offset 0 alone
///     "established", "init":                                      so a rule's box has the flag bytes that it allows
///
/// With these two read so, a rule matches a packet exactly when each of the packet's values is in the box's set of that
/// dimension. Addresses are cut into atoms; of the other dimensions every value is an atom.

#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "policy/Policy.h"
#include "verify/Addresses.h"
#include "verify/AtomSets.h"
#include "verify/Packet.h"

namespace Orvex::Verify {

/// The dimensions in order: source and destination, the range fields, the TCP flags byte.
inline constexpr std::size_t kSourceDimension = 0;
inline constexpr std::size_t kDestinationDimension = 1;
inline constexpr std::size_t kFlagsDimension = 2 + Host::kFieldCount;
inline constexpr std::size_t kDimensions = kFlagsDimension + 1;
constexpr std::size_t dimensionOf( Host::Field field ) { return 2 + Kiv::enumValue( field ); }

/// Contains the packets whose values are in all of the sets. A box with an empty set contains none.
using Box = std::array<AtomSets::Id, kDimensions>;

/// A box in words of a policy.
struct Region {
  std::vector<Vell::IpGenPrefix> source;
  std::vector<Vell::IpGenPrefix> destination;
  /// All values, too, are a range here.
  Host::PerField<Host::RangeSet> ranges;
  Host::RangeSet tcpFlags;
};

class PacketSpace {
 public:
  PacketSpace( Vell::AddressFamily family, AtomSets& sets );

  Vell::AddressFamily family() const { return family_; }
  AtomSets& sets() { return sets_; }

  /// The cuts that the ACL's lists make, and those of a table. All come before settle().
  void cutAt( Host::Acl const& acl );
  void cutAt( std::size_t dimension, std::vector<Stretch> const& stretches ) { atoms_[dimension].cutAt( stretches ); }
  void settle();

  /// Requires from here on: settle() has been called.
  Box const& all() const { return all_; }
  /// The fragment offset of head fragments.
  AtomSets::Id headFragment() const { return headFragment_; }
  AddressAtoms const& addresses( std::size_t dimension ) const { return atoms_[dimension]; }
  /// Requires: the rule's ACL has been cut at.
  Box boxOf( Host::Rule const& rule );

  /// The box's first packet. Requires: it has one.
  Packet packetIn( Box const& box ) const;
  Region regionOf( Box const& box ) const;

 private:
  AtomSets::Id setOf( std::size_t dimension, Host::SharedPrefixList const& list );
  std::vector<Vell::IpGenPrefix> prefixesIn( Box const& box, std::size_t dimension ) const;

  Vell::AddressFamily family_;
  AtomSets& sets_;
  std::array<AddressAtoms, 2> atoms_;
  Box all_{};
  AtomSets::Id headFragment_ = AtomSets::kEmpty;
  std::unordered_map<Host::PrefixList const*, std::vector<Stretch>> stretches_;
  std::array<std::unordered_map<Host::PrefixList const*, AtomSets::Id>, 2> listSets_;
};

}  // namespace Orvex::Verify
