#pragma once

/// A driver layer between the compiler and a chip that answers wrongly, once or twice, and correctly otherwise.
///
/// It has a PDConfig and a PDStatus of its own, hands each request on to the software chip behind it, and brings the chip's
/// answers back one at a time: serve() is one step, after which it can be asked what the chip does. What a fault changes is
/// an answer, or whether a request reaches the chip; the chip itself is sound.
///
///     serve()   the oldest request goes to the chip; its answers, with their faults, join the queue
///     serve()   combination of IPv4 addresses: (17.5, hitless)
///     serve()   combination of IPv6 addresses: (16.5, hitless)      <- olderId
///     ...

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "chip/SoftwareChip.h"

namespace Orvex::Soak {

/// What a driver is asked for. The last two come as global policies, before and after a load that disturbs traffic.
enum class DriverRequest : std::uint32_t { acquire, load, revert, policyOn, policyOff };

inline constexpr std::array<std::string_view, 5> kDriverRequestNames = { "acquire", "load", "revert", "policyOn",
                                                                         "policyOff" };
static_assert( kDriverRequestNames.size() == Kiv::enumValue( DriverRequest::policyOff ) + 1 );
constexpr std::span<std::string_view const> enumNames( DriverRequest ) { return kDriverRequestNames; }

enum class DriverFault : std::uint32_t {
  saysHitless,
  saysHitful,
  saysLoaded,
  saysFailed,
  saysReverted,
  saysDoNotApply,  // these three as a policy's confirmation
  saysDenyAll,
  saysPermitAll,
  isSilent,
  isTwice,        // in a row
  isRepeated,     // once more, behind the answers to the next request
  hasAnOlderId,   // that of the version before
  hasANewerId,    // that of no version
  comesEarly,     // inside the notification that brings the request
  comesLast,      // behind the other answers to the request
  comesNextKick,  // before the requests of the next version
  requestIsLost   // the chip never hears of it
};

inline constexpr std::array<std::string_view, 17> kDriverFaultNames = {
    "saysHitless", "saysHitful",    "saysLoaded", "saysFailed",    "saysReverted", "saysDoNotApply",
    "saysDenyAll", "saysPermitAll", "isSilent",   "isTwice",       "isRepeated",   "hasAnOlderId",
    "hasANewerId", "comesEarly",    "comesLast",  "comesNextKick", "requestIsLost" };
static_assert( kDriverFaultNames.size() == Kiv::enumValue( DriverFault::requestIsLost ) + 1 );
constexpr std::span<std::string_view const> enumNames( DriverFault ) { return kDriverFaultNames; }

struct AnswerFault {
  /// Counted from the first version that follows the faults' arrival.
  std::uint32_t kick = 0;
  DriverRequest request = DriverRequest::acquire;
  /// One of FaultyDriver's statuses; kEveryStatus for all of them. Of no interest for policies.
  std::size_t status = 0;
  DriverFault fault = DriverFault::isSilent;
};

/// "kick 0, load of srcPort isSilent"
std::string textOf( AnswerFault const& fault );

class FaultyDriver : public Host::ChipDriver {
 public:
  /// Combinations, range fields, TCP flags, prefixes, rules of IPv4, rules of IPv6.
  static constexpr std::size_t kStatuses = 18;
  static constexpr std::size_t kEveryStatus = kStatuses;

  /// Requires: the chip outlives this, and nobody else uses its entities.
  explicit FaultyDriver( Host::SoftwareChip& chip );
  ~FaultyDriver() override;

  /// From the next version on; kicks are counted anew.
  void faultsAre( std::vector<AnswerFault> faults );

  Host::ChipProfile const& profile() const override { return chip_.profile(); }
  Kiv::Ptr<ChipHwCapability const> hwCapability() const override { return chip_.hwCapability(); }
  Kiv::Ptr<PDConfig> const& pdConfig() const override { return pdConfig_; }
  Kiv::Ptr<PDStatus const> pdStatus() const override { return pdStatus_; }
  void versionIs( Host::ChipVersion version ) override;
  bool serve() override;
  void requestsDelAll() override;
  double loadedRequest() const override { return chip_.loadedRequest(); }
  std::optional<Host::Refusal> const& refusal() const override { return chip_.refusal(); }

 private:
  class KivPDConfig;
  class KivChipStatus;
  using Step = std::function<void()>;

  void handleRequest();
  void handlePolicy();
  void relay( ResourceConfig const& request );
  void relay( GlobalAclControl policy );
  DriverFault const* faultOf( DriverRequest request, std::size_t status ) const;
  void enqueue( std::size_t status, ResourceStatus answer, DriverFault const* fault );
  void enqueue( Step const& step, DriverFault const* fault );
  Step stepOf( std::size_t status, ResourceStatus const& answer );
  void enterRepeats( std::deque<Step> repeats );

  Host::SoftwareChip& chip_;
  Kiv::Ptr<PDConfig> pdConfig_;
  Kiv::Ptr<PDStatus> pdStatus_;
  Kiv::Ptr<KivPDConfig> kivPDConfig_;
  Kiv::Ptr<KivChipStatus> kivChipStatus_;
  std::vector<AnswerFault> faults_;
  std::uint32_t kicks_ = 0;
  double requestId_ = 0;
  double olderId_ = 0;

  std::deque<Step> queue_;
  std::deque<Step> last_;
  std::deque<Step> repeats_;
  std::deque<Step> nextKick_;
  /// What the chip has answered to the request that it serves.
  std::vector<std::pair<std::size_t, ResourceStatus>> answers_;
};

}  // namespace Orvex::Soak
