#pragma once

/// A loaded table: the chip's own copy of a snapshot, with the default actions of its ACLs, ready for packets.
///
/// Packets are looked up as verify/LookUp.h says, which is the slow and plain twin of this: addresses, values and pairs get
/// their labels (LabelTables.h), and the first entry that agrees with all of them decides (TernaryIndex.h). Every rule and
/// entry counts the packets that it decided.
///
/// An ACL's entries are copied when the table is made, and indexed when its first packet comes.
///
/// Not for several threads: a look-up counts.

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "Orvex/OrvexPDData.h"
#include "chip/LabelTables.h"
#include "chip/TernaryIndex.h"
#include "policy/Policy.h"
#include "verify/Packet.h"
#include "verify/TableShape.h"

namespace Orvex::Host {

/// By the library's names. They are not part of snapshots.
using DefaultActions = std::map<PDAclKey, DefaultAction>;

/// The defaults of all ACLs of a policy, also of those without rules, which the library never sees.
DefaultActions defaultActionsOf( Policy const& policy );

class ChipTable {
 public:
  class Acl;

  /// Reads the snapshot, and nothing of it later. An ACL without a default denies.
  ChipTable( PDData const& snapshot, Verify::TableShape const& shape, DefaultActions const& defaults );
  ~ChipTable();

  /// The ACL of the library's name; null when there is none. Valid as long as the table.
  Acl* acl( PDAclKey const& key ) const;

  /// Fails with: Verify::QuestionError when the packet is not one, or not of the ACL's family.
  Verify::Verdict lookUp( Acl& acl, Verify::Packet const& packet ) const;

 private:
  struct FamilyTables {
    AddressTable source;
    AddressTable destination;
    PairTable prefixCombo;
    bool hasCombo = false;
  };

  PackedKey keyOf( FamilyTables const& family, Verify::Packet const& packet ) const;

  std::vector<FamilyTables> families_;
  PerField<ValueTable> values_;
  PairTable portCombo_;
  bool hasPortCombo_;
  std::map<PDAclKey, std::unique_ptr<Acl>> acls_;
};

/// The packets that a rule has decided, and each of its entries in their order.
struct RuleHits {
  std::uint32_t rule = 0;
  std::uint64_t packets = 0;
  std::vector<std::uint64_t> entries;

  friend bool operator==( RuleHits const&, RuleHits const& ) = default;
};

/// One ACL of a loaded table.
class ChipTable::Acl {
 public:
  Acl( Vell::AddressFamily family, DefaultAction defaultAction )
      : family_( family ), missAction_( actionOf( defaultAction ) ) {}

  Vell::AddressFamily family() const { return family_; }
  std::vector<RuleHits> hits() const;
  /// Packets that no rule has decided.
  std::uint64_t misses() const { return misses_; }

 private:
  friend class ChipTable;

  struct LoadedRule {
    std::uint32_t index;
    OrvexActionValue action;
    std::uint32_t entries;
  };

  void addRules( PDAclRuleColl const& rules );
  Verify::Verdict decide( PackedKey const& key );

  Vell::AddressFamily family_;
  OrvexActionValue missAction_;
  std::vector<LoadedRule> rules_;
  std::vector<std::uint32_t> ruleOfEntry_;
  std::vector<std::uint64_t> hitsOfEntry_;
  std::uint64_t misses_ = 0;
  std::vector<TernaryIndex::Entry> entries_;  // until they are indexed
  std::optional<TernaryIndex> index_;
};

}  // namespace Orvex::Host
