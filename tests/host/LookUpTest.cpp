#include "verify/LookUp.h"

#include <gtest/gtest.h>

#include "host/PolicyNotation.h"

namespace Orvex::Host::Test {

/// That look-ups find what is there is shown by those that agree with the interpreter (CompileTest) and the prover
/// (SmallWorldTest).
TEST( LookUp, WhatIsNotThereIsAMiss ) {
  PDData snapshot;
  auto const verdict = [&]( char const* text, char const* acl = "acl" ) {
    return lookUp( snapshot, {}, acl, actionOf( DefaultAction::deny ), packet( text ) );
  };
  Verify::Verdict const miss{ std::nullopt, actionOf( DefaultAction::deny ) };
  EXPECT_EQ( miss, verdict( "10.0.0.1 10.0.0.2" ) ) << "no ACLs";
  auto const acls = Kiv::make<PDAclColl>();
  acls->pdAclIs( PDAclKey( Vell::AddressFamily::ipv6, "acl" ) )->ruleIs( AceIndex( 1 ) )->filterIs( PDAclFilter() );
  snapshot.pdAclCollIs( acls );
  EXPECT_EQ( miss, verdict( "10.0.0.1 10.0.0.2" ) ) << "an ACL of the other family";
  EXPECT_EQ( 1U, verdict( "::1 ::2" ).rule );
  EXPECT_EQ( miss, verdict( "::1 ::2", "other" ) ) << "another ACL";
  EXPECT_THROW( verdict( "::1 10.0.0.2" ), Verify::QuestionError );
}

}  // namespace Orvex::Host::Test
