#include "formats/Rfc8519Matches.h"

#include <array>
#include <string>

#include "formats/InstanceValues.h"
#include "policy/AclObjects.h"
#include "policy/NumberNames.h"
#include "policy/RangeSets.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kModule = "ietf-access-control-list";

constexpr std::array<Rfc8519AclType, 6> kTypes = { { { "ipv4-acl-type", false, true, false },
                                                     { "ipv6-acl-type", false, false, true },
                                                     { "eth-acl-type", true, false, false },
                                                     { "mixed-eth-ipv4-acl-type", true, true, false },
                                                     { "mixed-eth-ipv6-acl-type", true, false, true },
                                                     { "mixed-eth-ipv4-ipv6-acl-type", true, true, true } } };

// Members of headers

constexpr InstanceMember kMatches[] = {
    { "ipv4" },
    { "ipv6" },
    { "tcp" },
    { "udp" },
    { "icmp" },
    { "eth", Take::refuse, "a table does not match Ethernet headers" },
    { "ingress-interface", Take::refuse, "a table does not match interfaces" },
    { "egress-interface", Take::refuse, "a table does not match interfaces" },
};

constexpr InstanceMember kIpv4[] = {
    { "dscp" },
    { "length" },
    { "ttl" },
    { "protocol" },
    { "offset" },
    { "source-ipv4-network" },
    { "destination-ipv4-network" },
    { "ecn", Take::refuse, "a table does not match ECN" },
    { "ihl", Take::refuse, "a table does not match the header's length" },
    { "flags", Take::refuse, "a table does not match IPv4 flags" },
    { "identification", Take::refuse, "a table does not match the identification" },
};

constexpr InstanceMember kIpv6[] = {
    { "dscp" },
    { "length" },
    { "ttl" },
    { "protocol" },
    { "source-ipv6-network" },
    { "destination-ipv6-network" },
    { "ecn", Take::refuse, "a table does not match ECN" },
    { "flow-label", Take::refuse, "a table does not match flow labels" },
};

constexpr InstanceMember kTcpMembers[] = {
    { "source-port" },
    { "destination-port" },
    { "flags", Take::refuse, "this is the exact value of all TCP flags, which a table does not match" },
    { "sequence-number", Take::refuse, "a table does not match sequence numbers" },
    { "acknowledgement-number", Take::refuse, "a table does not match acknowledgement numbers" },
    { "data-offset", Take::refuse, "a table does not match the data offset" },
    { "reserved", Take::refuse, "a table does not match reserved bits" },
    { "window-size", Take::refuse, "a table does not match the window size" },
    { "urgent-pointer", Take::refuse, "a table does not match the urgent pointer" },
    { "options", Take::refuse, "a table does not match TCP options" },
};

constexpr InstanceMember kUdpMembers[] = {
    { "source-port" },
    { "destination-port" },
    { "length", Take::refuse, "a table does not match UDP's length" },
};

constexpr InstanceMember kIcmpMembers[] = {
    { "type" },
    { "code", Take::refuse, "a table does not match ICMP codes" },
    { "rest-of-header", Take::refuse, "a table does not match ICMP's further header" },
};

// Ports

constexpr InstanceMember kPort[] = { { "lower-port" }, { "upper-port" }, { "operator" }, { "port" } };

enum Operator : std::uint32_t { kEqual, kNotEqual, kAtMost, kAtLeast };
constexpr NamedNumber kOperatorNames[] = {
    { "eq", kEqual }, { "neq", kNotEqual }, { "lte", kAtMost }, { "gte", kAtLeast } };
constexpr Identities kOperators{ "", "operator", kOperatorNames };

constexpr std::uint32_t kMaxPort = maximumOf( Field::dport );

std::optional<std::uint32_t> readPort( InstanceNode const& ports, std::string_view name ) {
  auto const leaf = ports.required( name );
  return leaf ? readNumber( *leaf, 0, kMaxPort ) : std::nullopt;
}

