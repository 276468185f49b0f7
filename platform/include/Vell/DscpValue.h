#pragma once

/// A differentiated services code point: the upper six bits of the IPv4 type of service or the IPv6 traffic class.
/// Its text is its number.

#include <compare>
#include <cstdint>
#include <ostream>
#include <string_view>

#include "Kiv/Exception.h"
#include "Kiv/Hash.h"
#include "Kiv/Value.h"

namespace Vell {

class DscpValue {
 public:
  static constexpr std::string_view kValueRange = "DscpValue::value < 0 or > 63 not allowed";

  DscpValue() noexcept = default;
  /// Fails with: Kiv::RangeException.
  explicit DscpValue( std::uint32_t value ) { valueIs( value ); }

  std::uint32_t value() const noexcept { return value_; }
  void valueIs( std::uint32_t value ) {
    Kiv::checkRange( value, 0U, 63U, kValueRange );
    value_ = value;
  }

  std::uint32_t hash() const noexcept { return Kiv::hashOf( value_ ); }
  bool operator==( DscpValue const& ) const noexcept = default;
  std::strong_ordering operator<=>( DscpValue const& ) const noexcept = default;

  static DscpValue read( Kiv::TextReader& reader ) { return DscpValue( Kiv::readValue<std::uint32_t>( reader ) ); }

 private:
  std::uint32_t value_ = 0;
};

inline std::ostream& operator<<( std::ostream& out, DscpValue const& dscp ) {
  Kiv::Detail::printField( out, dscp.value() );
  return out;
}

}  // namespace Vell
