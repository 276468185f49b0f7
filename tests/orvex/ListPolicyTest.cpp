#include "ListPolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "FilterSet.h"
#include "PolicyBuilder.h"
#include "SinglePolicies.h"

namespace Orvex::Bench {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;
using Vell::IpGenPrefix;

AclConfig const& onlyAcl( AclConfigColl const& config ) {
  for ( auto const [name, acl] : config.acl() ) return *acl;
  throw std::logic_error( "no ACL" );
}

template <class Set>
auto sorted( Set const& set ) {
  std::set<typename Set::Key> members;
  for ( auto const& member : set ) members.insert( member );
  return members;
}

std::string text( Kiv::Ptr<IpPrefixList> const& list ) {
  if ( !list ) return "any";
  std::ostringstream out;
  for ( IpGenPrefix const& each : sorted( list->addr() ) ) out << each << ' ';
  for ( IpGenPrefix const& each : sorted( list->exceptAddr() ) ) out << '!' << each << ' ';
  return out.str();
}

template <class Ranges>
std::string text( Ranges const& ranges ) {
  std::ostringstream out;
  for ( auto const& each : sorted( ranges ) ) out << each.rangeStart() << '-' << each.rangeEnd() << ' ';
  return out.str();
}

/// Everything that the generators and the reader put into a policy.
std::string text( AclConfigColl const& config ) {
  std::ostringstream out;
  for ( auto const [index, rule] : onlyAcl( config ).ruleById() ) {
    RuleFilter const& filter = *rule->ruleFilter();
    out << index.value() << " from " << text( filter.source() ) << "to " << text( filter.destination() ) << "sport "
        << text( filter.sportRange() ) << "dport " << text( filter.dportRange() ) << "proto " << text( filter.proto() )
        << "icmp " << text( filter.icmpType() ) << ( filter.matchTcpInit() ? "init " : "" )
        << ( rule->action().dropEnabled ? "drop\n" : "permit\n" );
  }
  return out.str();
}

/// FNV-1a.
std::uint64_t digest( std::string const& characters ) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for ( char const character : characters ) hash = ( hash ^ static_cast<unsigned char>( character ) ) * 0x100000001B3;
  return hash;
}

TEST( ListPolicy, ASeedNamesOnePolicyOnEveryMachine ) {
  ListPolicyParameters parameters;
  std::string const first = text( *makeListPolicy( parameters ).config );
  EXPECT_EQ( 7754983635706202720U, digest( first ) );
  EXPECT_EQ( first, text( *makeListPolicy( parameters ).config ) );
  parameters.seed = 2;
  EXPECT_NE( first, text( *makeListPolicy( parameters ).config ) );
}

TEST( ListPolicy, RangesThatOverlapOrTouchBecomeOne ) {
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
      "0 from 0.0.0.0/0 to 10.0.0.0/8 sport dport 80-443 proto 6-6 icmp init permit\n"
      "1 from 0.0.0.0/0 to 10.0.0.0/8 sport 1-2 dport proto 1-1 icmp 8-8 permit\n"
      "2 from 0.0.0.0/0 to 10.0.0.0/8 sport dport proto icmp permit\n"
      "3 from 0.0.0.0/0 to 10.0.0.0/8 sport dport proto 6-6 icmp permit\n",
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
  EXPECT_THAT( text( *readText( any + any, options ).config ),
               AllOf( HasSubstr( "0 from ::/0 to any" ), HasSubstr( "1 from anyto any" ) ) );
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
