#pragma once

/// Takes one version of a policy through a pipeline of its own onto a chip.
///
///     policy -> AclConfigColl -> root, one kick -> snapshot -> the chip's driver -> in force
///
/// Every call builds a fresh configuration and a fresh root, and destroys the root before it returns, outside any
/// notification: at most one loader is ever bound to a chip. Between any two steps it looks at every member of every stage,
/// and stops at the first failure, which the stage controller may not see.
///
/// Whatever the result, the chip holds a whole table: the new one after "loaded", otherwise the one of before, with its
/// default actions. However a kick ends (a driver that stays silent, a cancel, an exception), the root goes, the blanket
/// policy is lifted on both sides, and the driver drops what is left of its requests; unless the load was made, the
/// published snapshot is the one of before again. A load that was made is in force even if the driver falls silent
/// afterwards: the outcome is then "driverSilent", and its message says so.

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "chip/ChipDriver.h"
#include "pipeline/CompileReport.h"
#include "policy/Policy.h"

namespace Orvex::Host {

enum class CompileOutcome : std::uint32_t {
  loaded,
  refused,       // the chip did not take the snapshot
  failed,        // a stage could not do its work
  driverSilent,  // the watchdog gave the driver up
  cancelled
};

inline constexpr std::array<std::string_view, 5> kCompileOutcomeNames = { "loaded", "refused", "failed", "driverSilent",
                                                                          "cancelled" };
static_assert( kCompileOutcomeNames.size() == Kiv::enumValue( CompileOutcome::cancelled ) + 1 );
constexpr std::span<std::string_view const> enumNames( CompileOutcome ) { return kCompileOutcomeNames; }

struct CompileOptions {
  /// Called before each stage, between notifications.
  std::function<void( OrvexActiveStage stage )> progress;
  /// Asked between the steps; once true, the kick is given up. A load that the chip has made is not taken back.
  std::function<bool()> cancelled;
  /// How long a driver may stay silent.
  std::chrono::milliseconds driverTimeout{ 10000 };
  /// Why a snapshot must not be loaded, such as that it was not proved equal to the policy. Asked when the chip is to
  /// acquire it. A stage of the kick that failed is an objection in any case.
  std::function<std::optional<std::string>( PDData const& snapshot )> objection;
};

struct StageTime {
  OrvexActiveStage stage;
  std::chrono::nanoseconds time;
};

struct CompileResult {
  CompileOutcome outcome = CompileOutcome::failed;
  /// Where the kick ended, unless the outcome is "loaded".
  OrvexActiveStage stage = OrvexActiveStage::stageInit;
  /// What went wrong, in a line; empty when nothing did.
  std::string message;
  /// What the stages traced about failures.
  std::vector<std::string> trace;
  /// Why the chip had no room.
  std::vector<Shortage> shortages;
  /// The rules or lists that cost most of what ran out in a stage that failed.
  std::vector<Cost> costliest;
  /// The load disturbed traffic.
  bool hitful = false;

  /// The stages that ended, in order; "stageInit" is the time that configuration and root took to build.
  std::vector<StageTime> stages;
  /// Of the label tables that are on and whose labels were counted before the kick ended.
  std::vector<LabelUse> labels;
  /// By ACL and index, once the encoders have ended.
  std::vector<RuleUse> rules;
  /// What the snapshot takes of the chip's capacities, once there is one.
  PerResource use;
  /// Null unless the rules were expanded. Nothing changes it any more.
  Kiv::Ptr<PDData const> snapshot;
};

/// Requires: the policy is normalised; no kick of the chip is under way, and no notification.
CompileResult compile( Policy const& policy, ChipDriver& chip, CompileOptions const& options = {} );

}  // namespace Orvex::Host
