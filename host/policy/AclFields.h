#pragma once

/// The values of packet fields in ACL text:
///
///     [eq] VALUE ...     VALUE is a number, a name, or FIRST-LAST
///     neq VALUE ...      all values but these
///     lt N               0 to N-1
///     gt N               N+1 to the field's last
///     range N N
///
/// Every value is checked against the field's limits where it stands. A set that covers its whole field stays what it is:
/// normalised() leaves it out, with every other reader's.

#include <cstdint>
#include <string_view>

#include "policy/AclLine.h"
#include "policy/NumberNames.h"
#include "policy/Policy.h"

namespace Orvex::Host {

/// Numbers as the text form speaks of them: "a port is a number from 0 to 65535".
struct NumberWords {
  std::string_view noun;
  std::uint32_t maximum = 0;
  NumberNames const& names;
};

inline constexpr NumberWords kPortWords{ "port", maximumOf( Field::dport ), kServiceNames };
inline constexpr NumberWords kDscpWords{ "DSCP value", maximumOf( Field::dscp ), kDscpNames };

/// Reads values, of which there is at least one.
/// Fails with: AclLineError.
RangeSet readValues( AclLine& line, NumberWords const& words );

/// Whether the next word begins values with an operator.
bool atOperator( AclLine const& line );

/// Reads one number or name.
/// Fails with: AclLineError.
std::uint32_t readNumber( AclLine& line, NumberWords const& words );

/// Reads ip or ipv6 for any protocol (an empty set), or numbers, names and ranges with commas between them.
/// Fails with: AclLineError.
RangeSet readProtocols( AclLine& line, Vell::AddressFamily family );

/// Whether a rule names protocols, and every one of them has ports; whether its one protocol has ICMP types; whether it
/// has TCP flags.
bool allHavePorts( RangeSet const& protocols );
bool allHaveIcmpTypes( RangeSet const& protocols );
bool allHaveTcpFlags( RangeSet const& protocols );

/// The names of ICMP types are those of the rule's protocol; without one, of the ACL's family.
NumberNames const& icmpTypeNames( RangeSet const& protocols, Vell::AddressFamily family );

/// "ip" or "ipv6", which stands before lists and ACLs and for any protocol.
std::string_view familyKeyword( Vell::AddressFamily family );

}  // namespace Orvex::Host
