#pragma once

/// The path of one packet through a table, and what the policy says to each step.
///
///     packet        row of a label table     label       entry that decides
///     source 10.1.2.3   10.1.0.0/16            2         2 of mask 65535
///     dport 443         443-443                5         4 of mask 65532
///     ttl 64            (no table)             64        not looked at
///
/// The table decides, the interpreter is asked too, and a disagreement is an error. Then the policy's own words: the list
/// and the prefix of it in which each address of the packet is, and the rules before the deciding one that would have
/// matched but for a single field, with what kept each of them from it. To a rule that looks at ports, ICMP types or TCP
/// flags, a packet that is a later fragment is wrong in one field, the fragment offset, however many of these it names.
///
/// Cost: in proportion to the tables, the entries and the rules.

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Orvex/OrvexPDData.h"
#include "policy/PolicyPlaces.h"
#include "verify/LookUp.h"

namespace Orvex::Host {

/// A field of the table's key and how the packet came by it.
struct KeyField {
  /// As entries call it: "source", "prefixCombo", "headFragment".
  std::string name;
  /// What is looked up: an address, a number, a pair of labels.
  std::string value;
  /// The row that has it; empty where none has, and where there is no table.
  std::string row;
  bool hasTable = false;
  std::uint16_t label = 0;
  /// Of the entry that decides; mask 0 where it does not look at the field.
  EncodedLabelWithMask wanted;
};

struct DecidingEntry {
  /// Among its rule's, from 1.
  std::size_t number = 0;
  std::size_t ofEntries = 0;
};

/// An address of the packet in what the rule takes.
struct ListedAddress {
  /// The list that has the prefix as its own entry; empty for one that the policy does not name.
  std::string list;
  /// Where the list is defined; no file where that is not known.
  Place definition;
  /// None: the rule takes any address.
  std::optional<Vell::IpGenPrefix> prefix;
};

/// A rule before the deciding one that all but one field of the packet agree with.
struct NearMiss {
  std::uint32_t rule = 0;
  std::string field;
  /// "dport 443 is not in 80 8080"
  std::string reason;
};

struct Explanation {
  Verify::Verdict verdict;
  /// In the order of an entry's fields.
  std::vector<KeyField> key;
  /// None on a miss; the same goes for the addresses.
  std::optional<DecidingEntry> entry;
  ListedAddress source;
  ListedAddress destination;
  /// By rule, at most kMostNearMisses of them.
  std::vector<NearMiss> nearMisses;
  std::size_t furtherNearMisses = 0;
};

inline constexpr std::size_t kMostNearMisses = 10;

/// Table and policy do not say the same.
class DisagreementError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What the table makes of the packet in the ACL, which is one of the policy's.
/// Fails with: DisagreementError; Verify::QuestionError when the packet is not one of the ACL's family.
Explanation explain( LocatedPolicy const& located, Acl const& acl, Verify::Packet const& packet, PDData const& snapshot,
                     Verify::TableShape const& shape );

/// What keeps the rule of that place from matching, when one field does alone; nothing when it matches or several do.
std::optional<NearMiss> nearMissOf( Rule const& rule, Verify::Packet const& packet, PolicyPlaces::OfRule const& place );

}  // namespace Orvex::Host
