#pragma once

/// The named sets of OpenConfig (openconfig-defined-sets) and what the rules that use them get.
///
/// A set of excludes alone matches all but these. What sets with excludes are as lists, OpenConfigPrefixSets.h says.
///
/// A set that leaves nothing would neither match nothing unseen nor widen a rule to everything: it is an error where it is
/// used.

#include <array>
#include <map>
#include <optional>
#include <string>

#include "formats/InstanceNode.h"
#include "policy/Policy.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

class OpenConfigSets {
 public:
  /// The member of a document.
  void read( InstanceNode const& definedSets );

  /// What the set that the leaf names matches; null after errors. Any address is the default route.
  SharedPrefixList prefixes( InstanceNode const& leaf, Vell::AddressFamily family ) const;
  /// None after errors.
  std::optional<RangeSet> ports( InstanceNode const& leaf ) const;

  PrefixListNames names() const;

 private:
  /// A set whose entries were faulty has no value.
  template <class Value>
  struct Set {
    Place place;
    std::optional<Value> value;
  };
  template <class Value>
  using Sets = std::map<std::string, Set<Value>>;

  void readPrefixSets( InstanceNode const& sets, Vell::AddressFamily family );
  void readPortSets( InstanceNode const& sets );
  template <class Value>
  static void addSet( Sets<Value>& sets, std::string const& name, InstanceNode const& leaf, Set<Value> set );
  template <class Value>
  static Value const* find( Sets<Value> const& sets, InstanceNode const& leaf, std::string const& kind );

  std::array<Sets<SharedPrefixList>, 2> prefixSets_;  // by family
  Sets<RangeSet> portSets_;
};

/// A port, or a fragment offset: a number, "FIRST..LAST", or "ANY". None after errors.
std::optional<ValueRange> readOpenConfigRange( InstanceNode const& leaf, Field field );

}  // namespace Orvex::Host
