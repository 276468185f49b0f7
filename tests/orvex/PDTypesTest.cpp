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

}  // namespace
}  // namespace Orvex
