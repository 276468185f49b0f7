#include "policy/AclConfigBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "Kiv/Exception.h"
#include "chip/ChipProfile.h"
#include "host/PolicyNotation.h"
#include "orvex/TestPolicy.h"
#include "policy/Normalise.h"

namespace Orvex::Host::Test {

namespace {

Kiv::Ptr<AclConfigColl> built( std::vector<Acl> acls ) {
  auto const config = Kiv::make<AclConfigColl>( Brae::ChipId( 1 ) );
  buildAclConfig( normalised( { std::move( acls ) } ), *config );
  return config;
}

RuleConfig const& ruleAt( AclConfigColl const& config, char const* acl, std::uint32_t index ) {
  return *config.acl().find( Kiv::String( acl ) )->ruleById().find( AceIndex( index ) );
}

/// What the library's filter matches, in the notation.
std::string filterText( RuleFilter const& filter ) {
  Rule rule;
  auto const list = []( Kiv::Ptr<IpPrefixList> const& from ) -> SharedPrefixList {
    if ( !from ) return nullptr;
    PrefixList to;
    for ( auto const& prefix : from->addr() ) to.prefixes.push_back( prefix );
    for ( auto const& prefix : from->exceptAddr() ) to.excepts.push_back( prefix );
    std::sort( to.prefixes.begin(), to.prefixes.end() );
    std::sort( to.excepts.begin(), to.excepts.end() );
    return std::make_shared<PrefixList const>( to );
  };
  rule.source = list( filter.source() );
  rule.destination = list( filter.destination() );
  for ( Field const field : kFields )
    for ( auto const& [first, last] : Orvex::Test::rangesOf( filter, rangeTableOf( field ) ) )
      rule.ranges[field].push_back( { first, last } );
  rule.tcpInit = filter.matchTcpInit();
  rule.tcpEstablished = filter.matchTcpEstablished();
  return textOf( rule );
}

}  // namespace

TEST( AclConfigBuilder, EveryFieldArrives ) {
  std::string const everything =
      "source 10.0.0.0/8 12.0.0.0/8 !10.1.0.0/16; destination 192.0.2.1/32; sport 1-2 5; dport 80; icmpType 3; proto "
      "6; "
      "length 64-65535; fragment 0-1; dscp 46; ttl 255; init; established";
  Rule full = rule( 10, everything );
  full.name = "web";
  full.action = OrvexActionValue( true, true, Vell::DscpValue( 46 ), true, OrvexTrafficClass( 3 ), true, true );
  auto const config = built( { acl( "ipv4 edge", { rule( 20, "" ), full } ) } );

  RuleConfig const& web = ruleAt( *config, "ipv4/edge", 10 );
  EXPECT_EQ( everything, filterText( *web.ruleFilter() ) );
  EXPECT_EQ( "web", web.name().view() );
  EXPECT_EQ( full.action, web.action() );
  EXPECT_TRUE( config->acl().find( "ipv4/edge" )->ruleByNameHas( "web" ) );
  EXPECT_EQ( "", filterText( *ruleAt( *config, "ipv4/edge", 20 ).ruleFilter() ) );
  EXPECT_EQ( "20", ruleAt( *config, "ipv4/edge", 20 ).name().view() );
}

TEST( AclConfigBuilder, LibraryNamesLeadBackToTheUsersNames ) {
  auto const back = []( char const* name ) { return userAclName( libraryAclName( Vell::AddressFamily::ipv6, name ) ); };
  EXPECT_EQ( std::pair( Vell::AddressFamily::ipv6, std::string( "edge-in" ) ), back( "edge-in" ) );
  EXPECT_EQ( std::pair( Vell::AddressFamily::ipv6, std::string( "a/b" ) ), back( "a/b" ) );
  EXPECT_THROW( userAclName( "edge-in" ), Kiv::ParseException );
  EXPECT_THROW( userAclName( "ipv5/edge-in" ), Kiv::ParseException );
}

}  // namespace Orvex::Host::Test
