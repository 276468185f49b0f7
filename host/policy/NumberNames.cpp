#include "policy/NumberNames.h"

#include <algorithm>

#include "input/NearestWord.h"

namespace Orvex::Host {

namespace {

// clang-format off

/// IANA, "Service Name and Transport Protocol Port Number Registry"; without sflow, which is a keyword behind ports.
constexpr NamedNumber kServices[] = {
    { "acr-nema", 104 }, { "afpovertcp", 548 }, { "afs3-bos", 7007 }, { "afs3-callback", 7001 },
    { "afs3-fileserver", 7000 }, { "afs3-kaserver", 7004 }, { "afs3-prserver", 7002 }, { "afs3-rmtsys", 7009 },
    { "afs3-update", 7008 }, { "afs3-vlserver", 7003 }, { "afs3-volser", 7005 }, { "amanda", 10080 },
    { "amandaidx", 10082 }, { "amidxtape", 10083 }, { "amqp", 5672 }, { "amqps", 5671 }, { "asf-rmcp", 623 },
    { "asp", 27374 }, { "auth", 113 }, { "babel", 6696 }, { "bacula-dir", 9101 }, { "bacula-fd", 9102 },
    { "bacula-sd", 9103 }, { "bbs", 7000 }, { "bfd-control", 3784 }, { "bfd-echo", 3785 }, { "bfd-multi-ctl", 4784 },
    { "bgp", 179 }, { "bgpd", 2605 }, { "biff", 512 }, { "binkp", 24554 }, { "bootpc", 68 }, { "bootps", 67 },
    { "canna", 5680 }, { "capwap-control", 5246 }, { "capwap-data", 5247 }, { "cfengine", 5308 }, { "chargen", 19 },
    { "cisco-sccp", 2000 }, { "clc-build-daemon", 8990 }, { "clearcase", 371 }, { "cmip-agent", 164 },
    { "cmip-man", 163 }, { "cmp", 829 }, { "coap", 5683 }, { "coaps", 5684 }, { "codaauth2", 370 },
    { "codasrv", 2432 }, { "codasrv-se", 2433 }, { "csync2", 30865 }, { "cvspserver", 2401 }, { "daap", 3689 },
    { "datametrics", 1645 }, { "daytime", 13 }, { "db-lsp", 17500 }, { "dcap", 22125 }, { "dhcpv6-client", 546 },
    { "dhcpv6-server", 547 }, { "diameter", 3868 }, { "dicom", 11112 }, { "dict", 2628 }, { "dircproxy", 57000 },
    { "discard", 9 }, { "distcc", 3632 }, { "docker", 2375 }, { "docker-s", 2376 }, { "domain", 53 },
    { "domain-s", 853 }, { "echo", 7 }, { "epmap", 135 }, { "epmd", 4369 }, { "etcd-client", 2379 },
    { "etcd-server", 2380 }, { "exec", 512 }, { "f5-globalsite", 2792 }, { "f5-iquery", 4353 }, { "fax", 4557 },
    { "fido", 60179 }, { "finger", 79 }, { "font-service", 7100 }, { "freeciv", 5556 }, { "fsp", 21 }, { "ftp", 21 },
    { "ftp-data", 20 }, { "ftps", 990 }, { "ftps-data", 989 }, { "gdomap", 538 }, { "gds-db", 3050 },
    { "geneve", 6081 }, { "git", 9418 }, { "gnunet", 2086 }, { "gnutella-rtr", 6347 }, { "gnutella-svc", 6346 },
    { "gopher", 70 }, { "gpsd", 2947 }, { "gris", 2135 }, { "groupwise", 1677 }, { "gsidcap", 22128 },
    { "gsiftp", 2811 }, { "gsigatekeeper", 2119 }, { "gtp-control", 2123 }, { "gtp-user", 2152 }, { "hkp", 11371 },
    { "hsrp", 1985 }, { "http", 80 }, { "http-alt", 8080 }, { "https", 443 }, { "https-alt", 8443 },
    { "hylafax", 4559 }, { "iax", 4569 }, { "icpv2", 3130 }, { "ident", 113 }, { "imap2", 143 }, { "imaps", 993 },
    { "ingreslock", 1524 }, { "ipfix", 4739 }, { "ipp", 631 }, { "iprop", 2121 }, { "ipsec-nat-t", 4500 },
    { "ipx", 213 }, { "irc", 194 }, { "ircd", 6667 }, { "ircs-u", 6697 }, { "isakmp", 500 }, { "iscsi-target", 3260 },
    { "isisd", 2608 }, { "isns", 3205 }, { "iso-tsap", 102 }, { "kamanda", 10081 }, { "kerberos", 88 },
    { "kerberos-adm", 749 }, { "kerberos-master", 751 }, { "kerberos4", 750 }, { "kermit", 1649 }, { "klogin", 543 },
    { "kpasswd", 464 }, { "krb-prop", 754 }, { "kshell", 544 }, { "l2f", 1701 }, { "l2tp", 1701 }, { "ldap", 389 },
    { "ldaps", 636 }, { "ldp", 646 }, { "lisp-control", 4342 }, { "lisp-data", 4341 }, { "llmnr", 5355 },
    { "login", 513 }, { "lotusnote", 1352 }, { "lpd", 515 }, { "mailq", 174 }, { "mdns", 5353 },
    { "microsoft-ds", 445 }, { "mobileip-agent", 434 }, { "moira-db", 775 }, { "moira-update", 777 },
    { "moira-ureg", 779 }, { "mon", 2583 }, { "mqtt", 1883 }, { "ms-sql-m", 1434 }, { "ms-sql-s", 1433 },
    { "ms-wbt-server", 3389 }, { "msdp", 639 }, { "msrp", 2855 }, { "mtn", 4691 }, { "munin", 4949 },
    { "mysql", 3306 }, { "mysql-proxy", 6446 }, { "nameserver", 42 }, { "nbd", 10809 }, { "netbios-dgm", 138 },
    { "netbios-ns", 137 }, { "netbios-ssn", 139 }, { "netconf-ssh", 830 }, { "netconf-tls", 6513 }, { "netstat", 15 },
    { "nfs", 2049 }, { "nntp", 119 }, { "nntps", 563 }, { "nqs", 607 }, { "nrpe", 5666 }, { "nsca", 5667 },
    { "ntalk", 518 }, { "ntp", 123 }, { "ntske", 4460 }, { "nut", 3493 }, { "olsr", 698 }, { "omniorb", 8088 },
    { "openflow", 6653 }, { "openvpn", 1194 }, { "ospf6d", 2606 }, { "ospfapi", 2607 }, { "ospfd", 2604 },
    { "ovsdb", 6640 }, { "passwd-server", 752 }, { "pawserv", 345 }, { "pop3", 110 }, { "pop3s", 995 },
    { "poppassd", 106 }, { "postgresql", 5432 }, { "pptp", 1723 }, { "predict", 1210 }, { "printer", 515 },
    { "proofd", 1093 }, { "ptp-event", 319 }, { "ptp-general", 320 }, { "puppet", 8140 }, { "qmqp", 628 },
    { "qmtp", 209 }, { "qotd", 17 }, { "radius", 1812 }, { "radius-acct", 1813 }, { "radmin-port", 4899 },
    { "re-mail-ck", 50 }, { "redis", 6379 }, { "remctl", 4373 }, { "rip", 520 }, { "ripd", 2602 }, { "ripng", 521 },
    { "ripngd", 2603 }, { "rmiregistry", 1099 }, { "rmtcfg", 1236 }, { "rootd", 1094 }, { "route", 520 },
    { "rpc2portmap", 369 }, { "rpki-rtr", 323 }, { "rpki-rtr-tls", 324 }, { "rplay", 5555 }, { "rsync", 873 },
    { "rtcm-sc104", 2101 }, { "rtmp", 1935 }, { "rtsp", 554 }, { "sa-msg-port", 1646 }, { "saft", 487 },
    { "sane-port", 6566 }, { "secure-mqtt", 8883 }, { "sge-execd", 6445 }, { "sge-qmaster", 6444 },
    { "sgi-cad", 17004 }, { "sgi-cmsd", 17001 }, { "sgi-crsd", 17002 }, { "sgi-gcd", 17003 }, { "shell", 514 },
    { "sieve", 4190 }, { "silc", 706 }, { "sip", 5060 }, { "sip-tls", 5061 }, { "sips", 5061 }, { "skkserv", 1178 },
    { "slp", 427 }, { "smtp", 25 }, { "smux", 199 }, { "snmp", 161 }, { "snmp-trap", 162 }, { "snmptls", 10161 },
    { "snmptrap", 162 }, { "snpp", 444 }, { "socks", 1080 }, { "spamd", 783 }, { "ssdp", 1900 }, { "ssh", 22 },
    { "stun", 3478 }, { "stuns", 5349 }, { "submission", 587 }, { "submissions", 465 }, { "sunrpc", 111 },
    { "supfiledbg", 1127 }, { "supfilesrv", 871 }, { "suucp", 4031 }, { "svn", 3690 }, { "svrloc", 427 },
    { "syslog", 514 }, { "syslog-tls", 6514 }, { "sysrqd", 4094 }, { "systat", 11 }, { "tacacs", 49 },
    { "talk", 517 }, { "tcpmux", 1 }, { "telnet", 23 }, { "telnets", 992 }, { "teredo", 3544 }, { "tfido", 60177 },
    { "tftp", 69 }, { "time", 37 }, { "tinc", 655 }, { "tproxy", 8081 }, { "uucp", 540 }, { "venus", 2430 },
    { "venus-se", 2431 }, { "vxlan", 4789 }, { "webmin", 10000 }, { "who", 513 }, { "whois", 43 }, { "wnn6", 22273 },
    { "wsman", 5985 }, { "wsmans", 5986 }, { "www", 80 }, { "www-http", 80 }, { "x11", 6000 }, { "x11-1", 6001 },
    { "x11-2", 6002 }, { "x11-3", 6003 }, { "x11-4", 6004 }, { "x11-5", 6005 }, { "x11-6", 6006 }, { "x11-7", 6007 },
    { "xdmcp", 177 }, { "xinetd", 9098 }, { "xmms2", 9667 }, { "xmpp-client", 5222 }, { "xmpp-server", 5269 },
    { "xtel", 1313 }, { "xtelw", 1314 }, { "z3950", 210 }, { "zabbix-agent", 10050 }, { "zabbix-trapper", 10051 },
    { "zebra", 2601 }, { "zebrasrv", 2600 }, { "zephyr-clt", 2103 }, { "zephyr-hm", 2104 }, { "zephyr-srv", 2102 },
    { "zope", 9673 }, { "zope-ftp", 8021 }, { "zserv", 346 },
};

/// IANA, "Assigned Internet Protocol Numbers".
constexpr NamedNumber kProtocols[] = {
    { "ah", 51 }, { "ahp", 51 }, { "cbt", 7 }, { "dccp", 33 }, { "egp", 8 }, { "eigrp", 88 }, { "encap", 98 },
    { "esp", 50 }, { "etherip", 97 }, { "ggp", 3 }, { "gre", 47 }, { "hip", 139 }, { "hmp", 20 }, { "icmp", 1 },
    { "icmpv6", 58 }, { "idrp", 45 }, { "igmp", 2 }, { "igp", 9 }, { "ipcomp", 108 }, { "ipinip", 4 }, { "ipip", 94 },
    { "ipv6-icmp", 58 }, { "isis", 124 }, { "l2tp", 115 }, { "mobility-header", 135 }, { "mpls-in-ip", 137 },
    { "ospf", 89 }, { "pim", 103 }, { "rdp", 27 }, { "rohc", 142 }, { "rsvp", 46 }, { "sctp", 132 }, { "shim6", 140 },
    { "st", 5 }, { "tcp", 6 }, { "udp", 17 }, { "udplite", 136 }, { "vrrp", 112 }, { "wesp", 141 },
};

/// IANA, "Internet Control Message Protocol (ICMP) Parameters".
constexpr NamedNumber kIcmpTypes[] = {
    { "address-mask-reply", 18 }, { "address-mask-request", 17 }, { "destination-unreachable", 3 }, { "echo", 8 },
    { "echo-reply", 0 }, { "echo-request", 8 }, { "extended-echo-reply", 43 }, { "extended-echo-request", 42 },
    { "information-reply", 16 }, { "information-request", 15 }, { "parameter-problem", 12 }, { "photuris", 40 },
    { "redirect", 5 }, { "router-advertisement", 9 }, { "router-solicitation", 10 }, { "source-quench", 4 },
    { "time-exceeded", 11 }, { "timestamp-reply", 14 }, { "timestamp-request", 13 }, { "traceroute", 30 },
    { "unreachable", 3 },
};

/// IANA, "Internet Control Message Protocol version 6 (ICMPv6) Parameters".
constexpr NamedNumber kIcmp6Types[] = {
    { "certification-path-advertisement", 149 }, { "certification-path-solicitation", 148 },
    { "destination-unreachable", 1 }, { "echo", 128 }, { "echo-reply", 129 }, { "echo-request", 128 },
    { "extended-echo-reply", 161 }, { "extended-echo-request", 160 }, { "home-agent-reply", 145 },
    { "home-agent-request", 144 }, { "inverse-neighbor-advertisement", 142 },
    { "inverse-neighbor-solicitation", 141 }, { "mld-done", 132 }, { "mld-query", 130 }, { "mld-report", 131 },
    { "mldv2-report", 143 }, { "mobile-prefix-advertisement", 147 }, { "mobile-prefix-solicitation", 146 },
    { "multicast-router-advertisement", 151 }, { "multicast-router-solicitation", 152 },
    { "multicast-router-termination", 153 }, { "neighbor-advertisement", 136 }, { "neighbor-solicitation", 135 },
    { "node-information-query", 139 }, { "node-information-response", 140 }, { "packet-too-big", 2 },
    { "parameter-problem", 4 }, { "redirect", 137 }, { "router-advertisement", 134 }, { "router-renumbering", 138 },
    { "router-solicitation", 133 }, { "rpl-control", 155 }, { "time-exceeded", 3 }, { "unreachable", 1 },
};

/// IANA, "Differentiated Services Field Codepoints (DSCP)"; without le, which would be taken for "less or equal".
constexpr NamedNumber kDscps[] = {
    { "af11", 10 }, { "af12", 12 }, { "af13", 14 }, { "af21", 18 }, { "af22", 20 }, { "af23", 22 }, { "af31", 26 },
    { "af32", 28 }, { "af33", 30 }, { "af41", 34 }, { "af42", 36 }, { "af43", 38 }, { "cs0", 0 }, { "cs1", 8 },
    { "cs2", 16 }, { "cs3", 24 }, { "cs4", 32 }, { "cs5", 40 }, { "cs6", 48 }, { "cs7", 56 }, { "default", 0 },
    { "ef", 46 }, { "va", 44 }, { "voice-admit", 44 },
};

// clang-format on

constexpr bool ascends( std::span<NamedNumber const> entries ) {
  return std::is_sorted( entries.begin(), entries.end(),
                         []( NamedNumber const& a, NamedNumber const& b ) { return a.name < b.name; } );
}
static_assert( ascends( kServices ) && ascends( kProtocols ) && ascends( kIcmpTypes ) && ascends( kIcmp6Types ) &&
               ascends( kDscps ) );

constexpr NumberNames kIcmpTypeNames{ kIcmpTypes };
constexpr NumberNames kIcmp6TypeNames{ kIcmp6Types };

}  // namespace

constinit NumberNames const kServiceNames{ kServices };
constinit NumberNames const kProtocolNames{ kProtocols };
constinit NumberNames const kDscpNames{ kDscps };
constinit NumberNames const kNoNames{ {} };

NumberNames const& icmpTypeNames( Vell::AddressFamily family ) {
  return family == Vell::AddressFamily::ipv4 ? kIcmpTypeNames : kIcmp6TypeNames;
}

std::optional<std::uint32_t> NumberNames::number( std::string_view name ) const {
  auto const found =
      std::lower_bound( entries_.begin(), entries_.end(), name,
                        []( NamedNumber const& entry, std::string_view wanted ) { return entry.name < wanted; } );
  if ( found == entries_.end() || found->name != name ) return std::nullopt;
  return found->number;
}

std::string_view NumberNames::name( std::uint32_t number ) const {
  auto const found = std::find_if( entries_.begin(), entries_.end(),
                                   [number]( NamedNumber const& entry ) { return entry.number == number; } );
  return found == entries_.end() ? std::string_view() : found->name;
}

void NumberNames::considerFor( NearestWord& nearest ) const {
  for ( NamedNumber const& entry : entries_ ) nearest.consider( entry.name );
}

}  // namespace Orvex::Host