RangeSet readPortRange( InstanceNode const& ports ) {
  auto const lower = readPort( ports, "lower-port" );
  auto const upper = readPort( ports, "upper-port" );
  if ( !lower || !upper ) return {};
  if ( *lower <= *upper ) return { { *lower, *upper } };
  ports.error(
      "this range ends before it starts: " + std::to_string( *lower ) + " is above " + std::to_string( *upper ),
      "write the lower port first" );
  return {};
}

/// The two that others have and this format has not.
bool isForeign( InstanceNode const& op ) {
  auto const* const text = op.json().as<std::string>();
  if ( text == nullptr || ( *text != "gt" && *text != "lt" ) ) return false;
  op.error( inQuotes( *text ) + " is no operator",
            *text == "gt" ? "write \"gte\" and the next higher port" : "write \"lte\" and the next lower port" );
  return true;
}

RangeSet readPortOperator( InstanceNode const& ports ) {
  auto const op = ports.member( "operator" );
  auto const kind = !op                ? std::optional<std::uint32_t>( kEqual )
                    : isForeign( *op ) ? std::nullopt
                                       : readIdentity( *op, kOperators );
  auto const port = readPort( ports, "port" );
  if ( !kind || !port ) return {};
  if ( *kind == kNotEqual ) return complementOf( { { *port, *port } }, kMaxPort );
  return { { *kind == kAtMost ? 0 : *port, *kind == kAtLeast ? kMaxPort : *port } };
}

void readPorts( InstanceNode const& header, std::string_view name, Field field, Rule& rule ) {
  auto const ports = header.member( name );
  if ( !ports || !ports->isObject( kPort ) ) return;
  bool const hasRange = ports->member( "lower-port" ) || ports->member( "upper-port" );
  bool const hasOperator = ports->member( "operator" ) || ports->member( "port" );
  if ( hasRange && hasOperator )
    ports->error( "a range and an operator exclude each other", "keep one of the two" );
  else if ( hasRange )
    rule.ranges[field] = readPortRange( *ports );
  else if ( hasOperator )
    rule.ranges[field] = readPortOperator( *ports );
}

// Headers

void readNetwork( InstanceNode const& header, std::string_view name, Vell::AddressFamily family,
                  SharedPrefixList& list ) {
  auto const leaf = header.member( name );
  auto const prefix = leaf ? readPrefix( *leaf, family ) : std::nullopt;
  if ( prefix ) list = AclPrefixLists::single( *prefix );
}

/// The field counts 13 bits, the leaf 20 to 65535.
void readOffset( InstanceNode const& header, Rule& rule ) {
  static constexpr std::uint32_t kFirst = 20;
  auto const leaf = header.member( "offset" );
  auto const offset = leaf ? readNumber( *leaf, kFirst, 65535 ) : std::nullopt;
  if ( !offset ) return;
  if ( *offset > maximumOf( Field::fragment ) )
    leaf->error( "no packet has a fragment offset of " + std::to_string( *offset ),
                 "the field goes up to " + std::to_string( maximumOf( Field::fragment ) ) );
  else
    rule.ranges[Field::fragment] = { { *offset, *offset } };
}

void readIpHeader( InstanceNode const& header, Vell::AddressFamily family, Rule& rule ) {
  bool const ipv4 = family == Vell::AddressFamily::ipv4;
  if ( !header.isObject( ipv4 ? InstanceNode::Members( kIpv4 ) : InstanceNode::Members( kIpv6 ) ) ) return;
  readSingle( header, "dscp", Field::dscp, rule );
  readSingle( header, "length", Field::length, rule );
  readSingle( header, "ttl", Field::ttl, rule );
  readSingle( header, "protocol", Field::proto, rule );
  if ( ipv4 ) readOffset( header, rule );
  readNetwork( header, ipv4 ? "source-ipv4-network" : "source-ipv6-network", family, rule.source );
  readNetwork( header, ipv4 ? "destination-ipv4-network" : "destination-ipv6-network", family, rule.destination );
}

