#pragma once

/// What the host writes and reads for one chip: the kick request, and the progress of the kick.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Brae/ChipId.h"
#include "Kiv/Entity.h"
#include "Kiv/Enumeration.h"
#include "Orvex/OrvexStageControllerTypes.h"

namespace Orvex {

enum class OrvexProgress : std::uint32_t {
  orvexInitialized,
  orvexRunning,
  orvexCancelled,
  orvexFinishedSuccess,
  orvexFinishedFail
};

inline constexpr std::array<std::string_view, 5> kOrvexProgressNames = {
    "orvexInitialized", "orvexRunning", "orvexCancelled", "orvexFinishedSuccess", "orvexFinishedFail" };
static_assert( kOrvexProgressNames.size() == Kiv::enumValue( OrvexProgress::orvexFinishedFail ) + 1 );
constexpr std::span<std::string_view const> enumNames( OrvexProgress ) { return kOrvexProgressNames; }
inline OrvexProgress OrvexProgressInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<OrvexProgress>( name );
}

/// Written by the host: the request before the time.
class RootConfig : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<RootConfig, Kiv::NotifieeConst> {
   public:
    virtual void onOrvexKickRequest() {}
    virtual void onOrvexKickTime() {}
  };

  explicit RootConfig( Brae::ChipId chipId ) : chipId_( chipId ) {}

  Brae::ChipId chipId() const { return chipId_; }

  OrvexKickRequest orvexKickRequest() const { return orvexKickRequest_; }
  void orvexKickRequestIs( OrvexKickRequest request ) {
    set( orvexKickRequest_, request, &NotifieeConst::onOrvexKickRequest );
  }
  /// Every new value is a kick; writing the present one again is none.
  double orvexKickTime() const { return orvexKickTime_; }
  void orvexKickTimeIs( double time ) { set( orvexKickTime_, time, &NotifieeConst::onOrvexKickTime ); }

 private:
  Brae::ChipId chipId_;
  OrvexKickRequest orvexKickRequest_ = OrvexKickRequest::orvexStart;
  double orvexKickTime_ = 0;
};

/// Written by the root. "orvexCancelled" says that the pipeline has stopped, and nothing of the chip: a load that has begun
/// goes on.
class RootStatus : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<RootStatus, Kiv::NotifieeConst> {
   public:
    virtual void onKickCount() {}
    virtual void onKickTime() {}
    virtual void onKickProgress() {}
    virtual void onKickMessage() {}
  };

  explicit RootStatus( Brae::ChipId chipId ) : chipId_( chipId ) {}

  Brae::ChipId chipId() const { return chipId_; }

  /// Kicks seen, cancels included.
  std::uint32_t kickCount() const { return kickCount_; }
  void kickCountIs( std::uint32_t count ) { set( kickCount_, count, &NotifieeConst::onKickCount ); }
  void kickCountInc( std::uint32_t increment ) { kickCountIs( kickCount_ + increment ); }
  /// The config's time of the last kick.
  double kickTime() const { return kickTime_; }
  void kickTimeIs( double time ) { set( kickTime_, time, &NotifieeConst::onKickTime ); }
  OrvexProgress kickProgress() const { return kickProgress_; }
  void kickProgressIs( OrvexProgress progress ) { set( kickProgress_, progress, &NotifieeConst::onKickProgress ); }
  /// Empty unless the last kick failed.
  Kiv::String const& kickMessage() const { return kickMessage_; }
  void kickMessageIs( Kiv::String const& message ) { set( kickMessage_, message, &NotifieeConst::onKickMessage ); }

 private:
  Brae::ChipId chipId_;
  std::uint32_t kickCount_ = 0;
  double kickTime_ = 0;
  OrvexProgress kickProgress_ = OrvexProgress::orvexInitialized;
  Kiv::String kickMessage_;
};

}  // namespace Orvex
