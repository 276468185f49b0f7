#pragma once

/// Chips of random make: which labels there are, how wide they are, and what stands for the absence of one.

#include "Orvex/OrvexHwCapability.h"
#include "packets/Random.h"
#include "verify/TableShape.h"

namespace Orvex::Host::Test {

/// A chip for the library and the same chip for the judge.
struct RandomChip {
  explicit RandomChip( Random& random ) {
    std::uint32_t const style = random.between( 0, 2 );
    capability->labelPlacementIs( random.percent( 50 ) ? LabelPlacement::nested : LabelPlacement::costOrder );
    for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
      for ( bool const src : { true, false } ) {
        PrefixXformKey const space( af, src );
        auto const attr = randomAttr( random, style );
        capability->prefixEncodingAttrIs( space, attr );
        shape.prefix( space ) = table( attr );
      }
    for ( Field const field : kFields ) {
      if ( random.percent( 40 ) ) continue;
      auto const attr = randomAttr( random, style );
      capability->rangeEncodingAttrIs( static_cast<RangeSetType>( Kiv::enumValue( field ) ), attr );
      shape.ranges[field] = table( attr );
    }
    for ( std::uint32_t number = 0; number != Verify::TableShape::kCombos; ++number ) {
      auto const type = static_cast<ComboLabelSetType>( number );
      bool const possible =
          type != ComboLabelSetType::srcDstL4Port || ( shape.ranges[Field::sport].on && shape.ranges[Field::dport].on );
      if ( !possible || random.percent( 50 ) ) continue;
      auto const attr = randomAttr( random, style );
      capability->comboEncodingAttrIs( type, attr );
      shape.combo( type ) = table( attr );
    }
  }

  Kiv::Ptr<ChipHwCapability> capability = Kiv::make<ChipHwCapability>( Brae::ChipId( 7 ) );
  Verify::TableShape shape;

 private:
  /// Of style 0 chips are wide, of 1 narrow, of 2 of every width.
  static EncodingAttr randomAttr( Random& random, std::uint32_t style ) {
    std::uint32_t const width = style == 0   ? random.between( 12, EncodingAttr::kMaxWidth )
                                : style == 1 ? random.between( 5, 8 )
                                             : random.between( 1, EncodingAttr::kMaxWidth );
    auto const invalid = random.percent( 50 ) ? 0 : random.below( std::uint64_t{ 1 } << width );
    return EncodingAttr( width, EncodedLabel( static_cast<std::uint16_t>( invalid ) ) );
  }
  static Verify::TableShape::Table table( EncodingAttr const& attr ) {
    return { true, attr.invalidEncValue().value() };
  }
};

}  // namespace Orvex::Host::Test
