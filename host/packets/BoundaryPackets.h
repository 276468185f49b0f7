#pragma once

/// Random packets where faults hide: at the ends of the ranges and prefixes of an ACL's rules, and one beside.
///
/// Everything follows from the random numbers, so that a seed names the same packets everywhere.

#include <cstdint>
#include <vector>

#include "packets/AddressNumber.h"
#include "packets/Random.h"
#include "policy/Policy.h"
#include "verify/Packet.h"

namespace Orvex::Host {

/// A number of 128 random bits, but for the one of all ones in either half.
AddressNumber randomNumber( Random& random );

/// The first address, the last, or one between.
AddressNumber randomWithin( Random& random, Vell::IpGenPrefix const& prefix );

/// Packets of an ACL's family. About half are aimed at one of its rules, and of these half miss it in one field.
class BoundaryPackets {
 public:
  /// The ACL need not be normalised, and is not looked at later than in next(): keep it.
  BoundaryPackets( Random& random, Acl const& acl );

  Verify::Packet next();

 private:
  Verify::Packet anywhere();
  void aim( Verify::Packet& packet, Rule const& rule );
  void spoil( Verify::Packet& packet );
  Vell::IpGenPrefix anyAddress();
  std::uint32_t anyValue( Field field );
  std::uint8_t anyTcpFlags();

  Random& random_;
  Acl const& acl_;
  std::vector<Vell::IpGenPrefix> addresses_;
  PerField<std::vector<std::uint32_t>> values_;
};

}  // namespace Orvex::Host
