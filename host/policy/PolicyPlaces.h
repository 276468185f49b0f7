#pragma once

/// Where in the user's files a policy's ACLs and rules stand, for messages about a policy that has been read.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "input/Diagnostics.h"
#include "input/SourceFile.h"
#include "policy/Normalise.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// A named list that a rule uses, or that is nested in one: its name, where it is defined, and its own entries.
struct ListPart {
  std::string name;
  Place definition;
  SharedPrefixList own;
};
/// Null where a rule names no list.
using ListParts = std::shared_ptr<std::vector<ListPart> const>;

class PolicyPlaces {
 public:
  struct OfRule {
    std::uint32_t index = 0;
    Place place;
    ListParts source = nullptr;
    ListParts destination = nullptr;
  };
  struct OfAcl {
    Place acl;
    std::vector<OfRule> rules;
  };

  /// The rules may come in any order.
  void aclIs( Vell::AddressFamily family, std::string name, OfAcl places );

  /// The place of the ACL or of the rule; the nearest that is known, or no file.
  Place placeOf( Vell::AddressFamily family, std::string const& acl, std::optional<std::uint32_t> rule ) const;
  /// The rule's own; null when it is not known.
  OfRule const* rule( Vell::AddressFamily family, std::string const& acl, std::uint32_t index ) const;
  Place placeOf( PolicyError::Place const& place ) const { return placeOf( place.family, place.acl, place.ruleIndex ); }

 private:
  std::map<std::pair<Vell::AddressFamily, std::string>, OfAcl> acls_;
};

/// The names that the user's file gives to prefix lists, by what they match, for writers.
using PrefixListNames = std::map<PrefixList, std::string>;

/// What readers return: normalised, with what the model of policies does not hold.
struct LocatedPolicy {
  Policy policy;
  PolicyPlaces places;
  PrefixListNames listNames;
};

/// The last step of every reader. None, with the fault at its place, when the policy cannot be normalised, and when the
/// diagnostics have errors already.
std::optional<LocatedPolicy> normalised( LocatedPolicy located, Diagnostics& diagnostics );

}  // namespace Orvex::Host
