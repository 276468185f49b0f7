#include "verify/Interpreter.h"

#include <algorithm>
#include <string>

#include "Kiv/Value.h"

namespace Orvex::Verify {

namespace {

using Host::Field;

// The TCP flags byte.
constexpr std::uint8_t kSyn = 0x02;
constexpr std::uint8_t kRst = 0x04;
constexpr std::uint8_t kAck = 0x10;

/// The length of the longest prefix that contains the address; none: -1.
int longestMatch( std::vector<Vell::IpGenPrefix> const& prefixes, Vell::IpGenPrefix const& address ) {
  int longest = -1;
  for ( Vell::IpGenPrefix const& prefix : prefixes )
    if ( prefix.contains( address ) ) longest = std::max( longest, static_cast<int>( prefix.length() ) );
  return longest;
}

bool isInHeadFragmentOnly( Field field ) {
  return field == Field::sport || field == Field::dport || field == Field::icmpType;
}

bool matchesField( Field field, Host::RangeSet const& ranges, Packet const& packet ) {
  if ( ranges.empty() ) return true;
  if ( isInHeadFragmentOnly( field ) && !packet.isHeadFragment() ) return false;
  std::uint32_t const value = packet.fields[field];
  return std::any_of( ranges.begin(), ranges.end(),
                      [value]( Host::ValueRange range ) { return range.first <= value && value <= range.last; } );
}

bool matchesTcpFlags( Host::Rule const& rule, Packet const& packet ) {
  if ( !rule.tcpInit && !rule.tcpEstablished ) return true;
  if ( !packet.isHeadFragment() ) return false;
  bool const syn = ( packet.tcpFlags & kSyn ) != 0;
  bool const rst = ( packet.tcpFlags & kRst ) != 0;
  bool const ack = ( packet.tcpFlags & kAck ) != 0;
  return rule.tcpInit ? syn && !ack : ack || rst;
}

std::string named( std::string_view name, Vell::AddressFamily family ) {
  return std::string( Kiv::stringValue( family ) ) + " ACL " + std::string( name );
}

void checkAddress( Vell::IpGenPrefix const& address ) {
  if ( address.length() != Vell::addressWidthBits( address.af() ) )
    throw QuestionError( std::string( Kiv::valueToStrep( address ).view() ) + " is not one address" );
}

}  // namespace

Vell::AddressFamily familyOf( Packet const& packet ) {
  checkAddress( packet.source );
  checkAddress( packet.destination );
  if ( packet.source.af() != packet.destination.af() )
    throw QuestionError( "the packet's source is " + std::string( Kiv::stringValue( packet.source.af() ) ) +
                         " and its destination " + std::string( Kiv::stringValue( packet.destination.af() ) ) );
  for ( Field const field : Host::kFields )
    if ( packet.fields[field] > Host::maximumOf( field ) )
      throw QuestionError( std::string( Kiv::stringValue( field ) ) + " " + std::to_string( packet.fields[field] ) +
                           " is beyond the field; its values are 0-" + std::to_string( Host::maximumOf( field ) ) );
  return packet.source.af();
}

Host::Acl const& aclFor( Host::Policy const& policy, std::string_view name, Packet const& packet ) {
  Vell::AddressFamily const family = familyOf( packet );
  for ( Host::Acl const& acl : policy.acls )
    if ( acl.family == family && acl.name == name ) return acl;
  throw QuestionError( "there is no " + named( name, family ) );
}

Verdict interpret( Host::Acl const& acl, Packet const& packet ) {
  if ( Vell::AddressFamily const family = familyOf( packet ); family != acl.family )
    throw QuestionError( named( acl.name, acl.family ) + " has no answer for a packet of " +
                         std::string( Kiv::stringValue( family ) ) );
  for ( Host::Rule const& rule : acl.rules )
    if ( matches( rule, packet ) ) return { rule.index, rule.action };
  return { std::nullopt, actionOf( acl.defaultAction ) };
}

bool matches( Host::Rule const& rule, Packet const& packet ) {
  return matches( rule.source, packet.source ) && matches( rule.destination, packet.destination ) &&
         std::all_of( Host::kFields.begin(), Host::kFields.end(),
                      [&]( Field field ) { return matchesField( field, rule.ranges[field], packet ); } ) &&
         matchesTcpFlags( rule, packet );
}

bool matches( Host::SharedPrefixList const& list, Vell::IpGenPrefix const& address ) {
  if ( !list ) return true;
  int const own = longestMatch( list->prefixes, address );
  int const excepted = longestMatch( list->excepts, address );
  return own >= 0 && own >= excepted;
}

}  // namespace Orvex::Verify
