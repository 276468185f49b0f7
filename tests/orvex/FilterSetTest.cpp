#include "FilterSet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "PolicyBuilder.h"
#include "orvex/AggregatorModel.h"

namespace Orvex::Bench {
namespace {

using Test::textOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

/// The rules of the only ACL, in the notation, and what they do.
std::string text( AclConfigColl const& config ) {
  Kiv::Ptr<AclConfig> const acl = config.acl().begin().value();
  std::string all;
  for ( auto const [index, rule] : acl->ruleById() ) {
    RuleFilter const& filter = *rule->ruleFilter();
    all += std::to_string( index.value() );
    if ( auto const list = filter.source() )
      all.append( " source" ).append( textOf( list->addr(), list->exceptAddr() ) );
    if ( auto const list = filter.destination() )
      all.append( " destination" ).append( textOf( list->addr(), list->exceptAddr() ) );
    for ( std::size_t field = 0; field != Test::kRangeFieldCount; ++field )
      if ( auto const ranges = Test::rangesOf( filter, static_cast<RangeSetType>( field ) ); !ranges.empty() )
        all.append( " " ).append( Test::kRangeFields[field] ).append( textOf( ranges ) );
    if ( filter.matchTcpInit() ) all += " init";
    all += rule->action().dropEnabled ? ": drop\n" : ": permit\n";
  }
  return all;
}

TEST( PolicyBuilder, RangesThatOverlapOrTouchBecomeOne ) {
  EXPECT_THAT( normalised( { { 30, 40 }, { 10, 19 }, { 20, 25 }, { 12, 15 }, { 65535, 65535 } } ),
               ElementsAre( L4PortRange( 10, 25 ), L4PortRange( 30, 40 ), L4PortRange( 65535, 65535 ) ) );
  EXPECT_THAT( normalised( { { 1000, 65535 }, { 0, 999 } } ), ElementsAre() );
}

FilterSet readText( std::string const& characters, FilterSetOptions const& options = {} ) {
  std::istringstream in( characters );
  return readFilterSet( in, "set.txt", options );
}

std::string const kFilters =
    "# two filters\n\n"
    "@0.0.0.0/0\t10.0.0.0/8\t0 : 65535\t80 : 443\t0x06/0xFF\t0x0200/0x1200\t\n"
    "@0.0.0.0/0  10.0.0.0/8  1:2  0 : 65535  0x01/0xff  0x0800/0xff00  7 \r\n"
    "@0.0.0.0/0  10.0.0.0/8  0 : 65535  0 : 65535  0x00/0x00\n"
    "@0.0.0.0/0  10.0.0.0/8  0 : 65535  0 : 65535  0x06/0xFF 0x1000/0x1000\n";

TEST( FilterSet, ARuleNamesWhatItsFilterRestricts ) {
  auto const set = readText( kFilters );
  EXPECT_EQ(
      "0 source 0.0.0.0/0 destination 10.0.0.0/8 dport 80-443 proto 6-6 init: permit\n"
      "1 source 0.0.0.0/0 destination 10.0.0.0/8 sport 1-2 icmp 8-8 proto 1-1: permit\n"
      "2 source 0.0.0.0/0 destination 10.0.0.0/8: permit\n"
      "3 source 0.0.0.0/0 destination 10.0.0.0/8 proto 6-6: permit\n",
      text( *set.config ) );
  EXPECT_EQ( 4U, set.filters );
  EXPECT_EQ( 2U, set.prefixLists );
  EXPECT_EQ( 1U, set.flagsLeftOut );
}

TEST( FilterSet, ListsCanBeOneForEachRuleAndAnyCanBeAbsent ) {
  FilterSetOptions options;
  options.internLists = false;
  EXPECT_EQ( 8U, readText( kFilters, options ).prefixLists );
  options.keepAnyLists = false;
  EXPECT_EQ( 4U, readText( kFilters, options ).prefixLists );
  std::string const any = "@::/0 ::/0 0:65535 0:65535 0x00/0x00\n";
  EXPECT_EQ( "0 source ::/0: permit\n1: permit\n", text( *readText( any + any, options ).config ) );
}

TEST( FilterSet, WhatIsMalformedIsNamedWithItsLine ) {
  struct {
    std::string line, message;
  } const cases[] = {
      { "10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFF", "set.txt:2: error: the line begins with '10.0.0.0/8'; a filter" },
      { "@10.0.0.0/33 0.0.0.0/0 0:1 0:1 0x06/0xFF", "set.txt:2: error: source prefix '10.0.0.0/33' cannot be read" },
      { "@10.0.0.0/8 ::/0 0:1 0:1 0x06/0xFF", "different families; both must be" },
      { "@::/0 ::/0 0:1 0:1 0x06/0xFF", "another family than those before it; a set is all" },
      { "@10.0.0.0/8 0.0.0.0/0 0:65536 0:1 0x06/0xFF", "source port '65536' is not a number in the range; wanted" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 2 0x06/0xFF", "the destination port range has no colon; a range is" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 3:2 0x06/0xFF", "destination port range 3 : 2 is upside down; the lower" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1", "protocol '' cannot be read; wanted VALUE/MASK" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFE", "protocol mask 254 takes a part of the number; the mask is" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFF 0x10000/0x0", "flags '0x10000' is not a number in the range" },
      { "@10.0.0.0/8 0.0.0.0/0 0:1 0:1 0x06/0xFF 0x0/0x0 x", "extra field 'x' is not a number" } };
  for ( auto const& each : cases )
    EXPECT_THAT( [&] { readText( "@1.0.0.0/8 2.0.0.0/8 0:1 0:1 0x06/0xFF\n" + each.line ); },
                 ThrowsMessage<FilterSetError>( HasSubstr( each.message ) ) );
  EXPECT_THAT( [] { readText( "# nothing\n" ); }, ThrowsMessage<FilterSetError>( HasSubstr( "there is no filter" ) ) );
  EXPECT_THAT( [] { readFilterSet( "absent.txt" ); },
               ThrowsMessage<FilterSetError>( HasSubstr( "absent.txt: error" ) ) );
}

}  // namespace
}  // namespace Orvex::Bench
