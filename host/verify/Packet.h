#pragma once

/// A packet as far as rules can see it, and what an ACL says about it.

#include <cstdint>
#include <optional>
#include <stdexcept>

#include "policy/Policy.h"

namespace Orvex::Verify {

/// An address is a prefix of its family's full length. A field that the packet does not have is 0.
struct Packet {
  Vell::IpGenPrefix source;
  Vell::IpGenPrefix destination;
  Host::PerField<std::uint32_t> fields;
  std::uint8_t tcpFlags = 0;

  /// Later fragments carry no ports, no ICMP type and no TCP flags.
  bool isHeadFragment() const { return fields[Host::Field::fragment] == 0; }

  friend bool operator==( Packet const&, Packet const& ) = default;
};

/// A question that has no answer: no such packet, or no such ACL.
class QuestionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The family that the packet's addresses choose.
/// Fails with: QuestionError when they are of two families or not of full length, or when a field is beyond its limit.
Vell::AddressFamily familyOf( Packet const& packet );

/// The rule that decides, by its index, or none; and what happens to the packet.
struct Verdict {
  std::optional<std::uint32_t> rule;
  OrvexActionValue action;

  friend bool operator==( Verdict const&, Verdict const& ) = default;
};

}  // namespace Orvex::Verify
