#pragma once

/// What an ACE of RFC 8519 matches.

#include <cstdint>
#include <optional>
#include <string_view>

#include "formats/InstanceNode.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// An ACL's type: which headers its ACEs can match. A table has ACLs of one family.
struct Rfc8519AclType {
  std::string_view name;
  bool ethernet = false;
  bool ipv4 = false;
  bool ipv6 = false;

  bool isOneFamily() const { return !ethernet && ipv4 != ipv6; }
  Vell::AddressFamily family() const { return ipv4 ? Vell::AddressFamily::ipv4 : Vell::AddressFamily::ipv6; }
};

/// None, with errors, when it is no type.
std::optional<Rfc8519AclType> readAclType( InstanceNode const& leaf );

/// Reads an ACE's matches into a rule.
void readMatches( InstanceNode const& matches, Rfc8519AclType const& type, Rule& rule );

}  // namespace Orvex::Host
