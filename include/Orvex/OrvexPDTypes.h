#pragma once

/// The contract between the compiler and the driver layer that programs a chip.
///
/// The compiler writes a chip's PDConfig, the driver its PDStatus, and each reacts to the other's. For one update:
///
///     PDConfig                                        PDStatus
///     currPDData = the snapshot
///     pdResourceConfig = (17.5, acquire)         ->   every status = (17.5, hitless)
///     pdResourceConfig = (17.5, load)            ->   every status = (17.5, loaded)
///
/// "hitful" says that the update disturbs traffic. The compiler then first sets `globalAclControl` to a blanket policy, waits
/// until the driver has applied it and set its own `globalAclControl` to the same, and takes it back after the load. A
/// "failed" acquisition is answered by (17.5, revert): the driver gives back what it has reserved, and answers "reverted".
///
/// What a driver must do:
///  1. fill its PDStatus before the pipeline exists, and touch it only to answer a request;
///  2. react only to `pdResourceConfig` and to `globalAclControl`;
///  3. copy the request's id bit for bit: an answer with another id is no answer;
///  4. answer every status once for each request, a refusal in every one; those of transforms that are switched off first,
///     the IPv6 rule status last;
///  5. answer from a queue, after the notification that brought the request;
///  6. never answer "failed" to a revert, or to a load that it can still undo: a failed load ends the process;
///  7. sort rules by AceIndex, and accept rules without filters and an absent previous snapshot;
///  8. copy what it loads, and not read a snapshot again afterwards (see OrvexPDData.h).
///
/// While a hitful load waits for its policy, any other change of the status would be taken for the load's answer, and a kick
/// that comes during a hitful load leaves the blanket policy in force: one kick at a time.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Brae/ChipId.h"
#include "Kiv/Entity.h"
#include "Kiv/Enumeration.h"
#include "Kiv/HashMap2018.h"
#include "Orvex/OrvexPDData.h"

namespace Orvex {

enum class RequestState : std::uint32_t { acquire, load, revert };

inline constexpr std::array<std::string_view, 3> kRequestStateNames = { "acquire", "load", "revert" };
static_assert( kRequestStateNames.size() == Kiv::enumValue( RequestState::revert ) + 1 );
constexpr std::span<std::string_view const> enumNames( RequestState ) { return kRequestStateNames; }
inline RequestState RequestStateInstance( Kiv::String const& name ) { return Kiv::enumInstance<RequestState>( name ); }

/// "hitless" and "hitful" answer an acquisition, "loaded" a load, "reverted" a revert, "failed" any of them.
enum class ResponseState : std::uint32_t { hitless, hitful, loaded, failed, reverted };

inline constexpr std::array<std::string_view, 5> kResponseStateNames = { "hitless", "hitful", "loaded", "failed",
                                                                         "reverted" };
static_assert( kResponseStateNames.size() == Kiv::enumValue( ResponseState::reverted ) + 1 );
constexpr std::span<std::string_view const> enumNames( ResponseState ) { return kResponseStateNames; }
inline ResponseState ResponseStateInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<ResponseState>( name );
}

/// "doNotApply": the loaded ACLs decide. The others decide every packet alike.
enum class GlobalAclControl : std::uint32_t { doNotApply, denyAll, permitAll };

inline constexpr std::array<std::string_view, 3> kGlobalAclControlNames = { "doNotApply", "denyAll", "permitAll" };
static_assert( kGlobalAclControlNames.size() == Kiv::enumValue( GlobalAclControl::permitAll ) + 1 );
constexpr std::span<std::string_view const> enumNames( GlobalAclControl ) { return kGlobalAclControlNames; }
inline GlobalAclControl GlobalAclControlInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<GlobalAclControl>( name );
}

struct ResourceConfig {
  static constexpr std::string_view kTypeName = "Orvex::ResourceConfig";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "requestId", &ResourceConfig::requestId ),
                       Kiv::Field( "requestState", &ResourceConfig::requestState ) );
  }

  constexpr ResourceConfig() noexcept = default;
  constexpr ResourceConfig( double id, RequestState state ) noexcept : requestId( id ), requestState( state ) {}

  friend bool operator==( ResourceConfig const&, ResourceConfig const& ) = default;

  /// Seconds: the kick time that the request belongs to.
  double requestId = 0;
  RequestState requestState = RequestState::acquire;
};

struct ResourceStatus {
  static constexpr std::string_view kTypeName = "Orvex::ResourceStatus";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "responseId", &ResourceStatus::responseId ),
                       Kiv::Field( "responseState", &ResourceStatus::responseState ) );
  }

  constexpr ResourceStatus() noexcept = default;
  constexpr ResourceStatus( double id, ResponseState state ) noexcept : responseId( id ), responseState( state ) {}

  friend bool operator==( ResourceStatus const&, ResourceStatus const& ) = default;

  /// Seconds: the requestId that this answers.
  double responseId = 0;
  ResponseState responseState = ResponseState::hitless;
};

