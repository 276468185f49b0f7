#include "formats/OpenConfigEntry.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "formats/InstanceValues.h"
#include "formats/OpenConfigIdentities.h"
#include "policy/AclFields.h"
#include "policy/AclObjects.h"
#include "policy/RangeSets.h"

namespace Orvex::Host {

namespace {

constexpr InstanceMember kEntry[] = {
    { "sequence-id" },
    { "config" },
    { "state", Take::leaveOut },
    { "ipv4" },
    { "ipv6" },
    { "transport" },
    { "actions" },
    { "l2", Take::refuse, "a table does not match Ethernet headers" },
    { "mpls", Take::refuse, "a table does not match MPLS labels" },
    { "input-interface", Take::refuse, "a table does not match interfaces" },
};

constexpr InstanceMember kIpv4[] = { { "config" }, { "state", Take::leaveOut }, { "icmpv4" } };
constexpr InstanceMember kIpv6[] = { { "config" }, { "state", Take::leaveOut }, { "icmpv6" } };
constexpr InstanceMember kConfigured[] = { { "config" }, { "state", Take::leaveOut } };

constexpr InstanceMember kIpv4Config[] = {
    { "source-address" },
    { "source-address-prefix-set" },
    { "destination-address" },
    { "destination-address-prefix-set" },
    { "fragment-offsets" },
    { "dscp" },
    { "dscp-set" },
    { "length" },
    { "protocol" },
    { "hop-limit" },
};

constexpr InstanceMember kIpv6Config[] = {
    { "source-address" },
    { "source-address-prefix-set" },
    { "destination-address" },
    { "destination-address-prefix-set" },
    { "dscp" },
    { "dscp-set" },
    { "length" },
    { "protocol" },
    { "hop-limit" },
    { "source-flow-label", Take::refuse, "a table does not match flow labels" },
    { "destination-flow-label", Take::refuse, "a table does not match flow labels" },
};

constexpr InstanceMember kIcmpConfig[] = { { "type" }, { "code", Take::refuse, "a table does not match ICMP codes" } };

constexpr InstanceMember kTransportConfig[] = {
    { "source-port" },          { "source-port-set" }, { "destination-port" },
    { "destination-port-set" }, { "detail-mode" },     { "explicit-detail-match-mode" },
    { "explicit-tcp-flags" },   { "builtin-detail" },  { "tcp-flags" },
};

constexpr InstanceMember kActions[] = { { "forwarding-action" }, { "log-action" } };

enum Forwarding : std::uint32_t { kAccept, kDrop, kReject };
constexpr NamedNumber kForwardingNames[] = { { "ACCEPT", kAccept }, { "DROP", kDrop }, { "REJECT", kReject } };
constexpr Identities kForwardings{ "openconfig-acl", "forwarding action", kForwardingNames };

enum Logging : std::uint32_t { kLogNone, kLogSyslog };
constexpr NamedNumber kLoggingNames[] = { { "LOG_SYSLOG", kLogSyslog }, { "LOG_NONE", kLogNone } };
constexpr Identities kLoggings{ "openconfig-acl", "log action", kLoggingNames };

enum DetailMode : std::uint32_t { kExplicit, kBuiltin, kNoMode };
constexpr NamedNumber kDetailModeNames[] = { { "EXPLICIT", kExplicit }, { "BUILTIN", kBuiltin } };
constexpr Identities kDetailModes{ "", "detail mode", kDetailModeNames };

enum MatchMode : std::uint32_t { kAny, kAll };
constexpr NamedNumber kMatchModeNames[] = { { "ANY", kAny }, { "ALL", kAll } };
constexpr Identities kMatchModes{ "", "match mode", kMatchModeNames };

enum Builtin : std::uint32_t { kTcpInitial, kTcpEstablished, kFragment };
constexpr NamedNumber kBuiltinNames[] = {
    { "TCP_INITIAL", kTcpInitial }, { "TCP_ESTABLISHED", kTcpEstablished }, { "FRAGMENT", kFragment } };
constexpr Identities kBuiltins{ "", "built-in detail", kBuiltinNames };

constexpr NamedNumber kFlagNames[] = { { "TCP_FIN", Constants::tcpFlagFin },
                                       { "TCP_SYN", Constants::tcpFlagSyn },
                                       { "TCP_RST", Constants::tcpFlagRst },
                                       { "TCP_PSH", Constants::tcpFlagPsh },
                                       { "TCP_ACK", Constants::tcpFlagAck },
                                       { "TCP_URG", Constants::tcpFlagUrg },
                                       { "TCP_ECE", 64 },
                                       { "TCP_CWR", 128 } };
constexpr Identities kFlags{ "openconfig-packet-match-types", "TCP flag", kFlagNames };

bool exclude( InstanceNode const& config, std::string_view a, std::string_view b ) {
  auto const second = config.member( b );
  if ( !second || !config.member( a ) ) return false;
  second->error( std::string( a ) + " and " + std::string( b ) + " exclude each other", "keep one of the two" );
  return true;
}

/// The configuration within a container that has nothing else to be read; none when there is none.
std::optional<InstanceNode> configWithin( InstanceNode const& container, InstanceNode::Members members ) {
  auto config = container.member( "config" );
  return config && config->isObject( members ) ? config : std::nullopt;
}

class EntryReader {
 public:
  EntryReader( Vell::AddressFamily family, OpenConfigSets const& sets, Rule& rule )
      : family_( family ), sets_( sets ), rule_( rule ) {}

