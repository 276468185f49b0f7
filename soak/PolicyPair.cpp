#include "PolicyPair.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "input/Diagnostics.h"
#include "packets/AddressNumber.h"
#include "policy/AclConfigBuilder.h"
#include "policy/AclTextReader.h"
#include "verify/Interpreter.h"

namespace Orvex::Soak {

namespace {

using Verify::Packet;
using Verify::Verdict;

constexpr char const* kOld = R"(
ip access-list edge
  default deny
  10 permit tcp 10.0.0.0/8 192.0.2.0/24 eq 80
  20 deny udp any any range 1024 2047
  30 permit ip 10.1.0.0/16 any
ipv6 access-list edge
  default deny
  10 permit tcp 2001:db8::/32 any eq 80
ip access-list leaving
  default permit
  10 deny tcp any any eq 80
)";

constexpr char const* kNew = R"(
ip access-list edge
  default permit
  10 deny tcp 10.0.0.0/8 192.0.2.0/24 range 80 81
  25 permit udp any any range 1024 2047
  30 deny ip 10.1.0.0/16 any
ipv6 access-list edge
  default permit
  10 deny tcp 2001:db8::/32 any eq 80
ip access-list arriving
  default permit
  10 deny tcp any any eq 80
)";

Host::Policy policyOf( char const* text ) {
  Host::Diagnostics diagnostics;
  auto located = Host::readAclText( { Host::SourceFile::fromText( "pair", text, diagnostics ) }, diagnostics );
  if ( !located ) throw std::logic_error( "the pair cannot be read" );
  return std::move( located->policy );
}

Host::Acl const* find( Host::Policy const& policy, Vell::AddressFamily family, std::string const& name ) {
  auto const acl = std::find_if( policy.acls.begin(), policy.acls.end(),
                                 [&]( Host::Acl const& each ) { return each.family == family && each.name == name; } );
  return acl == policy.acls.end() ? nullptr : &*acl;
}

Verdict verdictOf( Host::Acl const* acl, Packet const& packet ) {
  return acl ? interpret( *acl, packet ) : Verdict{ std::nullopt, actionOf( Host::DefaultAction::deny ) };
}

/// Where in a field something begins, or has ended.
struct Ends {
  std::set<Host::AddressNumber> sources;
  std::set<Host::AddressNumber> destinations;
  std::array<std::set<std::uint32_t>, Host::kFieldCount> fields;
};

void addEnds( Host::SharedPrefixList const& list, std::set<Host::AddressNumber>& ends ) {
  ends.insert( 0 );
  if ( !list ) return;
  for ( auto const& prefix : list->prefixes ) {
    ends.insert( Host::firstOf( prefix ) );
    ends.insert( Host::lastOf( prefix ) + 1 );
  }
}

void addEnds( Host::Acl const& acl, Ends& ends ) {
  for ( Host::Rule const& rule : acl.rules ) {
    addEnds( rule.source, ends.sources );
    addEnds( rule.destination, ends.destinations );
    for ( Host::Field const field : Host::kFields ) {
      auto& values = ends.fields.at( Kiv::enumValue( field ) );
      values.insert( 0 );
      for ( auto const& range : rule.ranges[field] ) {
        values.insert( range.first );
        if ( range.last != maximumOf( field ) ) values.insert( range.last + 1 );
      }
    }
  }
}

std::vector<Packet> packetsOf( Vell::AddressFamily family, Ends const& ends ) {
  std::vector<Packet> packets;
  for ( auto const source : ends.sources )
    for ( auto const destination : ends.destinations ) {
      Packet& packet = packets.emplace_back();
      packet.source = Host::addressOf( family, source );
      packet.destination = Host::addressOf( family, destination );
    }
  for ( Host::Field const field : Host::kFields ) {
    std::vector<Packet> const without = std::exchange( packets, {} );
    for ( std::uint32_t const value : ends.fields.at( Kiv::enumValue( field ) ) )
      for ( Packet packet : without ) {
        packet.fields[field] = value;
        packets.push_back( packet );
      }
  }
  return packets;
}

}  // namespace

PolicyPair::PolicyPair() : old_( policyOf( kOld ) ), new_( policyOf( kNew ) ) {
  ask( Vell::AddressFamily::ipv4, "edge" );
  ask( Vell::AddressFamily::ipv6, "edge" );
  ask( Vell::AddressFamily::ipv4, "leaving" );
  ask( Vell::AddressFamily::ipv4, "arriving" );
}

void PolicyPair::ask( Vell::AddressFamily family, std::string const& name ) {
  Host::Acl const* const ofOld = find( old_, family, name );
  Host::Acl const* const ofNew = find( new_, family, name );
  Ends ends;
  if ( ofOld ) addEnds( *ofOld, ends );
  if ( ofNew ) addEnds( *ofNew, ends );
  PDAclKey const key( family, Host::libraryAclName( family, name ) );
  for ( Packet const& packet : packetsOf( family, ends ) )
    questions_.push_back( { key, packet, verdictOf( ofOld, packet ), verdictOf( ofNew, packet ) } );
}

PolicyPair::InForce PolicyPair::inForce( Host::SoftwareChip const& chip, bool blanketPermits ) const {
  Verdict const denied{ std::nullopt, actionOf( Host::DefaultAction::deny ) };
  Verdict const blanket =
      chip.table() && blanketPermits ? Verdict{ std::nullopt, actionOf( Host::DefaultAction::permit ) } : denied;
  bool isOld = true;
  bool isNew = true;
  bool isBlanket = true;
  for ( Question const& question : questions_ ) {
    Verdict const verdict = chip.lookUp( question.acl, question.packet );
    isOld = isOld && verdict == question.ofOld;
    isNew = isNew && verdict == question.ofNew;
    isBlanket = isBlanket && verdict == blanket;
  }
  if ( isBlanket ) return chip.table() ? InForce::blanket : InForce::nothing;
  if ( isOld ) return InForce::oldVersion;
  return isNew ? InForce::newVersion : InForce::mixture;
}

}  // namespace Orvex::Soak
