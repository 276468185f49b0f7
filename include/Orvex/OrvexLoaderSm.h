#pragma once

/// Publishes the result of a kick as one snapshot, and sees it into the chip.
///
/// The loader gathers what the encoders and the rule expander have left into a PDData, makes it the chip's current one, and
/// goes through the requests of OrvexPDTypes.h with the driver layer:
///
///     acquire -> all "hitless"  -> load -> all "loaded" -> "finishedSuccess"
///             -> some "hitful"  -> blanket policy on, confirmed -> load -> all "loaded" -> policy off, confirmed
///                               -> "finishedSuccess"
///             -> some "failed"  -> the snapshot of before is current again -> revert -> all "reverted" -> "finishedFailed"
///
/// A load that fails ends the process: the chip then holds neither policy. An answer to an older request is no answer. A kick
/// begins anew in any state; one that comes during a hitful load leaves the blanket policy in force.
///
/// The snapshot of before comes back with its label tables only, since its rules are the rule expander's collection of now.
/// Whoever has more than one version of a policy makes a pipeline for each (see OrvexPDData.h).
///
/// States and what they wait for: waitingForAcquire (answers to acquire), pdAcquireSuccess (answers to load, or before that
/// the policy's confirmation), waitingForRevert (answers to revert), pdLoadSuccess (nothing, or the policy's confirmation).
/// An answer in a state that waits for none is a fatal check.
///
/// Reads LoaderConfig and PDStatus, writes PDConfig and LoaderStatus.

#include <array>
#include <span>
#include <string_view>

#include "Brae/ParamConfig.h"
#include "Kiv/Enumeration.h"
#include "Orvex/OrvexHwCapability.h"
#include "Orvex/OrvexLoaderTypes.h"
#include "Orvex/OrvexPDTypes.h"
#include "Orvex/OrvexStageSm.h"

namespace Orvex {

enum class LoaderSmState : std::uint32_t {
  initial,
  waitingForAcquire,
  pdAcquireSuccess,
  pdLocalFail,
  pdAcquireFail,
  pdLoadSuccess,
  waitingForRevert,
  pdRevertSuccess
};

inline constexpr std::array<std::string_view, 8> kLoaderSmStateNames = {
    "initial",       "waitingForAcquire", "pdAcquireSuccess", "pdLocalFail",
    "pdAcquireFail", "pdLoadSuccess",     "waitingForRevert", "pdRevertSuccess" };
static_assert( kLoaderSmStateNames.size() == Kiv::enumValue( LoaderSmState::pdRevertSuccess ) + 1 );
constexpr std::span<std::string_view const> enumNames( LoaderSmState ) { return kLoaderSmStateNames; }
inline LoaderSmState LoaderSmStateInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<LoaderSmState>( name );
}

class LoaderSm : public StageSm {
 public:
  LoaderSm( Brae::ChipId chipId, Kiv::Ptr<LoaderConfig const> const& config, Kiv::Ptr<LoaderStatus> const& status,
            Kiv::Ptr<PDConfig> const& pdConfig, Kiv::Ptr<PDStatus const> const& pdStatus,
            Kiv::Ptr<ChipHwCapability const> const& hwCapability,
            Kiv::Ptr<Brae::ParamConfig const> const& aclParamConfig );
  ~LoaderSm() override;

  Kiv::Ptr<PDConfig> const& pdConfig() const { return pdConfig_; }
  Kiv::Ptr<PDStatus const> pdStatus() const;

  LoaderSmState smState() const { return smState_; }
  /// Stores a new state and acts on it at once.
  void smStateIs( LoaderSmState state );
  /// Whether no answer to this kick's acquisition was "hitful".
  bool isHitless() const { return isHitless_; }
  void isHitlessIs( bool hitless ) { isHitless_ = hitless; }
  double failedResponseId() const { return failedResponseId_; }
  void failedResponseIdIs( double id ) { failedResponseId_ = id; }

 protected:
  void doStartKick() override;

 private:
  class KivPDStatus;

  LoaderConfig const& loaderConfig() const;
  double requestId() const;
  void request( RequestState state );

  void doPDLoad();
  void loadPrefixInfo( PrefixXformKey key, PrefixXformLoaderInfo const& loaderInfo, PDData& pdData ) const;
  void loadComboInfo( PDData& pdData ) const;
  void loadRangeInfo( PDData& pdData ) const;
  void loadAclRuleInfo( PDData& pdData ) const;

  void handleXformStatus();
  void handleGlobalAclControl();
  void handleLoaderState();
  void handleLocalFail();

  /// These return whether the driver has answered the current request; a refusal is an answer.
  bool checkEveryStatus();
  bool checkPrefixStatus();
  bool checkComboStatus();
  bool checkRangeStatus();
  bool checkXformStatus( ResourceStatus const& answer );
  bool handleRefusal( ResourceStatus const& answer, std::string_view what );

  Kiv::Ptr<LoaderStatus> loaderStatus_;
  Kiv::Ptr<PDConfig> pdConfig_;
  Kiv::Ptr<ChipHwCapability const> hwCapability_;
  Kiv::Ptr<Brae::ParamConfig const> aclParamConfig_;
  Kiv::Ptr<KivPDStatus> kivPDStatus_;
  LoaderSmState smState_ = LoaderSmState::initial;
  bool isHitless_ = true;
  double failedResponseId_ = 0;
  Kiv::String traceKey_;
};

}  // namespace Orvex
