/// Writes the snapshot of one of three policies, one of them with either placement of labels, as text, to standard output. Its
/// SHA-256 is committed beside the test's name: the same policy gives the same snapshot whatever compiled the compiler, and
/// wherever its memory lies.

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "ListPolicy.h"
#include "RandomPolicy.h"
#include "orvex/SnapshotText.h"
#include "orvex/TestChip.h"
#include "policy/AclConfigBuilder.h"

namespace {

using namespace Orvex;

/// Labels of many widths, and two fields without.
void fill( ChipHwCapability& chip, bool prefixCombos ) {
  std::uint32_t width = 16;
  for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
    for ( bool const src : { true, false } )
      chip.prefixEncodingAttrIs( PrefixXformKey( af, src ), EncodingAttr( width, EncodedLabel( src ? 0 : 7 ) ) );
  for ( std::uint16_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
    if ( type % 3 != 2 )
      chip.rangeEncodingAttrIs( static_cast<RangeSetType>( type ), EncodingAttr( --width, EncodedLabel( type ) ) );
  if ( prefixCombos )
    chip.comboEncodingAttrIs( ComboLabelSetType::ipv6SrcDstPrefix, EncodingAttr( 16, EncodedLabel( 0 ) ) );
  chip.comboEncodingAttrIs( ComboLabelSetType::srcDstL4Port, EncodingAttr( 15, EncodedLabel( 1 ) ) );
}

Kiv::Ptr<AclConfigColl> policyNamed( std::string_view name ) {
  if ( name == "lists" || name == "nested" ) return Bench::makeListPolicy( {} ).config;
  if ( name == "stress" ) {
    auto parameters = Bench::stressParameters();
    parameters.family = Vell::AddressFamily::ipv6;
    parameters.rules = 20;
    parameters.portLists = 0;
    return Bench::makeListPolicy( parameters ).config;
  }
  Random random( 11 );
  Host::Test::RandomPolicyOptions options;
  options.aclsPerFamily = 12;
  options.maxRules = 40;
  auto const config = Kiv::make<AclConfigColl>( Brae::ChipId( 7 ) );
  buildAclConfig( Host::Test::randomPolicy( random, options ), *config );
  return config;
}

}  // namespace

int main( int argc, char** argv ) {
  if ( argc != 2 ) {
    std::cerr << "usage: snapshot_digest lists|nested|stress|random\n";
    return 2;
  }
  Test::TestChip chip;
  fill( *chip.capability, std::string_view( argv[1] ) == "random" );
  if ( std::string_view( argv[1] ) == "nested" ) chip.capability->labelPlacementIs( LabelPlacement::nested );
  chip.policy = policyNamed( argv[1] );
  if ( chip.compile() != OrvexProgress::orvexFinishedSuccess ) {
    std::cerr << chip.rootStatus->kickMessage() << "\n";
    return 1;
  }
  std::cout << Test::textOf( *chip.driver.loaded );
  return std::cout ? 0 : 1;
}
