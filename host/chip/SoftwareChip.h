#pragma once

/// A chip in software, with the driver layer that the compiler expects (OrvexPDTypes.h).
///
///     request    answer
///     acquire    "hitless"  the table in force and the new one fit side by side
///                "hitful"   only the new one fits
///                "failed"   it does not fit, or the announced version objects to it
///     load       "loaded"   the snapshot is copied, and in force with the defaults announced
///     revert     "reverted" the reservation and the announcement are dropped; what is in force stays
///
/// Invariants:
///  1. Requests are queued by the notification that brings them, and answered by serve(): every status once, with the
///     request's id bit for bit, those of switched-off tables first, that of the IPv6 rules last.
///  2. What is in force changes in a load only, and then as a whole. A load is never answered "failed": everything that
///     could stand against it has been asked at the acquisition.
///  3. Only the acquired snapshot is loaded. A load without its acquisition is not answered.
///  4. A chip without a table drops every packet, whatever the blanket policy; so does an ACL that the table does not have.

#include <deque>
#include <memory>
#include <variant>

#include "chip/ChipDriver.h"

namespace Orvex::Host {

class SoftwareChip : public ChipDriver {
 public:
  /// Fails with: ProfileError.
  SoftwareChip( Brae::ChipId chipId, ChipProfile profile );
  ~SoftwareChip() override;

  ChipProfile const& profile() const override { return profile_; }
  Kiv::Ptr<ChipHwCapability const> hwCapability() const override { return hwCapability_; }
  Kiv::Ptr<PDConfig> const& pdConfig() const override { return pdConfig_; }
  Kiv::Ptr<PDStatus const> pdStatus() const override { return pdStatus_; }
  void versionIs( ChipVersion version ) override { version_ = std::move( version ); }
  bool serve() override;
  void requestsDelAll() override;
  double loadedRequest() const override { return loadedRequest_; }
  std::optional<Refusal> const& refusal() const override { return refusal_; }

  /// The table in force; null before the first load.
  ChipTable const* table() const { return table_.get(); }
  /// What it takes.
  PerResource const& use() const { return use_; }
  GlobalAclControl policyInForce() const { return policyInForce_; }

  /// What happens to a packet now.
  /// Fails with: Verify::QuestionError when the packet is not one, or not of the ACL's family.
  Verify::Verdict lookUp( PDAclKey const& acl, Verify::Packet const& packet ) const;

 private:
  class KivPDConfig;
  using Request = std::variant<ResourceConfig, GlobalAclControl>;

  /// What an acquisition has set aside room for.
  struct Reservation {
    double requestId;
    Kiv::Ptr<PDData const> snapshot;
  };

  void serveResources( ResourceConfig const& request );
  void servePolicy( GlobalAclControl policy );
  ResponseState acquire( double requestId );
  std::optional<Refusal> refusalOf( Kiv::Ptr<PDData const> const& snapshot ) const;
  bool fitsBesideTableInForce( PDData const& snapshot ) const;
  void load();
  void reservationDel();
  void answer( ResourceStatus const& answer );
  void answerLabelTables( ResourceStatus const& answer, bool on );

  ChipProfile profile_;
  Verify::TableShape shape_;
  Kiv::Ptr<ChipHwCapability> hwCapability_;
  Kiv::Ptr<PDConfig> pdConfig_;
  Kiv::Ptr<PDStatus> pdStatus_;
  Kiv::Ptr<KivPDConfig> kivPDConfig_;
  std::deque<Request> requests_;

  std::optional<ChipVersion> version_;
  std::optional<Reservation> reservation_;
  std::optional<Refusal> refusal_;

  std::unique_ptr<ChipTable> table_;
  PerResource use_;
  double loadedRequest_ = 0;
  GlobalAclControl policyInForce_ = GlobalAclControl::doNotApply;
};

}  // namespace Orvex::Host