/// The header is that of a protocol, so the rule has to be of that protocol too.
void addProtocol( InstanceNode const& header, std::string_view name, std::uint32_t protocol, Rule& rule ) {
  RangeSet& protocols = rule.ranges[Field::proto];
  RangeSet const implied = { { protocol, protocol } };
  if ( !protocols.empty() && protocols != implied )
    header.error( std::string( name ) + " is protocol " + std::to_string( protocol ) +
                      ", and the ACE matches protocol " + std::to_string( protocols.front().first ),
                  "keep one of the two" );
  protocols = implied;
}

void readTransport( InstanceNode const& matches, Vell::AddressFamily family, Rule& rule ) {
  if ( auto const tcp = matches.member( "tcp" ); tcp && tcp->isObject( kTcpMembers ) ) {
    readPorts( *tcp, "source-port", Field::sport, rule );
    readPorts( *tcp, "destination-port", Field::dport, rule );
    addProtocol( *tcp, "tcp", kTcp, rule );
  } else if ( auto const udp = matches.member( "udp" ); udp && udp->isObject( kUdpMembers ) ) {
    readPorts( *udp, "source-port", Field::sport, rule );
    readPorts( *udp, "destination-port", Field::dport, rule );
    addProtocol( *udp, "udp", kUdp, rule );
  } else if ( auto const icmp = matches.member( "icmp" ); icmp && icmp->isObject( kIcmpMembers ) ) {
    readSingle( *icmp, "type", Field::icmpType, rule );
    addProtocol( *icmp, "icmp", family == Vell::AddressFamily::ipv4 ? kIcmp : kIcmp6, rule );
  }
}

/// At most one of the headers. Returns whether that is so.
bool isOneOf( InstanceNode const& matches, std::span<std::string_view const> names ) {
  std::string_view first;
  for ( std::string_view const name : names ) {
    auto const header = matches.member( name );
    if ( !header ) continue;
    if ( !first.empty() ) {
      header->error( std::string( first ) + " and " + std::string( name ) + " exclude each other",
                     "write an ACE for each" );
      return false;
    }
    first = name;
  }
  return true;
}

bool fits( InstanceNode const& matches, std::string_view name, bool ofType, Rfc8519AclType const& type ) {
  auto const header = matches.member( name );
  if ( !header || ofType ) return true;
  header->error( std::string( name ) + " does not belong into an ACL of type " + std::string( type.name ),
                 "move the ACE to an ACL of its type" );
  return false;
}

}  // namespace

std::optional<Rfc8519AclType> readAclType( InstanceNode const& leaf ) {
  std::array<NamedNumber, kTypes.size()> names{};
  for ( std::size_t at = 0; at != kTypes.size(); ++at )
    names[at] = { kTypes[at].name, static_cast<std::uint32_t>( at ) };
  auto const found = readIdentity( leaf, { kModule, "ACL type", names } );
  return found ? std::optional( kTypes[*found] ) : std::nullopt;
}

void readMatches( InstanceNode const& matches, Rfc8519AclType const& type, Rule& rule ) {
  static constexpr std::array<std::string_view, 2> kNetworkHeaders = { "ipv4", "ipv6" };
  static constexpr std::array<std::string_view, 3> kTransportHeaders = { "tcp", "udp", "icmp" };
  if ( !matches.isObject( kMatches ) ) return;
  fits( matches, "eth", type.ethernet, type );
  bool const readsIpv4 = fits( matches, "ipv4", type.ipv4, type );
  bool const readsIpv6 = fits( matches, "ipv6", type.ipv6, type );
  if ( readsIpv4 && readsIpv6 ) isOneOf( matches, kNetworkHeaders );
  auto const ipv4 = matches.member( "ipv4" );
  auto const ipv6 = matches.member( "ipv6" );
  if ( ipv4 && readsIpv4 ) readIpHeader( *ipv4, Vell::AddressFamily::ipv4, rule );
  if ( ipv6 && readsIpv6 ) readIpHeader( *ipv6, Vell::AddressFamily::ipv6, rule );
  if ( isOneOf( matches, kTransportHeaders ) )
    readTransport( matches, ipv6 ? Vell::AddressFamily::ipv6 : type.family(), rule );
}

}  // namespace Orvex::Host
