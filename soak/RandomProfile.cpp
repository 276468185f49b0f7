#include "RandomProfile.h"

#include "Orvex/OrvexEncoderTypes.h"

namespace Orvex::Host::Test {

namespace {

enum class Style : std::uint32_t { wide, narrow, everyWidth };

LabelPlacement placement( Random& random ) {
  return random.percent( 50 ) ? LabelPlacement::nested : LabelPlacement::costOrder;
}

class ProfileMaker {
 public:
  explicit ProfileMaker( Random& random ) : random_( random ), style_( static_cast<Style>( random.between( 0, 2 ) ) ) {}

  ChipProfile profile() {
    ChipProfile made;
    made.name = "random";
    for ( PrefixXformKey const space : kPrefixSpaces ) made.prefix( space ) = encoding( 1 );
    for ( Field const field : kFields )
      if ( !random_.percent( 40 ) ) made.ranges[field] = encoding( 0 );
    for ( ComboLabelSetType const type : kCombos ) {
      bool const possible = type != ComboLabelSetType::srcDstL4Port ||
                            ( made.ranges[Field::sport].isOn() && made.ranges[Field::dport].isOn() );
      if ( possible && random_.percent( 50 ) ) made.combo( type ) = encoding( 0 );
    }
    bool const isTight = random_.percent( 10 );
    for ( Resource const resource : kResources )
      made.capacities[resource] = isTight && random_.percent( 50 ) ? random_.between( 1, 100 ) : kUnlimited;
    made.labelPlacement = placement( random_ );
    return made;
  }

 private:
  ChipProfile::Encoding encoding( std::uint32_t leastWidth ) {
    std::uint32_t const width = style_ == Style::wide     ? random_.between( 12, EncodingAttr::kMaxWidth )
                                : style_ == Style::narrow ? random_.between( 4, 8 )
                                                          : random_.between( leastWidth, EncodingAttr::kMaxWidth );
    if ( width == 0 || random_.percent( 50 ) ) return { width, 0 };
    return { width, random_.below( std::uint64_t{ 1 } << width ) };
  }

  Random& random_;
  Style style_;
};

}  // namespace

ChipProfile randomProfile( Random& random ) { return ProfileMaker( random ).profile(); }

ChipProfile widestProfile( Random& random ) {
  ChipProfile made;
  made.name = "widest";
  for ( PrefixXformKey const space : kPrefixSpaces ) made.prefix( space ).widthBits = EncodingAttr::kMaxWidth;
  for ( Field const field : kFields ) made.ranges[field].widthBits = EncodingAttr::kMaxWidth;
  for ( ComboLabelSetType const type : kCombos )
    if ( random.percent( 50 ) ) made.combo( type ).widthBits = EncodingAttr::kMaxWidth;
  for ( Resource const resource : kResources ) made.capacities[resource] = kUnlimited;
  made.labelPlacement = placement( random );
  return made;
}

}  // namespace Orvex::Host::Test
