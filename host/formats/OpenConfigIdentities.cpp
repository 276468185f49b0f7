#include "formats/OpenConfigIdentities.h"

namespace Orvex::Host {

namespace {

constexpr NamedNumber kProtocols[] = {
    { "IP_TCP", 6 },   { "IP_UDP", 17 }, { "IP_ICMP", 1 },  { "IP_IGMP", 2 },   { "IP_PIM", 103 },
    { "IP_RSVP", 46 }, { "IP_GRE", 47 }, { "IP_AUTH", 51 }, { "IP_L2TP", 115 }, { "IP_IN_IP", 4 },
};

constexpr NamedNumber kIcmpTypes[] = {
    { "ECHO_REPLY", 0 },           { "DST_UNREACHABLE", 3 },      { "REDIRECT", 5 },       { "ECHO", 8 },
    { "ROUTER_ADVERTISEMENT", 9 }, { "ROUTER_SOLICITATION", 10 }, { "TIME_EXCEEDED", 11 }, { "PARAM_PROBLEM", 12 },
    { "TIMESTAMP", 13 },           { "TIMESTAMP_REPLY", 14 },     { "TRACEROUTE", 30 },    { "PHOTURIS", 40 },
    { "EXT_ECHO_REQUEST", 42 },    { "EXT_ECHO_REPLY", 43 },
};

/// RENUNBERING is how the module spells it. Its text gives both MOBILE_PREFIX types the number 147; they have IANA's here.
constexpr NamedNumber kIcmp6Types[] = {
    { "DESTINATION_UNREACHABLE", 1 },
    { "PACKET_TOO_BIG", 2 },
    { "TIME_EXCEEDED", 3 },
    { "PARAMETER_PROBLEM", 4 },
    { "ECHO_REQUEST", 128 },
    { "ECHO_REPLY", 129 },
    { "MULTICAST_LISTENER_QUERY", 130 },
    { "MULTICAST_LISTENER_REPORT", 131 },
    { "MULTICAST_LISTENER_DONE", 132 },
    { "ROUTER_SOLICITATION", 133 },
    { "ROUTER_ADVERTISEMENT", 134 },
    { "NEIGHBOR_SOLICITATION", 135 },
    { "NEIGHBOR_ADVERTISEMENT", 136 },
    { "REDIRECT", 137 },
    { "RENUNBERING", 138 },
    { "MOBILE_PREFIX_SOLICITATION", 146 },
    { "MOBILE_PREFIX_ADVERTISEMENT", 147 },
};

constexpr Identities kOfIcmp{ "openconfig-icmpv4-types", "ICMP type", kIcmpTypes };
constexpr Identities kOfIcmp6{ "openconfig-icmpv6-types", "ICMPv6 type", kIcmp6Types };

}  // namespace

constinit Identities const kOpenConfigProtocols{ "openconfig-packet-match-types", "protocol", kProtocols };

Identities const& openConfigIcmpTypes( Vell::AddressFamily family ) {
  return family == Vell::AddressFamily::ipv4 ? kOfIcmp : kOfIcmp6;
}

}  // namespace Orvex::Host
