#pragma once

/// Rules in ACL text:
///
///     [N] permit|deny PROTOCOL SOURCE [PORTS] DESTINATION [PORTS] [QUALIFIER ...]
///
/// A match that only some protocols have needs its protocol: ports tcp, udp or another with ports; ICMP types icmp or
/// icmpv6; TCP flags tcp. Otherwise a rule would match whatever other protocols have in that place of the packet. An ACL
/// can give the check up (see docs/policy-format.md), for filter sets that are meant that way.

#include <cstdint>
#include <optional>

#include "policy/AclLine.h"
#include "policy/AclObjects.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// What a rule is read with.
struct AclRuleContext {
  Vell::AddressFamily family = Vell::AddressFamily::ipv4;
  bool checksProtocols = true;
  AclPrefixLists& prefixLists;
  NamedLists& portLists;
  Diagnostics& diagnostics;
};

/// The named lists that a rule uses; their content comes when all is read.
struct RuleReferences {
  ListReferences source;
  ListReferences destination;
  ListReferences sourcePorts;
  ListReferences destinationPorts;

  bool empty() const {
    return source.empty() && destination.empty() && sourcePorts.empty() && destinationPorts.empty();
  }
};

struct ReadRule {
  std::optional<std::uint32_t> number;
  Rule rule;
  RuleReferences references;
};

/// The greatest number of a rule.
inline constexpr std::uint32_t kMaxRuleNumber = AceIndex::null - 1;

/// Reads a rule, to the end of its line.
/// Fails with: AclLineError.
ReadRule readRule( AclLine& line, AclRuleContext const& context );

}  // namespace Orvex::Host