/// A snapshot for which resources could not be acquired, and the id of the refusal.
struct FailureData {
  friend bool operator==( FailureData const&, FailureData const& ) = default;

  Kiv::Ptr<PDData> pdData;
  double responseId = 0;
};

/// Written by the compiler.
class PDConfig : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<PDConfig, Kiv::NotifieeConst> {
   public:
    virtual void onPrevPDData() {}
    virtual void onCurrPDData() {}
    virtual void onPdResourceConfig() {}
    virtual void onGlobalAclControl() {}
  };

  explicit PDConfig( Brae::ChipId chipId ) : chipId_( chipId ) {}

  Brae::ChipId chipId() const { return chipId_; }

  /// The snapshot before the current one; null before the second.
  Kiv::Ptr<PDData> const& prevPDData() const { return prevPDData_; }
  void prevPDDataIs( Kiv::Ptr<PDData> const& data ) { set( prevPDData_, data, &NotifieeConst::onPrevPDData ); }
  Kiv::Ptr<PDData> const& currPDData() const { return currPDData_; }
  void currPDDataIs( Kiv::Ptr<PDData> const& data ) { set( currPDData_, data, &NotifieeConst::onCurrPDData ); }
  ResourceConfig const& pdResourceConfig() const { return pdResourceConfig_; }
  void pdResourceConfigIs( ResourceConfig const& request ) {
    set( pdResourceConfig_, request, &NotifieeConst::onPdResourceConfig );
  }
  GlobalAclControl globalAclControl() const { return globalAclControl_; }
  void globalAclControlIs( GlobalAclControl control ) {
    set( globalAclControl_, control, &NotifieeConst::onGlobalAclControl );
  }

 private:
  Brae::ChipId chipId_;
  Kiv::Ptr<PDData> prevPDData_;
  Kiv::Ptr<PDData> currPDData_;
  ResourceConfig pdResourceConfig_;
  GlobalAclControl globalAclControl_ = GlobalAclControl::doNotApply;
};

/// Written by the driver: an answer for each label table, and one for the ACL rules of each family.
class PDStatus : public Kiv::Entity {
 public:
  class NotifieeConst : public Kiv::NotifieeConstOf<PDStatus, Kiv::NotifieeConst> {
   public:
    virtual void onPdPrefixXformEntryStatus() {}
    virtual void onPdPrefixXformEntryStatus( PrefixXformKey ) {}
    virtual void onComboEntryStatus( ComboLabelSetType ) {}
    virtual void onRangeEntryStatus( RangeSetType ) {}
    virtual void onPdTcpFlagsXformEntryStatus() {}
    virtual void onPdAclRuleIpv4EntryStatus() {}
    virtual void onPdAclRuleIpv6EntryStatus() {}
    virtual void onGlobalAclControl() {}
  };

  explicit PDStatus( Brae::ChipId chipId ) : chipId_( chipId ) {}

  Brae::ChipId chipId() const { return chipId_; }

  Kiv::HashMap2018<PrefixXformKey, ResourceStatus> const& pdPrefixXformEntryStatus() const {
    return pdPrefixXformEntryStatus_;
  }
  void pdPrefixXformEntryStatusIs( PrefixXformKey key, ResourceStatus const& answer ) {
    setMember( pdPrefixXformEntryStatus_, key, answer, &NotifieeConst::onPdPrefixXformEntryStatus );
  }
  void pdPrefixXformEntryStatusDel( PrefixXformKey key ) {
    deleteMember( pdPrefixXformEntryStatus_, key, &NotifieeConst::onPdPrefixXformEntryStatus );
  }
  void pdPrefixXformEntryStatusDelAll() {
    deleteAllMembers( pdPrefixXformEntryStatus_, &NotifieeConst::onPdPrefixXformEntryStatus );
  }
  bool pdPrefixXformEntryStatusHas( PrefixXformKey key ) const { return pdPrefixXformEntryStatus_.has( key ); }

  using Combo = ComboLabelSetType;
  ResourceStatus const& pdV4PrefixComboEntryStatus() const { return comboEntryStatus( Combo::ipv4SrcDstPrefix ); }
  void pdV4PrefixComboEntryStatusIs( ResourceStatus const& answer ) {
    comboEntryStatusIs( Combo::ipv4SrcDstPrefix, answer );
  }
  ResourceStatus const& pdV6PrefixComboEntryStatus() const { return comboEntryStatus( Combo::ipv6SrcDstPrefix ); }
  void pdV6PrefixComboEntryStatusIs( ResourceStatus const& answer ) {
    comboEntryStatusIs( Combo::ipv6SrcDstPrefix, answer );
  }
  ResourceStatus const& pdPortComboEntryStatus() const { return comboEntryStatus( Combo::srcDstL4Port ); }
  void pdPortComboEntryStatusIs( ResourceStatus const& answer ) { comboEntryStatusIs( Combo::srcDstL4Port, answer ); }
  /// These three by their type.
  ResourceStatus const& comboEntryStatus( ComboLabelSetType type ) const {
    return comboEntryStatus_[Kiv::enumValue( type )];
  }
  void comboEntryStatusIs( ComboLabelSetType type, ResourceStatus const& answer );

