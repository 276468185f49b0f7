#pragma once

/// The driver layer of a chip, as the pipeline sees it: the two entities of OrvexPDTypes.h, through which it is asked to
/// acquire, load and revert, and what does not pass through them.
///
/// A version of a policy is announced before its pipeline is kicked. What is announced takes effect with the load, and is
/// forgotten when the version is refused or given up.
///
/// A driver is served by the host's loop, never from inside a notification: each call of serve() answers one request.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Orvex/OrvexPDTypes.h"
#include "chip/ChipProfile.h"
#include "chip/ChipTable.h"
#include "chip/TableUse.h"

namespace Orvex::Host {

/// What a chip must know of a version besides its snapshot.
struct ChipVersion {
  DefaultActions defaults;
  /// Why the snapshot must not be loaded; nothing when it may be. Asked at every acquisition that would fit.
  std::function<std::optional<std::string>( PDData const& snapshot )> objection;
};

/// Why an acquisition was answered "failed".
struct Refusal {
  std::string reason;
  /// Empty unless the reason is that it does not fit.
  std::vector<Shortage> shortages;
};

class ChipDriver {
 public:
  ChipDriver() = default;
  ChipDriver( ChipDriver const& ) = delete;
  ChipDriver& operator=( ChipDriver const& ) = delete;
  virtual ~ChipDriver() = default;

  virtual ChipProfile const& profile() const = 0;
  virtual Kiv::Ptr<ChipHwCapability const> hwCapability() const = 0;
  virtual Kiv::Ptr<PDConfig> const& pdConfig() const = 0;
  virtual Kiv::Ptr<PDStatus const> pdStatus() const = 0;

  /// Announces the version that the next acquisition is for.
  virtual void versionIs( ChipVersion version ) = 0;

  /// Answers the oldest request. False when there is none that can be answered now.
  virtual bool serve() = 0;

  /// Drops every request, what they have reserved, the version announced, and the blanket policy.
  /// Requires: no loader is bound to the chip's entities.
  virtual void requestsDelAll() = 0;

  /// The id of the request to load that put in force what is; 0 before the first. A load is made whole or not at all, so
  /// this says what the chip does even when its answers are lost.
  virtual double loadedRequest() const = 0;

  /// Of the last acquisition; nothing unless it was refused.
  virtual std::optional<Refusal> const& refusal() const = 0;
};

}  // namespace Orvex::Host
