#include "ListPolicy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
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
using Vell::AddressFamily;
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

std::set<IpGenPrefix> listed( std::vector<Kiv::Ptr<IpPrefixList>> const& lists ) {
  std::set<IpGenPrefix> all;
  for ( auto const& list : lists ) all.merge( sorted( list->addr() ) );
  return all;
}

/// Most prefixes of the set that contain one another. In their order an outer prefix comes before the inner ones.
std::size_t deepestNesting( std::set<IpGenPrefix> const& prefixes ) {
  std::vector<IpGenPrefix> chain;
  std::size_t deepest = 0;
  for ( IpGenPrefix const& each : prefixes ) {
    while ( !chain.empty() && !chain.back().contains( each ) ) chain.pop_back();
    chain.push_back( each );
    deepest = std::max( deepest, chain.size() );
  }
  return deepest;
}

bool exceptsLieWithinPrefixes( IpPrefixList const& list ) {
  auto const prefixes = sorted( list.addr() );
  for ( IpGenPrefix const& except : list.exceptAddr() )
    if ( prefixes.count( except ) != 0 ||
         std::none_of( prefixes.begin(), prefixes.end(), [&]( auto const& each ) { return each.contains( except ); } ) )
      return false;
  return true;
}

TEST( ListPolicy, ASeedNamesOnePolicyOnEveryMachine ) {
  ListPolicyParameters parameters;
  std::string const first = text( *makeListPolicy( parameters ).config );
  EXPECT_EQ( 7754983635706202720U, digest( first ) );
  EXPECT_EQ( first, text( *makeListPolicy( parameters ).config ) );
  parameters.seed = 2;
  EXPECT_NE( first, text( *makeListPolicy( parameters ).config ) );
}

TEST( ListPolicy, HasTheShapeThatItsParametersAskFor ) {
  for ( ListShape const shape : { ListShape::sites, ListShape::scattered } )
    for ( AddressFamily const family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      SCOPED_TRACE( testing::Message() << family << " scattered " << ( shape == ListShape::scattered ) );
      ListPolicyParameters parameters;
      parameters.family = family;
      parameters.shape = shape;
      auto const lists = makeListPolicy( parameters ).prefixLists;

      std::set<std::string> different;
      std::size_t listedPrefixes = 0;
      std::size_t excepts = 0;
      for ( auto const& list : lists.lists ) {
        different.insert( text( list ) );
        listedPrefixes += list->addr().size();
        excepts += list->exceptAddr().size();
        EXPECT_NEAR( 200.0, static_cast<double>( list->addr().size() ), 32.0 );
        EXPECT_TRUE( exceptsLieWithinPrefixes( *list ) ) << text( list );
      }
      EXPECT_EQ( 200U, different.size() );
      EXPECT_NEAR( 200.0, static_cast<double>( listedPrefixes ) / 200, 10.0 );
      EXPECT_NEAR( 0.05, static_cast<double>( excepts ) / static_cast<double>( listedPrefixes ), 0.005 );
      auto const all = listed( lists.lists );
      EXPECT_EQ( 20000U, all.size() );
      EXPECT_EQ( lists.deepestNesting, deepestNesting( all ) );
      EXPECT_THAT( lists.deepestNesting, AllOf( testing::Ge( 2U ), testing::Le( 12U ) ) );
      EXPECT_EQ( listedPrefixes, lists.listedPrefixes );
      EXPECT_EQ( excepts, lists.excepts );
    }
}

TEST( ListPolicy, SitesNeedFarFewerLabelsThanTheStressForm ) {
  auto const sites = makeListPolicy( {} ).prefixLists;
  EXPECT_LT( sites.distinctGroups, sites.distinctPrefixes / 20 );
  auto const stress = makeListPolicy( stressParameters() ).prefixLists;
  EXPECT_GT( stress.distinctGroups, stress.distinctPrefixes * 9 / 10 );
}

TEST( ListPolicy, RulesShareTheirPrefixListsAndPortLists ) {
  auto const policy = makeListPolicy( {} );
  std::set<IpPrefixList const*> sources;
  std::set<IpPrefixList const*> destinations;
  std::set<std::string> ports;
  for ( auto const [index, rule] : onlyAcl( *policy.config ).ruleById() ) {
    sources.insert( rule->ruleFilter()->source().get() );
    destinations.insert( rule->ruleFilter()->destination().get() );
    ports.insert( text( rule->ruleFilter()->dportRange() ) );
  }
  EXPECT_EQ( 2000U, onlyAcl( *policy.config ).ruleById().size() );
  EXPECT_EQ( 200U, sources.size() );
  EXPECT_EQ( sources, destinations );
  EXPECT_EQ( 60U + 1U, ports.size() );  // and the rules that name none
  for ( auto const& list : policy.portLists ) EXPECT_EQ( list, normalised( list ) );
}

TEST( ListPolicy, RangesThatOverlapOrTouchBecomeOne ) {
  EXPECT_THAT( normalised( { { 30, 40 }, { 10, 19 }, { 20, 25 }, { 12, 15 }, { 65535, 65535 } } ),
               ElementsAre( L4PortRange( 10, 25 ), L4PortRange( 30, 40 ), L4PortRange( 65535, 65535 ) ) );
  EXPECT_THAT( normalised( { { 1000, 65535 }, { 0, 999 } } ), ElementsAre() );
}

TEST( SinglePolicies, SeparatePrefixesAreDistinctAndNestTwelveDeep ) {
  for ( AddressFamily const family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
    auto const config = separatePrefixes( 5000, family );
    std::vector<Kiv::Ptr<IpPrefixList>> lists;
    for ( auto const [index, rule] : onlyAcl( *config ).ruleById() ) lists.push_back( rule->ruleFilter()->source() );
    EXPECT_EQ( 5000U, listed( lists ).size() );
    EXPECT_EQ( 12U, deepestNesting( listed( lists ) ) );
  }
}

TEST( SinglePolicies, LabelGridNeedsALabelForEachOfItsPrefixes ) {
  auto const config = labelGrid();
  std::map<IpGenPrefix, std::set<IpPrefixList const*>> listsOf;
  for ( auto const [index, rule] : onlyAcl( *config ).ruleById() )
    for ( auto const& list : { rule->ruleFilter()->source(), rule->ruleFilter()->destination() } )
      for ( IpGenPrefix const& prefix : list->addr() ) listsOf[prefix].insert( list.get() );
  std::set<std::set<IpPrefixList const*>> groups;
  for ( auto const& [prefix, lists] : listsOf ) groups.insert( lists );
  EXPECT_EQ( 500U + 500U, groups.size() );
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