  void readIp( InstanceNode const& header ) {
    bool const ipv4 = family_ == Vell::AddressFamily::ipv4;
    if ( !header.isObject( ipv4 ? InstanceNode::Members( kIpv4 ) : InstanceNode::Members( kIpv6 ) ) ) return;
    if ( auto const config = configWithin(
             header, ipv4 ? InstanceNode::Members( kIpv4Config ) : InstanceNode::Members( kIpv6Config ) ) ) {
      readAddress( *config, "source-address", "source-address-prefix-set", rule_.source );
      readAddress( *config, "destination-address", "destination-address-prefix-set", rule_.destination );
      if ( auto const protocol = config->member( "protocol" ) ) readProtocol( *protocol );
      readDscp( *config );
      readSingle( *config, "length", Field::length, rule_ );
      readSingle( *config, "hop-limit", Field::ttl, rule_ );
      if ( auto const offsets = config->member( "fragment-offsets" ); ipv4 && offsets ) readFragmentOffsets( *offsets );
    }
    if ( auto const icmp = header.member( ipv4 ? "icmpv4" : "icmpv6" ) ) readIcmp( *icmp );
  }

  /// Behind the IP header, whose protocol and fragment offsets it has to go with.
  void readTransport( InstanceNode const& transport ) {
    if ( !transport.isObject( kConfigured ) ) return;
    auto const config = configWithin( transport, kTransportConfig );
    if ( !config ) return;
    readPorts( *config, "source-port", "source-port-set", Field::sport );
    readPorts( *config, "destination-port", "destination-port-set", Field::dport );
    readDetail( *config );
  }

 private:
  RangeSet const& protocols() const { return rule_.ranges[Field::proto]; }

  // IP

  void readAddress( InstanceNode const& config, std::string_view address, std::string_view set,
                    SharedPrefixList& list ) {
    if ( exclude( config, address, set ) ) return;
    if ( auto const leaf = config.member( address ) ) {
      auto const prefix = readPrefix( *leaf, family_ );
      if ( prefix ) list = AclPrefixLists::single( *prefix );
    } else if ( auto const name = config.member( set ) ) {
      list = sets_.prefixes( *name, family_ );
    }
  }

  void readProtocol( InstanceNode const& leaf ) {
    static constexpr std::uint32_t kMaxProtocol = 254;
    auto const protocol =
        isMeantAsNumber( leaf ) ? readNumber( leaf, 0, kMaxProtocol ) : readIdentity( leaf, kOpenConfigProtocols );
    protocolIsKnown_ = protocol.has_value();
    if ( protocol ) rule_.ranges[Field::proto] = { { *protocol, *protocol } };
  }

