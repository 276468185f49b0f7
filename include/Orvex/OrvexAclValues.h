#pragma once

/// The value types of rules: ranges of packet fields, the place of a rule in its ACL, and its action.

#include <array>
#include <compare>
#include <cstdint>
#include <span>
#include <string_view>
#include <tuple>

#include "Kiv/Enumeration.h"
#include "Kiv/Hash.h"
#include "Kiv/Value.h"
#include "Vell/DscpValue.h"

namespace Orvex {

using Kiv::TextForm::operator<<;

/// Widths of packet fields in bits, and the bits of the TCP flags byte.
struct Constants {
  static constexpr std::uint8_t l4PortBitWidth = 16;
  static constexpr std::uint8_t icmpTypeBitWidth = 8;
  static constexpr std::uint8_t protoBitWidth = 8;
  static constexpr std::uint8_t lengthBitWidth = 16;
  static constexpr std::uint8_t fragmentBitWidth = 13;
  static constexpr std::uint8_t dscpBitWidth = 6;
  static constexpr std::uint8_t ttlBitWidth = 8;
  static constexpr std::uint8_t tcpFlagFin = 1;
  static constexpr std::uint8_t tcpFlagSyn = 2;
  static constexpr std::uint8_t tcpFlagRst = 4;
  static constexpr std::uint8_t tcpFlagPsh = 8;
  static constexpr std::uint8_t tcpFlagAck = 16;
  static constexpr std::uint8_t tcpFlagUrg = 32;
};

/// The fields that rules match by ranges. A field's checked limits raise Kiv::RangeException in the setters, in the
/// constructor and when text is read; the other fields take any number, and are checked where sets are made of them.
struct AnyField {
  static constexpr std::string_view kTypeName = "Orvex::Range";
  static constexpr std::uint32_t kMaximum = 0xFFFFFFFF;
  static constexpr bool kChecked = false;
};
struct L4PortField {
  static constexpr std::string_view kTypeName = "Orvex::L4PortRange";
  static constexpr std::uint32_t kMaximum = 65535;
  static constexpr bool kChecked = false;
};
struct IcmpTypeField {
  static constexpr std::string_view kTypeName = "Orvex::IcmpTypeRange";
  static constexpr std::uint32_t kMaximum = 255;
  static constexpr bool kChecked = false;
};
struct ProtoField {
  static constexpr std::string_view kTypeName = "Orvex::ProtoRange";
  static constexpr std::uint32_t kMaximum = 255;
  static constexpr bool kChecked = false;
};
struct LengthField {
  static constexpr std::string_view kTypeName = "Orvex::LengthRange";
  static constexpr std::uint32_t kMaximum = 65535;
  static constexpr bool kChecked = false;
};
struct FragmentField {
  static constexpr std::string_view kTypeName = "Orvex::FragmentRange";
  static constexpr std::uint32_t kMaximum = 8191;
  static constexpr bool kChecked = true;
  static constexpr std::string_view kStartRange =
      "FragmentRange::rangeStart < 0 or > Expr @OrvexAclTypes:87 not allowed";
  static constexpr std::string_view kEndRange = "FragmentRange::rangeEnd < 0 or > Expr @OrvexAclTypes:90 not allowed";
};
struct DscpField {
  static constexpr std::string_view kTypeName = "Orvex::DscpRange";
  static constexpr std::uint32_t kMaximum = 63;
  static constexpr bool kChecked = true;
  static constexpr std::string_view kStartRange = "DscpRange::rangeStart < 0 or > Expr @OrvexAclTypes:101 not allowed";
  static constexpr std::string_view kEndRange = "DscpRange::rangeEnd < 0 or > Expr @OrvexAclTypes:104 not allowed";
};
struct TtlField {
  static constexpr std::string_view kTypeName = "Orvex::TtlRange";
  static constexpr std::uint32_t kMaximum = 255;
  static constexpr bool kChecked = true;
  static constexpr std::string_view kStartRange = "TtlRange::rangeStart < 0 or > Expr @OrvexAclTypes:115 not allowed";
  static constexpr std::string_view kEndRange = "TtlRange::rangeEnd < 0 or > Expr @OrvexAclTypes:118 not allowed";
};

/// A range of one field's values, both ends included. Nothing here says that the start is not above the end.
template <class Field>
class FieldRange {
 public:
  static constexpr std::string_view kTypeName = Field::kTypeName;
  static constexpr std::uint32_t kMaximum = Field::kMaximum;
  static constexpr bool kChecked = Field::kChecked;
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "rangeStart", &FieldRange::rangeStart ),
                       Kiv::Field( "rangeEnd", &FieldRange::rangeEnd ) );
  }

  FieldRange() noexcept = default;
  FieldRange( std::uint32_t rangeStart, std::uint32_t rangeEnd ) {
    rangeStartIs( rangeStart );
    rangeEndIs( rangeEnd );
  }

  std::uint32_t rangeStart() const noexcept { return rangeStart_; }
  void rangeStartIs( std::uint32_t value ) {
    if constexpr ( Field::kChecked ) Kiv::checkRange( value, 0U, kMaximum, Field::kStartRange );
    rangeStart_ = value;
  }
  std::uint32_t rangeEnd() const noexcept { return rangeEnd_; }
  void rangeEndIs( std::uint32_t value ) {
    if constexpr ( Field::kChecked ) Kiv::checkRange( value, 0U, kMaximum, Field::kEndRange );
    rangeEnd_ = value;
  }

  /// Whether this is the field's whole range.
  bool isAny() const noexcept { return rangeStart_ == 0 && rangeEnd_ == kMaximum; }

  std::uint32_t hash() const noexcept { return Kiv::IncrementalHash().add( rangeStart_ ).add( rangeEnd_ ).result(); }
  friend auto operator<=>( FieldRange const&, FieldRange const& ) = default;

 private:
  std::uint32_t rangeStart_ = 0;
  std::uint32_t rangeEnd_ = 0;
};

