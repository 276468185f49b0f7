#include <bit>
#include <iostream>

#include "compare/children/Facts.h"
#include "compare/children/Roles.h"
#include "orvex/TestChip.h"
#include "policy/AclConfigBuilder.h"

namespace Orvex::Bench {

namespace {

using Vell::AddressFamily;

constexpr std::uint64_t kLabelBits = EncodingAttr::kMaxWidth;
constexpr std::uint64_t kPortBits = 16;

void prepare( ChipHwCapability& capability, LabelPlacement placement ) {
  EncodingAttr const attr( kLabelBits, EncodedLabel() );
  for ( AddressFamily const family : { AddressFamily::ipv4, AddressFamily::ipv6 } )
    for ( bool const source : { true, false } )
      capability.prefixEncodingAttrIs( PrefixXformKey( family, source ), attr );
  capability.rangeEncodingAttrIs( RangeSetType::srcPort, attr );
  capability.rangeEncodingAttrIs( RangeSetType::dstPort, attr );
  capability.labelPlacementIs( placement );
}

/// The bits of each field that some entry looks at.
std::uint64_t keyBits( PDAclColl const& acls ) {
  std::uint64_t bits = 0;
  auto const addField = [&]( auto const& field ) {
    std::uint32_t looked = 0;
    for ( auto const& [key, acl] : acls.pdAcl() )
      for ( auto const& [index, rule] : acl->rule() )
        for ( PDAclFilter const& entry : rule->filter() ) {
          EncodedLabelWithMask const& match = entry.*field.getter;
          looked |= match.mask.value();
        }
    bits += static_cast<std::uint64_t>( std::bit_width( looked ) );
  };
  std::apply( [&]( auto const&... fields ) { ( addField( fields ), ... ); }, PDAclFilter::fields() );
  return bits;
}

void printTables( PDData const& snapshot ) {
  std::uint64_t entries = 0;
  std::uint64_t bits = 0;
  auto const add = [&]( std::uint64_t count, std::uint64_t keyWidth ) {
    entries += count;
    bits += count * ( keyWidth + kLabelBits );
  };
  for ( AddressFamily const family : { AddressFamily::ipv4, AddressFamily::ipv6 } )
    for ( bool const source : { true, false } )
      if ( auto const table = snapshot.pdPrefixXformEntryColl().find( PrefixXformKey( family, source ) ) )
        add( table->entry().size(), family == AddressFamily::ipv4 ? 32 : 128 );
  for ( RangeSetType const type : { RangeSetType::srcPort, RangeSetType::dstPort } )
    add( snapshot.rangeEntryColl( type )->entry().size(), 2 * kPortBits );
  printFact( "labelEntries", static_cast<double>( entries ) );
  printFact( "labelBits", static_cast<double>( bits ) );
}

}  // namespace

bool kick( Host::Policy const& policy, LabelPlacement placement ) {
  Test::TestChip chip;
  prepare( *chip.capability, placement );
  Host::buildAclConfig( policy, *chip.policy );
  Stopwatch const stopwatch;
  if ( chip.compile() != OrvexProgress::orvexFinishedSuccess ) {
    std::cerr << chip.rootStatus->kickMessage().view() << "\n";
    return false;
  }
  stopwatch.print();
  PDData const& snapshot = *chip.driver.loaded;
  printFact( "entries", static_cast<double>( snapshot.pdAclColl()->numFilters() ) );
  printFact( "keyBits", static_cast<double>( keyBits( *snapshot.pdAclColl() ) ) );
  printTables( snapshot );
  return true;
}

}  // namespace Orvex::Bench
