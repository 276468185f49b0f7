#pragma once

/// What a chip can do: how many bits of its keys each kind of label has, and how much it holds. Written by the owner of the
/// chip before its pipeline is built; read by the stages.
///
/// A kind of label without an attribute, or with width 0, is switched off. From the start prefix labels have 16 bits, and
/// ranges and combinations are off.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "Brae/ChipId.h"
#include "Kiv/Entity.h"
#include "Kiv/HashMap2018.h"
#include "Orvex/OrvexGenSetValues.h"

namespace Orvex {

/// How the chip encodes one kind of label.
class EncodingAttr {
 public:
  static constexpr std::string_view kTypeName = "Orvex::EncodingAttr";
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "width", &EncodingAttr::width ),
                       Kiv::Field( "invalidEncValue", &EncodingAttr::invalidEncValue ) );
  }
  static constexpr std::uint32_t kMaxWidth = 16;
  static constexpr std::string_view kWidthRange = "EncodingAttr::width < 0 or > 16 not allowed";

  EncodingAttr() noexcept = default;
  /// Takes a wide number, so that one that does not fit is refused and not cut.
  /// Fails with: Kiv::RangeException.
  EncodingAttr( std::uint32_t width, EncodedLabel invalidEncValue ) : invalidEncValue_( invalidEncValue ) {
    Kiv::checkRange( width, 0U, kMaxWidth, kWidthRange );
    width_ = static_cast<std::uint8_t>( width );
  }

  /// Bits of the key, 0 to 16; 0 is off.
  std::uint32_t width() const noexcept { return width_; }
  /// What stands for the absence of a label.
  EncodedLabel invalidEncValue() const noexcept { return invalidEncValue_; }

  friend auto operator<=>( EncodingAttr const&, EncodingAttr const& ) = default;

 private:
  std::uint8_t width_ = 0;
  EncodedLabel invalidEncValue_;
};

/// How encoded labels are placed.
enum class LabelPlacement : std::uint32_t {
  costOrder,  // the sets with the most labels and users first
  nested      // sets that nest in blocks that nest; in a table where costOrder takes fewer entries, as that does
};

inline constexpr std::array<std::string_view, 2> kLabelPlacementNames = { "costOrder", "nested" };
static_assert( kLabelPlacementNames.size() == Kiv::enumValue( LabelPlacement::nested ) + 1 );
constexpr std::span<std::string_view const> enumNames( LabelPlacement ) { return kLabelPlacementNames; }

class ChipHwCapability : public Kiv::Entity {
 public:
  explicit ChipHwCapability( Brae::ChipId chipId );

  Brae::ChipId chipId() const { return chipId_; }

  Kiv::HashMap2018<PrefixXformKey, EncodingAttr> const& prefixEncodingAttr() const { return prefixEncodingAttr_; }
  void prefixEncodingAttrIs( PrefixXformKey key, EncodingAttr attr ) { prefixEncodingAttr_.set( key, attr ); }
  void prefixEncodingAttrDel( PrefixXformKey key ) { prefixEncodingAttr_.erase( key ); }
  void prefixEncodingAttrDelAll() { prefixEncodingAttr_.clear(); }
  bool prefixEncodingAttrHas( PrefixXformKey key ) const { return prefixEncodingAttr_.has( key ); }

  Kiv::HashMap2018<RangeSetType, EncodingAttr> const& rangeEncodingAttr() const { return rangeEncodingAttr_; }
  void rangeEncodingAttrIs( RangeSetType key, EncodingAttr attr ) { rangeEncodingAttr_.set( key, attr ); }
  void rangeEncodingAttrDel( RangeSetType key ) { rangeEncodingAttr_.erase( key ); }
  void rangeEncodingAttrDelAll() { rangeEncodingAttr_.clear(); }
  bool rangeEncodingAttrHas( RangeSetType key ) const { return rangeEncodingAttr_.has( key ); }

  Kiv::HashMap2018<ComboLabelSetType, EncodingAttr> const& comboEncodingAttr() const { return comboEncodingAttr_; }
  void comboEncodingAttrIs( ComboLabelSetType key, EncodingAttr attr ) { comboEncodingAttr_.set( key, attr ); }
  void comboEncodingAttrDel( ComboLabelSetType key ) { comboEncodingAttr_.erase( key ); }
  void comboEncodingAttrDelAll() { comboEncodingAttr_.clear(); }
  bool comboEncodingAttrHas( ComboLabelSetType key ) const { return comboEncodingAttr_.has( key ); }

  /// For other components of the agent; the pipeline does not look at these two.
  bool tcpFlagsXformSupported() const { return tcpFlagsXformSupported_; }
  void tcpFlagsXformSupportedIs( bool supported ) { tcpFlagsXformSupported_ = supported; }
  std::uint8_t tcpFlagsXformWidth() const { return tcpFlagsXformWidth_; }
  void tcpFlagsXformWidthIs( std::uint8_t widthBits ) { tcpFlagsXformWidth_ = widthBits; }

  /// Entries, over all ACLs, above which an expansion is given up; 0: no limit. A guard, not the chip's capacity.
  std::uint64_t maxAclEntries() const { return maxAclEntries_; }
  void maxAclEntriesIs( std::uint64_t entries ) { maxAclEntries_ = entries; }
  /// Pairs of labels above which a combination set is not formed; 0: no limit.
  std::uint64_t maxComboPairs() const { return maxComboPairs_; }
  void maxComboPairsIs( std::uint64_t pairs ) { maxComboPairs_ = pairs; }
  LabelPlacement labelPlacement() const { return labelPlacement_; }
  void labelPlacementIs( LabelPlacement placement ) { labelPlacement_ = placement; }

 private:
  Brae::ChipId chipId_;
  Kiv::HashMap2018<PrefixXformKey, EncodingAttr> prefixEncodingAttr_;
  Kiv::HashMap2018<RangeSetType, EncodingAttr> rangeEncodingAttr_;
  Kiv::HashMap2018<ComboLabelSetType, EncodingAttr> comboEncodingAttr_;
  std::uint64_t maxAclEntries_ = 0;
  std::uint64_t maxComboPairs_ = 0;
  LabelPlacement labelPlacement_ = LabelPlacement::costOrder;
  bool tcpFlagsXformSupported_ = false;
  std::uint8_t tcpFlagsXformWidth_ = 2;
};

/// The capabilities of every chip.
class HwCapabilityColl : public Kiv::Entity {
 public:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<ChipHwCapability>> const& chipHwCapability() const {
    return chipHwCapability_;
  }
  Kiv::Ptr<ChipHwCapability> chipHwCapabilityIs( Brae::ChipId chipId );
  void chipHwCapabilityDel( Brae::ChipId chipId ) { chipHwCapability_.erase( chipId ); }
  void chipHwCapabilityDelAll() { chipHwCapability_.clear(); }
  bool chipHwCapabilityHas( Brae::ChipId chipId ) const { return chipHwCapability_.has( chipId ); }

 private:
  Kiv::HashMap2018<Brae::ChipId, Kiv::Ptr<ChipHwCapability>> chipHwCapability_;
};

}  // namespace Orvex
