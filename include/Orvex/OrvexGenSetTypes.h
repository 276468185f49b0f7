#pragma once

/// Generic sets: what the stages after the aggregator work on in place of rules. So far the keys of the stage families.

#include <array>
#include <compare>
#include <cstdint>
#include <span>
#include <string_view>
#include <tuple>

#include "Kiv/Enumeration.h"
#include "Kiv/Hash.h"
#include "Kiv/Value.h"
#include "Vell/AddressFamily.h"

namespace Orvex {

using Kiv::TextForm::operator<<;

/// Selects one prefix space: an address family, and the source or the destination side.
class PrefixXformKey {
 public:
  static constexpr std::string_view kTypeName = "Orvex::PrefixXformKey";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "af", &PrefixXformKey::af ), Kiv::Field( "src", &PrefixXformKey::src ) );
  }

  constexpr PrefixXformKey( Vell::AddressFamily af, bool src ) noexcept : af_( af ), src_( src ) {}

  constexpr Vell::AddressFamily af() const noexcept { return af_; }
  /// True for the source side, false for the destination side.
  constexpr bool src() const noexcept { return src_; }

  constexpr std::uint32_t hash() const noexcept { return Kiv::IncrementalHash().add( af_ ).add( src_ ).result(); }
  friend constexpr auto operator<=>( PrefixXformKey const&, PrefixXformKey const& ) = default;

 private:
  Vell::AddressFamily af_;
  bool src_;
};

/// The packet fields that rules match by ranges of numbers. The last name counts them.
enum class RangeSetType : std::uint32_t { srcPort, dstPort, icmp, proto, length, fragment, dscp, ttl, rangeSetMax };

inline constexpr std::array<std::string_view, 9> kRangeSetTypeNames = {
    "srcPort", "dstPort", "icmp", "proto", "length", "fragment", "dscp", "ttl", "rangeSetMax" };
static_assert( kRangeSetTypeNames.size() == Kiv::enumValue( RangeSetType::rangeSetMax ) + 1 );
constexpr std::span<std::string_view const> enumNames( RangeSetType ) { return kRangeSetTypeNames; }
inline RangeSetType RangeSetTypeInstance( Kiv::String const& name ) { return Kiv::enumInstance<RangeSetType>( name ); }

/// The pairs of source and destination fields that a chip can match through one combined label. The last name counts
/// them.
enum class ComboLabelSetType : std::uint32_t { ipv4SrcDstPrefix, ipv6SrcDstPrefix, srcDstL4Port, comboLabelSetMax };

inline constexpr std::array<std::string_view, 4> kComboLabelSetTypeNames = { "ipv4SrcDstPrefix", "ipv6SrcDstPrefix",
                                                                             "srcDstL4Port", "comboLabelSetMax" };
static_assert( kComboLabelSetTypeNames.size() == Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ) + 1 );
constexpr std::span<std::string_view const> enumNames( ComboLabelSetType ) { return kComboLabelSetTypeNames; }
inline ComboLabelSetType ComboLabelSetTypeInstance( Kiv::String const& name ) {
  return Kiv::enumInstance<ComboLabelSetType>( name );
}

}  // namespace Orvex