  void readDscp( InstanceNode const& config ) {
    if ( exclude( config, "dscp", "dscp-set" ) ) return;
    readSingle( config, "dscp", Field::dscp, rule_ );
    auto const set = config.member( "dscp-set" );
    if ( !set ) return;
    for ( InstanceNode const& each : set->values() )
      if ( auto const value = readNumber( each, 0, maximumOf( Field::dscp ) ) )
        rule_.ranges[Field::dscp].push_back( { *value, *value } );
  }

  void readFragmentOffsets( InstanceNode const& offsets ) {
    for ( InstanceNode const& each : offsets.values() )
      if ( auto const range = readOpenConfigRange( each, Field::fragment ) )
        rule_.ranges[Field::fragment].push_back( *range );
  }

  void readIcmp( InstanceNode const& icmp ) {
    if ( !icmp.isObject( kConfigured ) ) return;
    auto const config = configWithin( icmp, kIcmpConfig );
    auto const leaf = config ? config->member( "type" ) : std::nullopt;
    auto const type = leaf ? readIdentity( *leaf, openConfigIcmpTypes( family_ ) ) : std::nullopt;
    if ( !type ) return;
    rule_.ranges[Field::icmpType] = { { *type, *type } };
    std::uint32_t const protocol = family_ == Vell::AddressFamily::ipv4 ? kIcmp : kIcmp6;
    if ( protocolIsKnown_ && protocols() != RangeSet{ { protocol, protocol } } )
      leaf->error( "an ICMP type needs its protocol",
                   "write \"protocol\": " + std::to_string( protocol ) + " into the header's config" );
  }

  // Transport

  void readPorts( InstanceNode const& config, std::string_view port, std::string_view set, Field field ) {
    if ( exclude( config, port, set ) ) return;
    auto const leaf = config.member( config.member( port ) ? port : set );
    if ( !leaf ) return;
    RangeSet ports;
    if ( config.member( port ) ) {
      if ( auto const range = readOpenConfigRange( *leaf, field ) ) ports = { *range };
    } else {
      ports = sets_.ports( *leaf ).value_or( RangeSet() );
    }
    bool const isAny = ports.empty() || complementOf( ports, maximumOf( field ) ).empty();
    if ( !isAny && protocolIsKnown_ && !allHavePorts( protocols() ) )
      leaf->error( "ports need a protocol that has them",
                   R"(write "protocol": "openconfig-packet-match-types:IP_TCP" or another into the header's config)" );
    rule_.ranges[field] = std::move( ports );
  }

  void readDetail( InstanceNode const& config ) {
    auto const mode = config.member( "detail-mode" );
    std::optional<std::uint32_t> const given = mode ? readIdentity( *mode, kDetailModes ) : std::nullopt;
    if ( mode && !given ) return;
    std::uint32_t const kind = given.value_or( kNoMode );
    auto const matchMode = config.member( "explicit-detail-match-mode" );
    auto const flags = config.member( "explicit-tcp-flags" );
    auto const builtin = config.member( "builtin-detail" );
    if ( kind != kExplicit )
      for ( auto const* const leaf : { &matchMode, &flags } )
        if ( *leaf ) ( *leaf )->error( "this needs detail-mode EXPLICIT", R"(write "detail-mode": "EXPLICIT")" );
    if ( builtin && kind != kBuiltin )
      builtin->error( "this needs detail-mode BUILTIN", R"(write "detail-mode": "BUILTIN")" );
    else if ( builtin )
      readBuiltin( *builtin );
    auto const match = matchMode ? readIdentity( *matchMode, kMatchModes ) : std::nullopt;
    if ( flags && kind == kExplicit ) readFlags( *flags, match == kAny );
    if ( auto const older = config.member( "tcp-flags" ) ) readFlags( *older, false );
  }

