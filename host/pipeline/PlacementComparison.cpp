#include "pipeline/PlacementComparison.h"

#include <algorithm>
#include <bit>
#include <initializer_list>

#include "chip/SoftwareChip.h"
#include "pipeline/PlainExpansion.h"

namespace Orvex::Host {

namespace {

/// Over the factors of these fields.
double meanLength( std::vector<RuleUse> const& rules, std::initializer_list<TcamFieldType> fields ) {
  std::uint64_t entries = 0;
  std::uint64_t lists = 0;
  for ( RuleUse const& rule : rules )
    for ( Factor const& factor : rule.factors ) {
      if ( std::find( fields.begin(), fields.end(), factor.field ) == fields.end() ) continue;
      entries += factor.entries;
      ++lists;
    }
  return lists == 0 ? 0 : static_cast<double>( entries ) / static_cast<double>( lists );
}

/// The tables of a snapshot, in the order of their enumerations.
class BitCounter {
 public:
  BitCounter( PDData const& snapshot, ChipProfile const& profile ) {
    for ( PrefixXformKey const space : kPrefixSpaces )
      if ( auto const table = snapshot.pdPrefixXformEntryColl().find( space ) )
        add( tableText( space ), *table, profile.prefix( space ) );
    for ( Field const field : kFields )
      add( tableText( rangeTableOf( field ) ), *snapshot.rangeEntryColl( rangeTableOf( field ) ),
           profile.ranges[field] );
    for ( ComboLabelSetType const type : kCombos )
      add( tableText( type ), *snapshot.comboEntryColl( type ), profile.combo( type ) );
  }

  std::vector<TableBits> tables;
  std::uint64_t entries = 0;

 private:
  template <class Table>
  void add( std::string name, Table const& table, ChipProfile::Encoding const& encoding ) {
    if ( !encoding.isOn() || table.entry().empty() ) return;
    std::vector<std::uint16_t> labels;
    std::uint32_t differing = 0;
    for ( auto const& [key, entry] : table.entry() ) {
      labels.push_back( entry.value.value() );
      differing |= entry.value.value() ^ static_cast<std::uint32_t>( encoding.invalid );
    }
    std::sort( labels.begin(), labels.end() );
    labels.erase( std::unique( labels.begin(), labels.end() ), labels.end() );
    entries += table.entry().size();
    tables.push_back( { std::move( name ), labels.size(), static_cast<std::uint64_t>( std::bit_width( differing ) ) } );
  }
};

}  // namespace

PlacementFigures figuresOf( Policy const& policy, ChipProfile profile, LabelPlacement placement, ProofMode mode,
                            CompileOptions const& options ) {
  profile.labelPlacement = placement;
  SoftwareChip chip( Brae::ChipId( 0 ), profile );
  PlacementFigures figures;
  figures.placement = placement;
  figures.result = compileProved( policy, chip, options, mode );
  if ( !figures.isCompiled() ) return figures;
  CompileResult const& compiled = figures.result.compile;
  figures.entries = compiled.snapshot->pdAclColl()->numFilters();
  figures.addressListLength =
      meanLength( compiled.rules, { TcamFieldType::tcamFieldTypeSrcIp, TcamFieldType::tcamFieldTypeDstIp } );
  figures.portListLength =
      meanLength( compiled.rules, { TcamFieldType::tcamFieldTypeSrcPort, TcamFieldType::tcamFieldTypeDstPort } );
  BitCounter counter( *compiled.snapshot, profile );
  figures.labelEntries = counter.entries;
  figures.tables = std::move( counter.tables );
  return figures;
}

std::uint64_t plainEntries( Policy const& policy ) {
  std::uint64_t sum = 0;
  for ( Acl const& acl : policy.acls )
    for ( Rule const& rule : acl.rules ) {
      std::uint64_t const entries = plainEntries( rule );
      sum = entries > ~sum ? ~std::uint64_t{ 0 } : sum + entries;
    }
  return sum;
}

}  // namespace Orvex::Host
