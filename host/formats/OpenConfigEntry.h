#pragma once

/// What an entry of an OpenConfig ACL matches and does.

#include "formats/InstanceNode.h"
#include "formats/OpenConfigSets.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// Which headers an ACL's type lets its entries match. A table has ACLs of one family.
struct OpenConfigAclType {
  bool ipv4 = false;
  bool ipv6 = false;
  bool l2 = false;
  bool mpls = false;

  bool isOneFamily() const { return !l2 && !mpls && ipv4 != ipv6; }
  Vell::AddressFamily family() const { return ipv4 ? Vell::AddressFamily::ipv4 : Vell::AddressFamily::ipv6; }
};

/// Reads all but the entry's keys and its own configuration.
void readOpenConfigEntry( InstanceNode const& entry, OpenConfigAclType const& type, OpenConfigSets const& sets,
                          Rule& rule );

}  // namespace Orvex::Host
