#include "chip/ChipProfile.h"

#include <algorithm>

namespace Orvex::Host {

namespace {

class ProfileChecker {
 public:
  explicit ProfileChecker( ChipProfile const& profile ) : profile_( profile ) {}

  std::vector<ProfileProblem> problems() {
    if ( profile_.name.empty() ) add( "name", "is empty", "give the chip a name" );
    for ( PrefixXformKey const space : kPrefixSpaces ) checkPrefixSpace( space );
    for ( Field const field : kFields ) checkEncoding( "ranges." + text( field ), profile_.ranges[field], 0 );
    for ( ComboLabelSetType const type : kCombos ) checkEncoding( "combos." + text( type ), profile_.combo( type ), 0 );
    checkPortCombo();
    for ( Resource const resource : kResources )
      if ( profile_.capacities[resource] == 0 && needs( resource ) )
        add( "capacities." + text( resource ), "is 0, and the chip has tables that take it",
             "write a number above 0, or \"unlimited\"" );
    return std::move( problems_ );
  }

 private:
  template <class Enumeration>
  static std::string text( Enumeration value ) {
    return std::string( Kiv::stringValue( value ) );
  }

  void add( std::string field, std::string problem, std::string remedy ) {
    problems_.push_back( { std::move( field ), std::move( problem ), std::move( remedy ) } );
  }

  void checkPrefixSpace( PrefixXformKey space ) {
    checkEncoding( "prefixes." + text( space.af() ) + ( space.src() ? ".source" : ".destination" ),
                   profile_.prefix( space ), 1 );
  }

  void checkEncoding( std::string const& field, ChipProfile::Encoding const& encoding, std::uint64_t minWidth ) {
    if ( encoding.widthBits < minWidth || encoding.widthBits > EncodingAttr::kMaxWidth ) {
      add( field + ".width", "is " + std::to_string( encoding.widthBits ),
           "write " + std::to_string( minWidth ) + " to " + std::to_string( EncodingAttr::kMaxWidth ) );
      return;
    }
    if ( encoding.invalid >> encoding.widthBits == 0 ) return;
    std::string const given = "is " + std::to_string( encoding.invalid );
    if ( encoding.isOn() )
      add( field + ".invalid", given + ", which a label of " + std::to_string( encoding.widthBits ) + " bits cannot be",
           "write 0 to " + std::to_string( ( std::uint64_t{ 1 } << encoding.widthBits ) - 1 ) );
    else
      add( field + ".invalid", given + ", and the table is off", "leave it out, or give the table a width" );
  }

  void checkPortCombo() {
    if ( !profile_.combo( ComboLabelSetType::srcDstL4Port ).isOn() ) return;
    for ( Field const field : { Field::sport, Field::dport } )
      if ( !profile_.ranges[field].isOn() )
        add( "combos.srcDstL4Port.width",
             "combines the labels of sport and dport, and ranges." + text( field ) + " is off",
             "give ranges." + text( field ) + " a width, or write 0 here" );
  }

  bool needs( Resource resource ) const {
    auto const isOn = []( ChipProfile::Encoding const& encoding ) { return encoding.isOn(); };
    switch ( resource ) {
      case Resource::ruleEntries:
      case Resource::ipv4PrefixEntries:
      case Resource::ipv6PrefixEntries:
        return true;
      case Resource::rangeEntries:
        return std::any_of( kFields.begin(), kFields.end(),
                            [&]( Field field ) { return profile_.ranges[field].isOn(); } );
      case Resource::comboEntries:
        return std::any_of( profile_.combos.begin(), profile_.combos.end(), isOn );
    }
    return true;
  }

  ChipProfile const& profile_;
  std::vector<ProfileProblem> problems_;
};

EncodingAttr attributeOf( ChipProfile::Encoding const& encoding ) {
  return { static_cast<std::uint32_t>( encoding.widthBits ),
           EncodedLabel( static_cast<std::uint16_t>( encoding.invalid ) ) };
}

Verify::TableShape::Table tableOf( ChipProfile::Encoding const& encoding ) {
  return { encoding.isOn(), static_cast<std::uint16_t>( encoding.invalid ) };
}

std::uint64_t guardOf( std::uint64_t capacity, std::uint64_t most ) {
  return capacity > most / 4 ? most : 4 * capacity;
}

}  // namespace

std::vector<ProfileProblem> problemsOf( ChipProfile const& profile ) { return ProfileChecker( profile ).problems(); }

Kiv::Ptr<ChipHwCapability> capabilityOf( ChipProfile const& profile, Brae::ChipId chipId ) {
  if ( auto const problems = problemsOf( profile ); !problems.empty() )
    throw ProfileError( "chip " + profile.name + ": " + problems.front().field + " " + problems.front().problem + "; " +
                        problems.front().remedy );
  auto capability = Kiv::make<ChipHwCapability>( chipId );
  for ( PrefixXformKey const space : kPrefixSpaces )
    capability->prefixEncodingAttrIs( space, attributeOf( profile.prefix( space ) ) );
  for ( Field const field : kFields )
    if ( profile.ranges[field].isOn() )
      capability->rangeEncodingAttrIs( rangeTableOf( field ), attributeOf( profile.ranges[field] ) );
  for ( ComboLabelSetType const type : kCombos )
    if ( profile.combo( type ).isOn() ) capability->comboEncodingAttrIs( type, attributeOf( profile.combo( type ) ) );
  capability->maxAclEntriesIs( guardOf( profile.capacities[Resource::ruleEntries], kMostRuleEntries ) );
  capability->maxComboPairsIs( guardOf( profile.capacities[Resource::comboEntries], kMostComboPairs ) );
  capability->labelPlacementIs( profile.labelPlacement );
  return capability;
}

Verify::TableShape shapeOf( ChipProfile const& profile ) {
  Verify::TableShape shape;
  for ( PrefixXformKey const space : kPrefixSpaces ) shape.prefix( space ) = tableOf( profile.prefix( space ) );
  for ( Field const field : kFields ) shape.ranges[field] = tableOf( profile.ranges[field] );
  for ( ComboLabelSetType const type : kCombos ) shape.combo( type ) = tableOf( profile.combo( type ) );
  return shape;
}

}  // namespace Orvex::Host
