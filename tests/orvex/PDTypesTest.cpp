#include "Orvex/OrvexPDTypes.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "orvex/TestExpander.h"

namespace Orvex {
namespace {

using Test::ternary;

/// Filters that have one label more than an empty one has, in each field in turn, and the same with one mask bit more.
std::vector<PDAclFilter> filtersWithOneField() {
  std::vector<PDAclFilter> filters;
  auto const add = [&]( auto place ) {
    for ( char const* const bits :
          { "****************", "0***************", "1***************", "000000000000000*" } ) {
      PDAclFilter filter;
      filter.*place = ternary( bits );
      filters.push_back( filter );
    }
  };
  std::apply( [&]( auto const&... field ) { ( add( field.getter ), ... ); }, PDAclFilter::fields() );
  return filters;
}

TEST( PDAclFilter, FiltersThatDifferInOneFieldAreTwoEntriesWithTwoHashesAndTwoTexts ) {
  auto const filters = filtersWithOneField();
  std::set<PDAclFilter> const distinct( filters.begin(), filters.end() );
  ASSERT_EQ( 14U * 3 + 1, distinct.size() );  // an empty field is the same filter wherever it is
  std::set<std::uint32_t> hashes;
  std::set<Kiv::String> texts;
  auto const rule = Kiv::make<PDAclRule>( AceIndex( 1 ) );
  for ( PDAclFilter const& filter : filters ) {
    hashes.insert( filter.hash() );
    texts.insert( Kiv::valueToStrep( filter ) );
    rule->filterIs( filter );
    EXPECT_EQ( filter, Kiv::strepToValue<PDAclFilter>( Kiv::valueToStrep( filter ).view() ) );
  }
  EXPECT_EQ( distinct.size(), hashes.size() );
  EXPECT_EQ( distinct.size(), texts.size() );
  EXPECT_EQ( distinct.size(), rule->filter().size() );
}

TEST( PDAclFilter, FieldsCountForTheOrderAsTheyStandLabelsBeforeMasks ) {
  auto const with = []( std::string const& source, std::string const& tcpFlag ) {
    PDAclFilter filter;
    filter.source = ternary( source );
    filter.tcpFlag = ternary( tcpFlag );
    return filter;
  };
  std::vector<PDAclFilter> const ascending = { with( "***", "***" ), with( "***", "*0*" ), with( "***", "111" ),
                                               with( "**0", "***" ), with( "00*", "***" ), with( "0*1", "***" ),
                                               with( "001", "***" ), with( "001", "*1*" ), with( "1**", "***" ) };
  for ( std::size_t i = 0; i != ascending.size(); ++i )
    for ( std::size_t j = 0; j != ascending.size(); ++j ) EXPECT_EQ( i <=> j, ascending[i] <=> ascending[j] );
}

TEST( PDData, EachNameIsATableOfItsOwn ) {
  PDData const data;
  std::set<Kiv::Entity const*> tables;
  for ( auto const& table :
        { data.pdV4PrefixComboEntryColl(), data.pdV6PrefixComboEntryColl(), data.pdPortComboEntryColl() } )
    tables.insert( table.get() );
  std::vector<PDData::RangeColl> const ranges = {
      data.pdSrcPortXformEntryColl(),  data.pdDstPortXformEntryColl(), data.pdIcmpXformEntryColl(),
      data.pdProtocolXformEntryColl(), data.pdLengthXformEntryColl(),  data.pdFragmentXformEntryColl(),
      data.pdDscpXformEntryColl(),     data.pdTtlXformEntryColl(),     data.pdTcpFlagsXformEntryColl() };
  for ( auto const& table : ranges ) tables.insert( table.get() );
  EXPECT_EQ( 12U, tables.size() );
  for ( std::uint32_t type = 0; type != 8; ++type )
    EXPECT_EQ( ranges[type], data.rangeEntryColl( static_cast<RangeSetType>( type ) ) );
}

/// The loader goes by types, and drivers by names.
TEST( PDStatus, EachNameIsAnAnswerOfItsOwn ) {
  auto const status = Kiv::make<PDStatus>( Brae::ChipId( 1 ) );
  using Set = void ( PDStatus::* )( ResourceStatus const& );
  Set const sets[] = { &PDStatus::pdSrcPortXformEntryStatusIs,  &PDStatus::pdDstPortXformEntryStatusIs,
                       &PDStatus::pdIcmpXformEntryStatusIs,     &PDStatus::pdProtocolXformEntryStatusIs,
                       &PDStatus::pdLengthXformEntryStatusIs,   &PDStatus::pdFragmentXformEntryStatusIs,
                       &PDStatus::pdDscpXformEntryStatusIs,     &PDStatus::pdTtlXformEntryStatusIs,
                       &PDStatus::pdV4PrefixComboEntryStatusIs, &PDStatus::pdV6PrefixComboEntryStatusIs,
                       &PDStatus::pdPortComboEntryStatusIs,     &PDStatus::pdTcpFlagsXformEntryStatusIs,
                       &PDStatus::pdAclRuleIpv4EntryStatusIs,   &PDStatus::pdAclRuleIpv6EntryStatusIs };
  double id = 0;
  for ( Set const set : sets ) ( status.get()->*set )( { ++id, ResponseState::loaded } );
  id = 0;
  for ( std::uint32_t type = 0; type != 8; ++type )
    EXPECT_EQ( ++id, status->rangeEntryStatus( static_cast<RangeSetType>( type ) ).responseId );
  for ( std::uint32_t type = 0; type != 3; ++type )
    EXPECT_EQ( ++id, status->comboEntryStatus( static_cast<ComboLabelSetType>( type ) ).responseId );
  EXPECT_EQ( ++id, status->pdTcpFlagsXformEntryStatus().responseId );
  EXPECT_EQ( ++id, status->pdAclRuleIpv4EntryStatus().responseId );
  EXPECT_EQ( ++id, status->pdAclRuleIpv6EntryStatus().responseId );
}

}  // namespace
}  // namespace Orvex
