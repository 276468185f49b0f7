#pragma once

/// What a compile came to, in figures: labels, and entries rule by rule with the arithmetic behind them.
///
///     rule 40   3 source x 2 port = 6 entries
///     dport     needs 12 labels of 63, which 6 bits have beside the invalid value
///
/// All of it is read from the stages' statuses, while their root lives.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Orvex/OrvexEncoderTypes.h"
#include "Orvex/OrvexPDData.h"
#include "Orvex/OrvexStageControllerTypes.h"
#include "Orvex/OrvexXformTypes.h"
#include "chip/ChipProfile.h"
#include "chip/TableUse.h"
#include "pipeline/ExpansionBound.h"
#include "pipeline/StageMembers.h"

namespace Orvex::Host {

/// One label table that is on.
struct LabelUse {
  /// "ipv4 source", "dport", "srcDstL4Port"
  std::string table;
  std::uint64_t widthBits = 0;
  std::uint64_t needed = 0;
  /// All values but the invalid one.
  std::uint64_t available = 0;
};

/// One factor of a rule's entries: the length of its list for a field.
struct Factor {
  TcamFieldType field = TcamFieldType::tcamFieldTypeNone;
  std::uint64_t entries = 0;

  friend bool operator==( Factor const&, Factor const& ) = default;
};

/// A rule's entries: the product of the factors, without those that an earlier rule of the ACL has.
struct RuleUse {
  PDAclKey acl;
  std::uint32_t index = 0;
  std::vector<Factor> factors;
  /// At most the greatest number; 1 for a rule that matches everything.
  std::uint64_t product = 1;
  std::uint64_t entries = 0;
};

/// The field of a factor as messages have it: "source", "port pair".
std::string_view factorText( TcamFieldType field );

/// "3 source x 2 port = 6"
std::string arithmeticOf( RuleUse const& rule );

class CompileReporter {
 public:
  CompileReporter( StageSmStatus const& statuses, ChipProfile const& profile );

  /// Of the tables whose transforms have run in the kick.
  std::vector<LabelUse> labels( double kickTime ) const;
  /// Requires: the table's transform has run.
  LabelUse labelsOf( LabelTable const& table ) const;
  /// By ACL and index. Requires: the encoders have ended. `acls` is null when the expander has failed.
  std::vector<RuleUse> rules( PDAclColl const* acls ) const;

  /// A number of entries that all rules together do not exceed, at little cost. Requires: the encoders have ended.
  std::uint64_t mostEntries() const;
  /// By ACL and index. Requires: the encoders have ended; they outlive what is returned.
  std::vector<RuleLists> lists() const;

  /// The sets of a table with the most labels, each named by the first rule that has it.
  std::vector<Cost> setsWithMostLabels( LabelTable const& table ) const;
  /// The pairs of source and destination sets of rules that make the most pairs of labels.
  std::vector<Cost> rulesWithMostPairs( ComboLabelSetType type ) const;
  /// The pairs of labels of all pairs of sets that rules have.
  /// Requires: the transforms have run.
  std::uint64_t pairs( ComboLabelSetType type ) const;
  /// The sets that take the most of the room of label tables.
  std::vector<Cost> largestSets( Resource resource ) const;

 private:
  struct RuleRef {
    PDAclKey acl;
    std::uint32_t index;
    Kiv::Ptr<GenSetIpRule const> rule;
  };
  struct SetSize {
    LabelTable table;
    GenSetKey key;
    std::uint64_t size;
  };

  std::uint64_t labelCount( LabelTable const& table ) const;
  ChipProfile::Encoding const& encodingOf( LabelTable const& table ) const;
  Kiv::Ptr<XformStatus const> xformOf( LabelTable const& table ) const;
  Kiv::Ptr<EncoderStatus const> encoderOf( LabelTable const& table ) const;
  Kiv::Ptr<ComboLabelInfo const> comboInfoOf( ComboLabelSetType type ) const;
  /// For each pair of source and destination sets, by the first rule that has it.
  std::vector<Cost> pairsBySets( ComboLabelSetType type ) const;
  /// The set that a rule has in a table; key 0 when it has none.
  GenSetKey keyOf( RuleRef const& rule, LabelTable const& table ) const;
  /// Where the lists of a field of entries stand; null: the table is off, or has nothing.
  using EncodersByField = std::array<Kiv::Ptr<EncoderStatus const>, kTcamFieldTypeNames.size()>;
  std::vector<Factor> factorsOf( RuleRef const& rule, EncodersByField& encoders ) const;
  std::vector<Cost> named( std::vector<SetSize> const& sets ) const;

  Kiv::Ptr<AggregatorStatus const> aggregator_;
  StageSmStatus const& statuses_;
  ChipProfile const& profile_;
  std::vector<RuleRef> rules_;  // by ACL and index
};

}  // namespace Orvex::Host