  /// Of flags that are set, a table has "ACK or RST" alone.
  void readFlags( InstanceNode const& leaf, bool matchesAny ) {
    static constexpr std::uint32_t kEstablished =
        std::uint32_t{ Constants::tcpFlagAck } | std::uint32_t{ Constants::tcpFlagRst };
    std::uint32_t flags = 0;
    for ( InstanceNode const& each : leaf.values() ) flags |= readIdentity( each, kFlags ).value_or( 0 );
    if ( flags == 0 ) return;
    if ( matchesAny && flags == kEstablished )
      setTcp( leaf, rule_.tcpEstablished );
    else
      leaf.unsupported( "of explicit TCP flags a table matches ANY of TCP_ACK and TCP_RST alone" );
  }

  void readBuiltin( InstanceNode const& leaf ) {
    auto const kind = readIdentity( leaf, kBuiltins );
    if ( kind == kTcpInitial ) setTcp( leaf, rule_.tcpInit );
    if ( kind == kTcpEstablished ) setTcp( leaf, rule_.tcpEstablished );
    if ( kind != kFragment ) return;
    RangeSet& offsets = rule_.ranges[Field::fragment];
    if ( offsets.empty() ) offsets = { { 0, maximumOf( Field::fragment ) } };
    offsets = difference( offsets, { { 0, 0 } } );
    if ( offsets.empty() )
      leaf.error( "the entry's fragment offsets are 0 alone, which no later fragment has", "keep one of the two" );
  }

  void setTcp( InstanceNode const& leaf, bool& flags ) {
    flags = true;
    if ( protocolIsKnown_ && !allHaveTcpFlags( protocols() ) )
      leaf.error( "TCP flags need the protocol TCP",
                  R"(write "protocol": "openconfig-packet-match-types:IP_TCP" into the header's config)" );
  }

  Vell::AddressFamily family_;
  OpenConfigSets const& sets_;
  Rule& rule_;
  bool protocolIsKnown_ = true;  // none is known to be none; a faulty one is not known
};

void readActions( InstanceNode const& actions, OrvexActionValue& action ) {
  if ( !actions.isObject( kConfigured ) ) return;
  auto const config = actions.required( "config" );
  if ( !config || !config->isObject( kActions ) ) return;
  auto const forwarding = config->required( "forwarding-action" );
  auto const kind = forwarding ? readIdentity( *forwarding, kForwardings ) : std::nullopt;
  if ( kind == kReject ) forwarding->unsupported( "a table drops packets and does not answer their senders" );
  action.dropEnabled = kind == kDrop;
  auto const log = config->member( "log-action" );
  action.logEnabled = log && readIdentity( *log, kLoggings ) == kLogSyslog;
}

bool fits( InstanceNode const& entry, std::string_view name, bool ofType ) {
  auto const header = entry.member( name );
  if ( header && !ofType )
    header->error( std::string( name ) + " does not belong into an ACL of this type",
                   "move the entry to an ACL of its type" );
  return header && ofType;
}

}  // namespace

void readOpenConfigEntry( InstanceNode const& entry, OpenConfigAclType const& type, OpenConfigSets const& sets,
                          Rule& rule ) {
  if ( !entry.isObject( kEntry ) ) return;
  bool const readsIpv4 = fits( entry, "ipv4", type.ipv4 );
  bool const readsIpv6 = fits( entry, "ipv6", type.ipv6 );
  fits( entry, "l2", type.l2 );
  fits( entry, "mpls", type.mpls );
  EntryReader reader( readsIpv4   ? Vell::AddressFamily::ipv4
                      : readsIpv6 ? Vell::AddressFamily::ipv6
                                  : type.family(),
                      sets, rule );
  if ( readsIpv4 ) reader.readIp( *entry.member( "ipv4" ) );
  if ( readsIpv6 && !readsIpv4 ) reader.readIp( *entry.member( "ipv6" ) );
  if ( auto const transport = entry.member( "transport" ) ) reader.readTransport( *transport );
  if ( auto const actions = entry.required( "actions" ) ) readActions( *actions, rule.action );
  if ( auto const state = entry.member( "state" ) ) checkCounters( *state );
}

}  // namespace Orvex::Host