  using Range = RangeSetType;
  ResourceStatus const& pdSrcPortXformEntryStatus() const { return rangeEntryStatus( Range::srcPort ); }
  void pdSrcPortXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::srcPort, answer ); }
  ResourceStatus const& pdDstPortXformEntryStatus() const { return rangeEntryStatus( Range::dstPort ); }
  void pdDstPortXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::dstPort, answer ); }
  ResourceStatus const& pdIcmpXformEntryStatus() const { return rangeEntryStatus( Range::icmp ); }
  void pdIcmpXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::icmp, answer ); }
  ResourceStatus const& pdProtocolXformEntryStatus() const { return rangeEntryStatus( Range::proto ); }
  void pdProtocolXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::proto, answer ); }
  ResourceStatus const& pdLengthXformEntryStatus() const { return rangeEntryStatus( Range::length ); }
  void pdLengthXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::length, answer ); }
  ResourceStatus const& pdFragmentXformEntryStatus() const { return rangeEntryStatus( Range::fragment ); }
  void pdFragmentXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::fragment, answer ); }
  ResourceStatus const& pdDscpXformEntryStatus() const { return rangeEntryStatus( Range::dscp ); }
  void pdDscpXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::dscp, answer ); }
  ResourceStatus const& pdTtlXformEntryStatus() const { return rangeEntryStatus( Range::ttl ); }
  void pdTtlXformEntryStatusIs( ResourceStatus const& answer ) { rangeEntryStatusIs( Range::ttl, answer ); }
  /// These eight by their type.
  ResourceStatus const& rangeEntryStatus( RangeSetType type ) const {
    return rangeEntryStatus_[Kiv::enumValue( type )];
  }
  void rangeEntryStatusIs( RangeSetType type, ResourceStatus const& answer );

  ResourceStatus const& pdTcpFlagsXformEntryStatus() const { return pdTcpFlagsXformEntryStatus_; }
  void pdTcpFlagsXformEntryStatusIs( ResourceStatus const& answer ) {
    set( pdTcpFlagsXformEntryStatus_, answer, &NotifieeConst::onPdTcpFlagsXformEntryStatus );
  }
  ResourceStatus const& pdAclRuleIpv4EntryStatus() const { return pdAclRuleIpv4EntryStatus_; }
  void pdAclRuleIpv4EntryStatusIs( ResourceStatus const& answer ) {
    set( pdAclRuleIpv4EntryStatus_, answer, &NotifieeConst::onPdAclRuleIpv4EntryStatus );
  }
  ResourceStatus const& pdAclRuleIpv6EntryStatus() const { return pdAclRuleIpv6EntryStatus_; }
  void pdAclRuleIpv6EntryStatusIs( ResourceStatus const& answer ) {
    set( pdAclRuleIpv6EntryStatus_, answer, &NotifieeConst::onPdAclRuleIpv6EntryStatus );
  }

  /// The policy in force.
  GlobalAclControl globalAclControl() const { return globalAclControl_; }
  void globalAclControlIs( GlobalAclControl control ) {
    set( globalAclControl_, control, &NotifieeConst::onGlobalAclControl );
  }

 private:
  Brae::ChipId chipId_;
  Kiv::HashMap2018<PrefixXformKey, ResourceStatus> pdPrefixXformEntryStatus_;
  std::array<ResourceStatus, Kiv::enumValue( ComboLabelSetType::comboLabelSetMax )> comboEntryStatus_;
  std::array<ResourceStatus, Kiv::enumValue( RangeSetType::rangeSetMax )> rangeEntryStatus_;
  ResourceStatus pdTcpFlagsXformEntryStatus_;
  ResourceStatus pdAclRuleIpv4EntryStatus_;
  ResourceStatus pdAclRuleIpv6EntryStatus_;
  GlobalAclControl globalAclControl_ = GlobalAclControl::doNotApply;
};

class GlobalPDConfig : public Kiv::Entity {
 public:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<PDConfig>> const& pdConfig() const { return pdConfig_; }
  Kiv::Ptr<PDConfig> pdConfigIs( Brae::ChipId chipId );
  void pdConfigDel( Brae::ChipId chipId ) { pdConfig_.erase( chipId ); }
  void pdConfigDelAll() { pdConfig_.clear(); }
  bool pdConfigHas( Brae::ChipId chipId ) const { return pdConfig_.has( chipId ); }

 private:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<PDConfig>> pdConfig_;
};

class GlobalPDStatus : public Kiv::Entity {
 public:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<PDStatus>> const& pdStatus() const { return pdStatus_; }
  Kiv::Ptr<PDStatus> pdStatusIs( Brae::ChipId chipId );
  void pdStatusDel( Brae::ChipId chipId ) { pdStatus_.erase( chipId ); }
  void pdStatusDelAll() { pdStatus_.clear(); }
  bool pdStatusHas( Brae::ChipId chipId ) const { return pdStatus_.has( chipId ); }

 private:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<PDStatus>> pdStatus_;
};

}  // namespace Orvex
