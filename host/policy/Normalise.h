#pragma once

/// Where every policy enters the system: checks it, and writes equal matches equally.
///
/// Readers and generators end with normalised(), so that interpreter, prover and library see the same rules:
///
///     before                               after
///     dport 443, 80-81, 82, 82-90          dport 80-90, 443
///     proto 0-127, 128-255                 (nothing: the whole field)
///     source 0.0.0.0/0, 10.0.0.0/8         (nothing: any address)
///     source except 10.0.0.0/8             source except 0.0.0.0/0
///     source B A, and source A A B         source A B, one shared list
///
/// In a normalised policy:
///  1. ACLs ascend by family, then name; rules by index. Every rule has a name, and names and indices are unique in the
///     ACL. Names hold no control characters.
///  2. Ranges of a set ascend, lie within the field, and have a value between them that is not in the set. No set
///     covers its whole field, which matters beyond tidiness: a named port demands a head fragment.
///  3. Prefixes are of the ACL's family, ascend, and differ. Equal lists of a family are one object.
///  4. A list holds at least one prefix of either kind. One that matches nothing has the excepted default route and no
///     more: the library takes no list that is present and empty.
///  5. No list is a default route without exceptions: any address is an absent list.
///  6. An action that leaves DSCP or traffic class alone has the initial value there.
///
/// Cost: O(n log n) in ranges, prefixes and rules; a list that rules share is looked at once.

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "policy/Policy.h"

namespace Orvex::Host {

/// What is wrong in a policy, where, and what would be right. what() says all of it:
///
///     ipv4 ACL edge-in, rule 10 (web), dport: range 90-80 ends before it starts; write 80-90
class PolicyError : public std::runtime_error {
 public:
  struct Place {
    Vell::AddressFamily family = Vell::AddressFamily::ipv4;
    std::string acl;
    std::optional<std::uint32_t> ruleIndex;  // none: the ACL itself
    std::string rule;                        // the rule's name
    std::string field;                       // as the policy's formats call it; empty: the rule itself
  };

  PolicyError( Place place, std::string problem, std::string remedy );

  Place const& place() const noexcept { return place_; }
  std::string const& problem() const noexcept { return problem_; }
  std::string const& remedy() const noexcept { return remedy_; }

 private:
  Place place_;
  std::string problem_;
  std::string remedy_;
};

/// Whether a rule, and an ACL if it is not empty, may be called so: names stand in lines of text, and on terminals.
bool isPrintable( std::string_view name );

/// Fails with: PolicyError for the first fault, in the order of ACLs and rules given.
Policy normalised( Policy policy );

}  // namespace Orvex::Host
