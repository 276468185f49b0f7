#pragma once

/// The value types of generic sets: what names a set, what a set holds, and the labels that its pieces are given.

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

/// A number that is told from other numbers by its type. `Name` has the type's name as kTypeName.
template <class Name, class NumberType>
class NamedNumber {
 public:
  using Number = NumberType;
  static constexpr std::string_view kTypeName = Name::kTypeName;
  static constexpr auto fields() { return std::tuple( Kiv::Field( "value", &NamedNumber::value ) ); }

  constexpr NamedNumber() noexcept = default;
  explicit constexpr NamedNumber( Number value ) noexcept : value_( value ) {}

  constexpr Number value() const noexcept { return value_; }
  constexpr std::uint32_t hash() const noexcept { return Kiv::hashOf( value_ ); }
  friend constexpr auto operator<=>( NamedNumber const&, NamedNumber const& ) = default;

 private:
  Number value_ = 0;
};

struct GenSetKeyName {
  static constexpr std::string_view kTypeName = "Orvex::GenSetKey";
};
struct PlainLabelName {
  static constexpr std::string_view kTypeName = "Orvex::PlainLabel";
};
struct EncodedLabelName {
  static constexpr std::string_view kTypeName = "Orvex::EncodedLabel";
};
struct LabelMaskName {
  static constexpr std::string_view kTypeName = "Orvex::LabelMask";
};

/// Names one generic set for as long as its chip's pipeline lives. 0 names none.
using GenSetKey = NamedNumber<GenSetKeyName, std::uint64_t>;
/// The label of one disjoint piece, given by a transform. 0 is never given.
using PlainLabel = NamedNumber<PlainLabelName, std::uint32_t>;
/// A label as the chip holds it, and the mask that selects the bits of it that count.
using EncodedLabel = NamedNumber<EncodedLabelName, std::uint16_t>;
using LabelMask = NamedNumber<LabelMaskName, std::uint16_t>;

struct GenSetKeyPair {
  static constexpr std::string_view kTypeName = "Orvex::GenSetKeyPair";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "src", &GenSetKeyPair::src ), Kiv::Field( "dst", &GenSetKeyPair::dst ) );
  }

  constexpr GenSetKeyPair() noexcept = default;
  constexpr GenSetKeyPair( GenSetKey srcKey, GenSetKey dstKey ) noexcept : src( srcKey ), dst( dstKey ) {}

  constexpr std::uint32_t hash() const noexcept {
    return Kiv::IncrementalHash().add( src.hash() ).add( dst.hash() ).result();
  }
  friend constexpr auto operator<=>( GenSetKeyPair const&, GenSetKeyPair const& ) = default;

  GenSetKey src;
  GenSetKey dst;
};

/// A pair of plain labels: the piece of the source field and the piece of the destination field.
struct GenCombo {
  static constexpr std::string_view kTypeName = "Orvex::GenCombo";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "srcLabel", &GenCombo::srcLabel ), Kiv::Field( "dstLabel", &GenCombo::dstLabel ) );
  }

  constexpr GenCombo() noexcept = default;
  constexpr GenCombo( PlainLabel src, PlainLabel dst ) noexcept : srcLabel( src ), dstLabel( dst ) {}

  constexpr std::uint32_t hash() const noexcept {
    return Kiv::IncrementalHash().add( srcLabel.hash() ).add( dstLabel.hash() ).result();
  }
  friend constexpr auto operator<=>( GenCombo const&, GenCombo const& ) = default;

  PlainLabel srcLabel;
  PlainLabel dstLabel;
};

struct EncodedComboLabel {
  static constexpr std::string_view kTypeName = "Orvex::EncodedComboLabel";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "srcLabel", &EncodedComboLabel::srcLabel ),
                       Kiv::Field( "dstLabel", &EncodedComboLabel::dstLabel ) );
  }

  constexpr EncodedComboLabel() noexcept = default;
  constexpr EncodedComboLabel( EncodedLabel src, EncodedLabel dst ) noexcept : srcLabel( src ), dstLabel( dst ) {}

  constexpr std::uint32_t hash() const noexcept {
    return Kiv::IncrementalHash().add( srcLabel.hash() ).add( dstLabel.hash() ).result();
  }
  friend constexpr auto operator<=>( EncodedComboLabel const&, EncodedComboLabel const& ) = default;

  EncodedLabel srcLabel;
  EncodedLabel dstLabel;
};

/// One ternary entry: matches the labels that agree with `label` in the bits that `mask` has set.
struct EncodedLabelWithMask {
  static constexpr std::string_view kTypeName = "Orvex::EncodedLabelWithMask";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "label", &EncodedLabelWithMask::label ),
                       Kiv::Field( "mask", &EncodedLabelWithMask::mask ) );
  }

  constexpr EncodedLabelWithMask() noexcept = default;
  constexpr EncodedLabelWithMask( EncodedLabel encodedLabel, LabelMask labelMask ) noexcept
      : label( encodedLabel ), mask( labelMask ) {}

  constexpr std::uint32_t hash() const noexcept {
    return Kiv::IncrementalHash().add( label.hash() ).add( mask.hash() ).result();
  }
  friend constexpr auto operator<=>( EncodedLabelWithMask const&, EncodedLabelWithMask const& ) = default;

  EncodedLabel label;
  LabelMask mask;
};

/// A range of a packet field's values, both ends included; one value is a range from itself to itself.
class RangeSetElem {
 public:
  static constexpr std::string_view kTypeName = "Orvex::RangeSetElem";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "first", &RangeSetElem::first ), Kiv::Field( "last", &RangeSetElem::last ) );
  }
  static constexpr std::string_view kOrder = "RangeSetElem::first > RangeSetElem::last not allowed";

  constexpr RangeSetElem() noexcept = default;
  /// Fails with: Kiv::RangeException when `first` is above `last`.
  RangeSetElem( std::uint16_t first, std::uint16_t last ) : first_( first ), last_( last ) {
    if ( first > last )
      throw Kiv::RangeException( kOrder, Kiv::format( "%u-%u", unsigned{ first }, unsigned{ last } ) );
  }

  constexpr std::uint16_t first() const noexcept { return first_; }
  constexpr std::uint16_t last() const noexcept { return last_; }

  constexpr std::uint32_t hash() const noexcept { return Kiv::IncrementalHash().add( first_ ).add( last_ ).result(); }
  friend constexpr auto operator<=>( RangeSetElem const&, RangeSetElem const& ) = default;

 private:
  std::uint16_t first_ = 0;
  std::uint16_t last_ = 0;
};

/// How many users a set has.
struct GenSetRefCount {
  static constexpr std::string_view kTypeName = "Orvex::GenSetRefCount";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "key", &GenSetRefCount::key ), Kiv::Field( "value", &GenSetRefCount::value ) );
  }

  constexpr GenSetRefCount() noexcept = default;
  constexpr GenSetRefCount( GenSetKey setKey, std::uint32_t users ) noexcept : key( setKey ), value( users ) {}

  constexpr void valueIs( std::uint32_t users ) noexcept { value = users; }
  constexpr void valueInc( std::uint32_t users ) noexcept { value += users; }
  /// Not below zero: takes back what was counted before, and no more.
  constexpr void valueDec( std::uint32_t users ) noexcept { value -= users; }

  friend constexpr auto operator<=>( GenSetRefCount const&, GenSetRefCount const& ) = default;

  GenSetKey key;
  std::uint32_t value = 0;
};

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
