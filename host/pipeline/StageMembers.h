#pragma once

/// Every stage of a root, member by member, in the order of the pipeline.
///
/// The controller takes the first member of a stage that is not plainly successful for the whole stage, so that a member
/// that was skipped can hide one that failed. Here every member is looked at.

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Orvex/OrvexStageControllerTypes.h"

namespace Orvex::Host {

/// A table of labels: of a prefix space, a range field or a combination.
using LabelTable = std::variant<PrefixXformKey, RangeSetType, ComboLabelSetType>;

/// As messages and profiles have it: "ipv4 source", "dport", "srcDstL4Port".
std::string tableText( LabelTable const& table );

struct StageMember {
  OrvexActiveStage stage;
  /// What the member works on; none where the stage has no members.
  std::optional<LabelTable> table;
  Kiv::Ptr<StageStatus const> status;
};

/// The stage as messages name it: "prefix encoder".
std::string_view stageText( OrvexActiveStage stage );

class StageMembers {
 public:
  explicit StageMembers( StageSmStatus const& statuses );

  std::vector<StageMember> const& all() const { return members_; }

  /// Whether every member of the stage has ended the kick, however.
  bool ended( OrvexActiveStage stage, double kickTime ) const;
  /// The first member that failed in the kick; null when none has.
  StageMember const* failed( double kickTime ) const;
  /// What speaks against loading what the kick has made: a stage before the loader that has not ended it well.
  std::optional<std::string> objection( double kickTime ) const;

 private:
  void add( OrvexActiveStage stage, std::optional<LabelTable> table, Kiv::Ptr<StageStatus const> const& status );

  std::vector<StageMember> members_;
};

}  // namespace Orvex::Host