using Range = FieldRange<AnyField>;
using L4PortRange = FieldRange<L4PortField>;
using IcmpTypeRange = FieldRange<IcmpTypeField>;
using ProtoRange = FieldRange<ProtoField>;
using LengthRange = FieldRange<LengthField>;
using FragmentRange = FieldRange<FragmentField>;
using DscpRange = FieldRange<DscpField>;
using TtlRange = FieldRange<TtlField>;

/// The place of a rule in its ACL: rules are tried in ascending order.
class AceIndex {
 public:
  static constexpr std::string_view kTypeName = "Orvex::AceIndex";
  static constexpr auto fields() { return std::tuple( Kiv::Field( "value", &AceIndex::value ) ); }
  static constexpr std::uint32_t min = 0;
  static constexpr std::uint32_t null = 0xFFFFFFFE;
  static constexpr std::string_view kValueRange = "AceIndex::value < AceIndex::min or > AceIndex::null not allowed";

  AceIndex() noexcept = default;
  /// Fails with: Kiv::RangeException.
  explicit AceIndex( std::uint32_t value ) { valueIs( value ); }

  std::uint32_t value() const noexcept { return value_; }
  void valueIs( std::uint32_t value ) {
    Kiv::checkRange( value, min, null, kValueRange );
    value_ = value;
  }

  std::uint32_t hash() const noexcept { return Kiv::hashOf( value_ ); }
  friend auto operator<=>( AceIndex const&, AceIndex const& ) = default;

 private:
  std::uint32_t value_ = min;
};

class OrvexTrafficClass {
 public:
  static constexpr std::string_view kTypeName = "Orvex::OrvexTrafficClass";
  static constexpr auto fields() { return std::tuple( Kiv::Field( "value", &OrvexTrafficClass::value ) ); }
  static constexpr std::uint32_t min = 0;
  static constexpr std::uint32_t max = 7;
  static constexpr std::uint32_t null = 8;
  static constexpr std::string_view kValueRange =
      "OrvexTrafficClass::value < OrvexTrafficClass::min or > OrvexTrafficClass::null not allowed";

  OrvexTrafficClass() noexcept = default;
  /// Fails with: Kiv::RangeException.
  explicit OrvexTrafficClass( std::uint32_t value ) { valueIs( value ); }

  std::uint32_t value() const noexcept { return value_; }
  /// Takes a wide number, so that one that does not fit is refused and not cut.
  void valueIs( std::uint32_t value ) {
    Kiv::checkRange( value, min, null, kValueRange );
    value_ = static_cast<std::uint8_t>( value );
  }

  std::uint32_t hash() const noexcept { return Kiv::hashOf( value_ ); }
  friend auto operator<=>( OrvexTrafficClass const&, OrvexTrafficClass const& ) = default;

 private:
  std::uint8_t value_ = null;
};

/// What happens to a packet that a rule decides.
struct OrvexActionValue {
  static constexpr std::string_view kTypeName = "Orvex::OrvexActionValue";
  static constexpr auto fields() {
    return std::tuple(
        Kiv::Field( "dropEnabled", &OrvexActionValue::dropEnabled ),
        Kiv::Field( "logEnabled", &OrvexActionValue::logEnabled ), Kiv::Field( "dscp", &OrvexActionValue::dscp ),
        Kiv::Field( "setDscpEnabled", &OrvexActionValue::setDscpEnabled ), Kiv::Field( "tc", &OrvexActionValue::tc ),
        Kiv::Field( "setTcEnabled", &OrvexActionValue::setTcEnabled ),
        Kiv::Field( "sflowEnabled", &OrvexActionValue::sflowEnabled ) );
  }

  OrvexActionValue() noexcept = default;
  OrvexActionValue( bool drop, bool log, Vell::DscpValue dscpValue, bool setDscp, OrvexTrafficClass trafficClass,
                    bool setTc, bool sflow ) noexcept
      : dropEnabled( drop ),
        logEnabled( log ),
        dscp( dscpValue ),
        setDscpEnabled( setDscp ),
        tc( trafficClass ),
        setTcEnabled( setTc ),
        sflowEnabled( sflow ) {}

  std::uint32_t hash() const noexcept {
    return Kiv::IncrementalHash()
        .add( dropEnabled )
        .add( logEnabled )
        .add( dscp.hash() )
        .add( setDscpEnabled )
        .add( tc.hash() )
        .add( setTcEnabled )
        .add( sflowEnabled )
        .result();
  }
  friend auto operator<=>( OrvexActionValue const&, OrvexActionValue const& ) = default;

  bool dropEnabled = false;
  bool logEnabled = false;
  Vell::DscpValue dscp;
  bool setDscpEnabled = false;
  OrvexTrafficClass tc;
  bool setTcEnabled = false;
  bool sflowEnabled = false;
};

enum class OrvexActionType : std::uint32_t {
  dropAction,
  countAction,
  policeAction,
  setDscpAction,
  setTcAction,
  sflowAction,
  continueAction
};

inline constexpr std::array<std::string_view, 7> kOrvexActionTypeNames = {
    "dropAction", "countAction", "policeAction", "setDscpAction", "setTcAction", "sflowAction", "continueAction" };
static_assert( kOrvexActionTypeNames.size() == Kiv::enumValue( OrvexActionType::continueAction ) + 1 );
constexpr std::span<std::string_view const> enumNames( OrvexActionType ) { return kOrvexActionTypeNames; }
inline OrvexActionType OrvexActionTypeInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<OrvexActionType>( name );
}

}  // namespace Orvex
