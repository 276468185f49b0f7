#pragma once

/// Addresses as atoms: the addresses of a family are cut wherever any list or table of one side begins or ends.
///
///     list A  10.0.0.0/8 !10.1.0.0/16        cuts   0.0.0.0  10.0.0.0  10.1.0.0  10.2.0.0  11.0.0.0
///     list B  10.1.0.0/16                    atoms     0         1         2         3         4
///                                            A is 1 and 3, B is 2
///
/// Prefixes nest and never cross, so in ascending order, where a prefix stands before those that it contains, one pass
/// with a stack of the prefixes around it tells which is the longest at every address.
///
/// Cost: O(n log n) in prefixes.

#include <cstdint>
#include <span>
#include <vector>

#include "Vell/IpGenPrefix.h"
#include "policy/Policy.h"
#include "verify/AtomSets.h"

namespace Orvex::Verify {

/// An address as a number; of a family of fewer bits, one below 2^bits.
__extension__ using AddressNumber = unsigned __int128;

AddressNumber firstOf( Vell::IpGenPrefix const& prefix );
AddressNumber lastOf( Vell::IpGenPrefix const& prefix );
Vell::IpGenPrefix prefixOf( Vell::AddressFamily family, AddressNumber first, std::uint32_t length );

/// The fewest prefixes that hold the addresses from `first` to `last`, ascending.
std::vector<Vell::IpGenPrefix> prefixesOf( Vell::AddressFamily family, AddressNumber first, AddressNumber last );

/// A prefix, and what it says about the addresses of which it is the longest.
struct PrefixValue {
  Vell::IpGenPrefix prefix;
  std::uint32_t value = 0;
};

/// From this address on, up to the next stretch.
struct Stretch {
  AddressNumber first = 0;
  std::uint32_t value = 0;
};

/// What the longest prefix says at every address; `outside` where there is none. The first stretch begins at address 0.
/// Requires: the prefixes are of one family, ascend and differ.
std::vector<Stretch> stretchesOf( std::span<PrefixValue const> prefixes, std::uint32_t outside );

/// With value 1 where the list matches, and 0 where not.
std::vector<Stretch> stretchesOf( Host::PrefixList const& list );

class AddressAtoms {
 public:
  explicit AddressAtoms( Vell::AddressFamily family ) : family_( family ) {}

  /// All come before settle().
  void cutAt( std::vector<Stretch> const& stretches );
  void settle();

  std::uint32_t count() const { return static_cast<std::uint32_t>( cuts_.size() ); }
  AddressNumber firstOf( std::uint32_t atom ) const { return cuts_[atom]; }
  AddressNumber lastOf( std::uint32_t atom ) const;
  /// The atoms of each stretch, in order. Requires: the stretches have been cut at.
  std::vector<Interval> atomsOf( std::vector<Stretch> const& stretches ) const;

 private:
  Vell::AddressFamily family_;
  std::vector<AddressNumber> cuts_{ 0 };
};

}  // namespace Orvex::Verify
