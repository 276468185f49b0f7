#pragma once

/// Worlds so small that all of their policies can be tried, with all of their packets.
///
/// What a world's rules can tell apart are three bits of a packet and what lies beside them: of an address the last three
/// bits and all other addresses; or two bits of one field and one of another; and so on. A field of a range has eight
/// values, of which the fifth stands for all that lie between the first four of the field and the last three, so that both
/// ends of the field are in the world. A world's rules are all that these matches can make, with either action.
///
///     source addresses, three bits     any, none, 15 prefixes, 34 of them with a longer one excepted      102 rules
///     policies of up to three          1 + 102 + 102^2 + 102^3                                      1,071,715
///
/// Each policy has a number, which names its rules one by one: as digits, the first rule's last.

#include <cstdint>
#include <string>
#include <vector>

#include "chip/ChipProfile.h"
#include "policy/Policy.h"
#include "verify/Packet.h"

namespace Orvex::Soak {

class SmallWorld {
 public:
  SmallWorld( std::string name, Host::ChipProfile profile, std::uint32_t maxRules, std::vector<Host::Rule> rules,
              std::vector<Verify::Packet> packets );

  std::string const& name() const { return name_; }
  Host::ChipProfile const& profile() const { return profile_; }
  /// One of each kind that the world's rules tell apart.
  std::vector<Verify::Packet> const& packets() const { return packets_; }

  std::uint64_t policies() const { return policies_; }
  /// An ACL, and normalised. Requires: number < policies().
  Host::Policy policy( std::uint64_t number ) const;

 private:
  std::string name_;
  Host::ChipProfile profile_;
  std::vector<Host::Rule> rules_;
  std::vector<Verify::Packet> packets_;
  std::uint64_t policies_ = 0;
};

/// All worlds, always in the same order.
std::vector<SmallWorld> const& smallWorlds();

}  // namespace Orvex::Soak
