#pragma once

/// Policies and packets in short notation, both ways:
///
///     prefixes( "10.0.0.0/8 !10.1.0.0/16" )            a list; "!" stands before what it leaves out
///     rule( 10, "source 10.0.0.0/8; dport 80 443-445; established" )
///     acl( "ipv6 edge", { rule( 10, "init" ), ... } )    denies what no rule matches; "ipv6 edge permit" permits it
///     packet( "10.0.0.1 10.0.0.2; dport 80; tcpFlags 18" )
///
/// The text forms name things in this order: source, destination, the range fields, init, established.

#include <string>
#include <vector>

#include "policy/Policy.h"
#include "verify/Packet.h"

namespace Orvex::Host::Test {

Vell::IpGenPrefix prefix( std::string const& text );
SharedPrefixList prefixes( std::string const& text );
RangeSet ranges( std::string const& text );
/// The rule drops when its index is odd, so that actions tell rules apart.
Rule rule( std::uint32_t index, std::string const& text );
Acl acl( std::string const& text, std::vector<Rule> rules );
Verify::Packet packet( std::string const& text );

std::string textOf( PrefixList const& list );
std::string textOf( RangeSet const& ranges );
/// What the rule matches.
std::string textOf( Rule const& rule );
/// A line for the ACL and each of its rules.
std::string textOf( Acl const& acl );
std::string textOf( Verify::Packet const& packet );

}  // namespace Orvex::Host::Test

namespace Orvex::Verify {

/// For messages of failing tests.
void PrintTo( Verdict const& verdict, std::ostream* out );
void PrintTo( Packet const& packet, std::ostream* out );

}  // namespace Orvex::Verify
