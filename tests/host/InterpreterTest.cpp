#include "verify/Interpreter.h"

#include <gtest/gtest.h>

#include <map>

#include "RandomPolicy.h"
#include "host/PaintedWorld.h"
#include "host/PolicyNotation.h"
#include "packets/BoundaryPackets.h"
#include "policy/Normalise.h"

namespace Orvex::Host::Test {

using Verify::interpret;
using Verify::Packet;

namespace {

constexpr char kIpv4[] = "10.1.2.3 192.0.2.1";

}  // namespace

TEST( Interpreter, TheFirstRuleThatMatchesDecidesAndTheDefaultDecidesTheRest ) {
  Policy const policy =
      normalised( { { acl( "ipv4 a", { rule( 30, "ttl 1-3" ), rule( 20, "ttl 2" ), rule( 11, "ttl 3" ) } ),
                      acl( "ipv4 b permit", {} ) } } );
  auto const verdict = [&]( char const* name, char const* ttl ) {
    Packet const asked = packet( std::string( kIpv4 ) + "; ttl " + ttl );
    auto const answer = interpret( Verify::aclFor( policy, name, asked ), asked );
    return ( answer.rule ? std::to_string( *answer.rule ) : "miss" ) +
           ( answer.action.dropEnabled ? " deny" : " permit" );
  };
  EXPECT_EQ( "30 permit", verdict( "a", "1" ) );
  EXPECT_EQ( "20 permit", verdict( "a", "2" ) );
  EXPECT_EQ( "11 deny", verdict( "a", "3" ) );
  EXPECT_EQ( "miss deny", verdict( "a", "4" ) );
  EXPECT_EQ( "miss permit", verdict( "b", "1" ) );
}

TEST( Interpreter, QuestionsWithoutAnswerAreRefused ) {
  Policy const policy = normalised( { { acl( "ipv4 edge", { rule( 1, "" ) } ) } } );
  auto const answer = [&]( Packet const& asked ) {
    try {
      interpret( Verify::aclFor( policy, "edge", asked ), asked );
    } catch ( Verify::QuestionError const& error ) {
      return std::string( error.what() );
    }
    return std::string( "an answer" );
  };
  Packet network = packet( kIpv4 );
  network.source = prefix( "10.0.0.0/8" );
  EXPECT_EQ( "an answer", answer( packet( kIpv4 ) ) );
  EXPECT_EQ( "10.0.0.0/8 is not one address", answer( network ) );
  EXPECT_EQ( "the packet's source is ipv4 and its destination ipv6", answer( packet( "10.0.0.1 ::1" ) ) );
  EXPECT_EQ( "there is no ipv6 ACL edge", answer( packet( "::1 ::1" ) ) );
  EXPECT_EQ( "dscp 64 is beyond the field; its values are 0-63", answer( packet( "10.0.0.1 10.0.0.2; dscp 64" ) ) );
  EXPECT_THROW( interpret( policy.acls[0], packet( "::1 ::1" ) ), Verify::QuestionError );
}

/// The raw policy as the oracle paints it, the normalised one as the interpreter reads it. So normalising changes no
/// meaning. Rules, misses and fragments are all met often.
TEST( Interpreter, AgreesWithThePaintedWorldOnRandomPolicies ) {
  std::map<std::string, int> seen;
  int packetsAsked = 0;
  for ( std::uint64_t seed = 0; seed != 300; ++seed ) {
    Random random( seed );
    Policy const raw = randomRawPolicy( random );
    Policy const policy = normalised( raw );
    for ( Acl const& written : raw.acls ) {
      PaintedAcl const painted( written );
      BoundaryPackets packets( random, written );
      for ( int i = 0; i != 60; ++i, ++packetsAsked ) {
        Packet const asked = packets.next();
        auto const want = painted.rule( asked );
        Acl const& acl = Verify::aclFor( policy, written.name, asked );
        ASSERT_EQ( want, interpret( acl, asked ).rule ) << "seed " << seed << "\n"
                                                        << textOf( written ) << textOf( asked );
        ++seen[!want ? "miss" : *want == acl.rules.front().index ? "first rule" : "later rule"];
        seen["fragment"] += asked.isHeadFragment() ? 0 : 1;
      }
    }
  }
  for ( char const* const kind : { "miss", "first rule", "later rule", "fragment" } )
    EXPECT_GT( seen[kind], packetsAsked / 10 ) << kind << " of " << packetsAsked;
}

/// Each of five nested prefixes absent, listed, excepted or both; each address in them and beside them.
TEST( Interpreter, AgreesWithThePaintedWorldOnEveryListOfATinyWorld ) {
  std::vector<Vell::IpGenPrefix> const tree = { prefix( "10.0.0.0/29" ), prefix( "10.0.0.0/30" ),
                                                prefix( "10.0.0.2/31" ), prefix( "10.0.0.2/32" ),
                                                prefix( "10.0.0.4/30" ) };
  for ( std::uint32_t kind = 0; kind != 1U << 2 * tree.size(); ++kind ) {
    PrefixList list;
    for ( std::size_t at = 0; at != tree.size(); ++at ) {
      if ( ( kind >> 2 * at & 1U ) != 0 ) list.prefixes.push_back( tree[at] );
      if ( ( kind >> 2 * at & 2U ) != 0 ) list.excepts.push_back( tree[at] );
    }
    for ( std::uint32_t address = 0x09FFFFFF; address != 0x0A000009; ++address ) {
      Vell::IpGenPrefix const host( address, 32 );
      ASSERT_EQ( isPainted( list, host ), Verify::matches( std::make_shared<PrefixList const>( list ), host ) )
          << textOf( list ) << " and " << host;
    }
  }
}

}  // namespace Orvex::Host::Test
