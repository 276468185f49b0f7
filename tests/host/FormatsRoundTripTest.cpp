#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RandomPolicy.h"
#include "formats/ClassbenchWriter.h"
#include "formats/OpenConfigWriter.h"
#include "formats/Rfc8519Writer.h"
#include "host/InstanceTexts.h"
#include "host/PolicyNotation.h"
#include "host/SeedRange.h"
#include "policy/AclTextReader.h"
#include "policy/ClassbenchReader.h"
#include "policy/Normalise.h"
#include "policy/NumberNames.h"
#include "verify/BoxEngine.h"

namespace Orvex::Host::Test {

namespace {

/// A format that policies go to and come back from.
struct Format {
  std::string name;
  std::optional<std::string> ( *write )( LocatedPolicy const&, Diagnostics& );
  InstanceReading ( *read )( std::string );
  /// The share of random rules that it can hold, in per cent; below that the test looks at too little.
  std::uint64_t minimumShare;
};

InstanceReading readJson( std::string text ) { return readInstance( std::move( text ) ); }

InstanceReading readFilters( std::string text ) {
  InstanceReading reading;
  std::vector const files = { SourceFile::fromText( "acl0.txt", std::move( text ), reading.diagnostics ) };
  reading.located = readClassbench( files, { ClassbenchAction::permit, ClassbenchFlags::honour }, reading.diagnostics );
  return reading;
}

Format const kFormats[] = { { "RFC8519", rfc8519Text, readJson, 15 },
                            { "OpenConfig", openConfigText, readJson, 30 },
                            { "ClassBench", classbenchText, readFilters, 10 } };

std::uint32_t icmpOf( Vell::AddressFamily family ) { return family == Vell::AddressFamily::ipv4 ? kIcmp : kIcmp6; }

/// Random rules are seldom such that other formats can hold them. These have the protocol that their matches need, mostly
/// single values, and no actions that only this program has.
Policy plainPolicy( Random& random ) {
  static constexpr std::uint32_t kIcmpTypes[] = { 3, 128, 133, 0, 8, 5 };
  Policy policy = randomRawPolicy( random );
  for ( Acl& acl : policy.acls ) {
    acl.name += Kiv::stringValue( acl.family );
    for ( Rule& rule : acl.rules ) {
      OrvexActionValue action;
      action.dropEnabled = rule.action.dropEnabled;
      action.logEnabled = rule.action.logEnabled;
      rule.action = action;
      rule.tcpEstablished = rule.tcpEstablished && !rule.tcpInit;
      for ( Field const field : kFields ) {
        RangeSet& set = rule.ranges[field];
        if ( !set.empty() && random.percent( 60 ) ) set = { { set[0].first, set[0].first } };
      }
      if ( random.percent( 10 ) ) rule.ranges[Field::fragment] = { { 1, maximumOf( Field::fragment ) } };
      for ( SharedPrefixList* const list : { &rule.source, &rule.destination } )
        if ( *list && !( *list )->prefixes.empty() && random.percent( 50 ) )
          *list = std::make_shared<PrefixList const>( PrefixList{ { ( *list )->prefixes[0] }, {} } );
      if ( rule.tcpInit || rule.tcpEstablished ) rule.ranges[Field::icmpType].clear();
      std::uint32_t const protocol = !rule.ranges[Field::icmpType].empty() ? icmpOf( acl.family )
                                     : rule.tcpInit || rule.tcpEstablished ? kTcp
                                     : random.percent( 50 )                ? kTcp
                                                                           : kUdp;
      rule.ranges[Field::proto] = { { protocol, protocol } };
      if ( !rule.ranges[Field::icmpType].empty() ) {
        rule.ranges[Field::sport].clear();
        rule.ranges[Field::dport].clear();
        std::uint32_t const type = kIcmpTypes[random.below( 6 )];
        rule.ranges[Field::icmpType] = { { type, type } };
      }
    }
  }
  return policy;
}

bool canHold( Format const& format, Acl acl, Rule const& rule ) {
  acl.rules = { rule };
  Diagnostics diagnostics;
  return format.write( { normalised( Policy{ { acl } } ), {}, {} }, diagnostics ).has_value();
}

class FormatsRoundTrip : public testing::TestWithParam<Format> {};

/// Without the rules that stand for defaults of the original.
std::vector<std::string> namesOf( Policy const& policy, Policy const& original ) {
  std::vector<std::string> names;
  for ( std::size_t at = 0; at != original.acls.size(); ++at ) {
    names.push_back( policy.acls.at( at ).name );
    for ( std::size_t rule = 0; rule != original.acls[at].rules.size(); ++rule )
      names.push_back( policy.acls[at].rules.at( rule ).name );
  }
  return names;
}

}  // namespace

/// Rules that the format can hold alone it holds together; what comes back does the same to every packet; and what would
/// be written then is what has been written.
TEST_P( FormatsRoundTrip, BringsThePolicyBack ) {
  Format const& format = GetParam();
  bool const isClassbench = format.name == "ClassBench";
  std::uint64_t rules = 0;
  std::uint64_t held = 0;
  SeedRange const seeds = seedRange( 150 );
  for ( std::uint64_t seed = seeds.first; seed != seeds.first + seeds.count; ++seed ) {
    SCOPED_TRACE( "seed " + std::to_string( seed ) );
    Random random( seed );
    Policy policy = plainPolicy( random );
    if ( isClassbench ) {
      policy.acls.resize( 1 );
      policy.acls[0].name = "acl0";
      for ( Rule& rule : policy.acls[0].rules ) {
        rule.action = {};
        rule.name.clear();  // names go out as comments and do not come back
      }
    }
    for ( Acl& acl : policy.acls ) {
      rules += acl.rules.size();
      std::erase_if( acl.rules, [&]( Rule const& rule ) { return !canHold( format, acl, rule ); } );
      held += acl.rules.size();
    }
    if ( isClassbench && policy.acls[0].rules.empty() ) continue;
    policy = normalised( std::move( policy ) );
    Diagnostics diagnostics;
    auto const text = format.write( { policy, {}, {} }, diagnostics );
    bool const hasRoom = diagnostics.text().find( "no number left" ) == std::string::npos;
    if ( !hasRoom ) continue;
    ASSERT_TRUE( text ) << diagnostics.text();
    auto const back = format.read( *text );
    ASSERT_TRUE( back.located ) << back.diagnostics.text() << *text;
    auto const comparison = Verify::equal( policy, back.located->policy );
    ASSERT_EQ( Verify::Outcome::equal, comparison.outcome ) << comparison.reason << *text;
    // A default of permit has become a rule.
    std::size_t const closing = policy.acls[0].defaultAction == DefaultAction::permit ? 1 : 0;
    EXPECT_EQ( policy.acls[0].rules.size() + closing, back.located->policy.acls[0].rules.size() );
    if ( !isClassbench ) {
      EXPECT_EQ( namesOf( policy, policy ), namesOf( back.located->policy, policy ) );
    }
    EXPECT_EQ( *text, format.write( *back.located, diagnostics ) );
  }
  EXPECT_GE( 100 * held, format.minimumShare * rules );
}

INSTANTIATE_TEST_SUITE_P( Formats, FormatsRoundTrip, testing::ValuesIn( kFormats ),
                          []( auto const& test ) { return test.param.name; } );

TEST( FormatLosses, AreAllToldWithEveryRule ) {
  Diagnostics diagnostics;
  auto const file = SourceFile::fromText( "edge.acl",
                                          "ip access-list edge\n"
                                          " 10 permit tcp any any established set-tc 1\n"
                                          " 20 permit ip any none\n"
                                          " 30 deny tcp any any init ttl 1 2 log\n"
                                          "ipv6 access-list edge\n"
                                          " 10 permit tcp any any init\n",
                                          diagnostics );
  auto const located = readAclText( { file }, diagnostics );
  ASSERT_TRUE( located );
  auto const lossesOf = [&]( auto const& write ) {
    Diagnostics losses;
    EXPECT_FALSE( write( *located, losses ) );
    std::vector<std::string> texts;
    for ( Diagnostic const& each : losses.sorted() )
      texts.push_back( std::to_string( each.place.line ) + ": " + each.problem );
    return texts;
  };
  EXPECT_THAT(
      lossesOf( rfc8519Text ),
      testing::UnorderedElementsAre(
          "2: RFC 8519 has no TCP flags for init and established: ipv4 edge 10, 30; ipv6 edge 10",
          "2: RFC 8519 has no action that sets the traffic class: ipv4 edge 10",
          "3: RFC 8519 matches one source prefix and one destination prefix: ipv4 edge 20",
          "4: RFC 8519 matches one TTL: ipv4 edge 30", "5: RFC 8519 names ACLs of both families apart: ipv6 edge" ) );
  EXPECT_THAT( lossesOf( openConfigText ),
               testing::UnorderedElementsAre( "2: OpenConfig has no action that sets the traffic class: ipv4 edge 10",
                                              "3: OpenConfig has no set that matches no address: ipv4 edge 20",
                                              "4: OpenConfig matches one hop limit: ipv4 edge 30" ) );
  EXPECT_THAT( lossesOf( classbenchText ), testing::SizeIs( 6 ) );
}

}  // namespace Orvex::Host::Test
