#include "packets/PacketDecoder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Kiv/Value.h"
#include "host/PolicyNotation.h"
#include "packets/CaptureFile.h"
#include "packets/Random.h"

namespace Orvex::Host {
namespace {

/// "0800 45" is three bytes.
std::vector<std::uint8_t> bytesOf( std::string_view hex ) {
  std::vector<std::uint8_t> bytes;
  std::string digits;
  for ( char const each : hex ) {
    if ( each != ' ' ) digits += each;
    if ( digits.size() != 2 ) continue;
    bytes.push_back( static_cast<std::uint8_t>( std::stoul( digits, nullptr, 16 ) ) );
    digits.clear();
  }
  return bytes;
}

std::string hexOf( std::vector<std::uint8_t> const& bytes ) {
  std::ostringstream hex;
  for ( std::uint8_t const byte : bytes ) hex << std::hex << std::setw( 2 ) << std::setfill( '0' ) << int{ byte };
  return hex.str();
}

/// In the notation of packets; or the reason why there is none.
std::string textOf( std::variant<Verify::Packet, Undecoded> const& decoded ) {
  auto const* const reason = std::get_if<Undecoded>( &decoded );
  return reason ? std::string( Kiv::stringValue( *reason ) ) : Test::textOf( std::get<Verify::Packet>( decoded ) );
}

struct Case {
  LinkType link;
  std::string hex;
  std::string want;
};

constexpr char const* kEthernet = "ffffffffffff 020000000001";
constexpr char const* kAddresses4 = "0000 0a000001 c0000201";  // behind the header's checksum
constexpr char const* kAddresses6 = "20010db8000000000000000000000001 20010db8000000000000000000000002";

std::string ethernet( std::string const& rest ) { return kEthernet + rest; }

/// `start` is a header up to its checksum.
std::string ipv4( std::string const& start, std::string const& payload ) { return start + kAddresses4 + payload; }
/// `start` is a header up to its addresses.
std::string ipv6( std::string const& start, std::string const& payload ) { return start + kAddresses6 + payload; }

std::vector<Case> const& cases() {
  static std::string const tcp = "0035 01bb 00000001 00000002 5012 ffff 0000 0000";
  static std::string const tcp4 = ipv4( "45b8 0028 0001 4000 4006", tcp );
  static std::string const tcp6 = ipv6( "6b812345 0014 06 ff", tcp );
  static std::string const tcp4Text =
      "10.0.0.1 192.0.2.1; sport 53; dport 443; proto 6; length 40; dscp 46; ttl 64; tcpFlags 18";
  static std::string const tcp6Text =
      "2001:db8::1 2001:db8::2; sport 53; dport 443; proto 6; length 60; dscp 46; ttl 255; tcpFlags 18";
  static std::string const from6 = "2001:db8::1 2001:db8::2";
  static std::vector<Case> const all = {
      // What stands before the IP packet.
      { LinkType::ethernet, ethernet( "0800" + tcp4 ), tcp4Text },
      { LinkType::ethernet, ethernet( "86dd" + tcp6 ), tcp6Text },
      { LinkType::ethernet, ethernet( "8100 0064 0800" + tcp4 ), tcp4Text },
      { LinkType::ethernet, ethernet( "88a8 0001 9100 0002 8100 0003 86dd" + tcp6 ), tcp6Text },
      { LinkType::linuxCooked, "0000 0001 0006 020000000001 0000 0800" + tcp4, tcp4Text },
      { LinkType::linuxCooked, "0000 0001 0006 020000000001 0000 8100 0001 86dd" + tcp6, tcp6Text },
      { LinkType::linuxCooked2, "0800 0000 00000002 0001 00 06 0200000000010000" + tcp4, tcp4Text },
      { LinkType::rawIp, tcp4, tcp4Text },
      { LinkType::rawIp, tcp6, tcp6Text },
      { LinkType::ethernet, ethernet( "0806" + std::string( 56, '0' ) ), "no IP packet" },
      { LinkType::ethernet, ethernet( "0026 4242 03" ), "no IP packet" },
      { LinkType::ethernet, ethernet( "08" ), "ends within the link header" },
      { LinkType::ethernet, ethernet( "8100 0064" ), "ends within the link header" },
      { LinkType::rawIp, "", "ends within the IP header" },
      { LinkType::rawIp, "55" + tcp4.substr( 2 ), "IP version is not the announced one" },
      { LinkType::ethernet, ethernet( "86dd" + tcp4 + tcp4 ), "IP version is not the announced one" },
      // IPv4: padding is not the packet's; options are passed over; lengths fit.
      { LinkType::ethernet,
        ethernet( "0800" + ipv4( "4500 001c 0000 0000 0111", "0043 0044 0008 0000" ) + "0123456789" ),
        "10.0.0.1 192.0.2.1; sport 67; dport 68; proto 17; length 28; ttl 1" },
      { LinkType::ethernet, ethernet( "0800" + ipv4( "4500 0016 0000 0000 4011", "0043" ) + "0044 0008 0000" ),
        "ends within the transport header" },
      { LinkType::rawIp, ipv4( "4600 0020 0000 0000 4001", "94040000 0800 0000 00010001" ),
        "10.0.0.1 192.0.2.1; icmpType 8; proto 1; length 32; ttl 64" },
      { LinkType::rawIp, ipv4( "4600 0014 0000 0000 4001", "94040000" ),
        "IP lengths contradict the frame or each other" },
      { LinkType::rawIp, ipv4( "4400 0014 0000 0000 4001", "" ), "IP lengths contradict the frame or each other" },
      { LinkType::rawIp, ipv4( "4500 001d 0000 0000 4011", "0043 0044 0008 0000" ),
        "IP lengths contradict the frame or each other" },
      { LinkType::rawIp, ipv4( "4500 0000 0000 0000 4006", tcp ), "IP length 0: a jumbogram, or not yet segmented" },
      { LinkType::rawIp, ipv4( "4500 001c 0001 2000 4006", "0035 01bb 00000001" ), "ends within the transport header" },
      { LinkType::rawIp, ipv4( "4500 001c 0001 3fff 4006", "0035 01bb 00000001" ),
        "10.0.0.1 192.0.2.1; proto 6; length 28; fragment 8191; ttl 64" },
      { LinkType::rawIp, ipv4( "4500 0018 0000 0000 4033", "06000000" ),
        "10.0.0.1 192.0.2.1; proto 51; length 24; ttl 64" },
      { LinkType::rawIp, ipv4( "4500 0028 0000 0000 4004", tcp ), "10.0.0.1 192.0.2.1; proto 4; length 40; ttl 64" },
      { LinkType::rawIp, ipv4( "4500 0015 0000 0000 403a", "80" ), "10.0.0.1 192.0.2.1; proto 58; length 21; ttl 64" },
      // IPv6: the protocol is behind the extension headers.
      { LinkType::rawIp, ipv6( "60000000 0008 3a 40", "8700 0000 00000000" ),
        from6 + "; icmpType 135; proto 58; length 48; ttl 64" },
      { LinkType::rawIp,
        ipv6( "60000000 0044 00 40",
              "2b00010400000000  2c02040000000000 00000000000000000000000000000000"
              "33000000 00000001  3c01 0000 00000001 00000000  1100010400000000"
              "0001 0002 0004 0000" ),
        from6 + "; sport 1; dport 2; proto 17; length 108; ttl 64" },
      { LinkType::rawIp, ipv6( "60000000 0010 2c 40", "06000009 00000001 0035 01bb 00000001" ),
        from6 + "; proto 6; length 56; fragment 1; ttl 64" },
      { LinkType::rawIp, ipv6( "60000000 0010 2c 40", "06000001 00000001 0035 01bb 00000001" ),
        "ends within the transport header" },
      { LinkType::rawIp, ipv6( "60000000 0010 2c 40", "3c000009 00000001 0600010400000000" ),
        "later IPv6 fragment that does not show its protocol" },
      { LinkType::rawIp, ipv6( "60000000 0010 2c 40", "2c000000 00000001 06000000 00000001" ),
        "two IPv6 fragment headers" },
      { LinkType::rawIp, ipv6( "60000000 0008 3c 40", "0601010400000000" ), "ends within the IPv6 extension headers" },
      { LinkType::rawIp, ipv6( "60000000 0000 3b 40", "" ), from6 + "; proto 59; length 40; ttl 64" },
      { LinkType::rawIp, ipv6( "60000000 0000 00 40", "0600c20400010000" ),
        "IP length 0: a jumbogram, or not yet segmented" },
      { LinkType::rawIp, ipv6( "60000000 ffff 06 40", tcp ), "IPv6 packet beyond 65,535 bytes" },
      { LinkType::rawIp, ipv6( "60000000 0015 06 40", tcp ), "IP lengths contradict the frame or each other" },
  };
  return all;
}

TEST( PacketDecoder, EachFrameGivesItsPacketOrTheReasonWhyNot ) {
  for ( Case const& each : cases() ) {
    auto const frame = bytesOf( each.hex );
    EXPECT_EQ( each.want, textOf( decode( each.link, { frame, frame.size() } ) ) ) << each.hex;
  }
}

/// The bytes stand at the end of their own memory, where a sanitizer sees what is read behind them.
std::string decodedCut( LinkType link, std::vector<std::uint8_t> const& frame, std::size_t captured ) {
  auto const copy = std::make_unique<std::uint8_t[]>( captured );
  std::copy_n( frame.begin(), captured, copy.get() );
  return textOf( decode( link, { { copy.get(), captured }, frame.size() } ) );
}

/// A capture that holds less says the same, or that it holds too little; never something else.
void expectCutsToSayTheSameOrTooLittle( LinkType link, std::vector<std::uint8_t> const& frame ) {
  std::string const whole = decodedCut( link, frame, frame.size() );
  bool said = false;
  for ( std::size_t captured = 0; captured != frame.size(); ++captured ) {
    std::string const cut = decodedCut( link, frame, captured );
    bool const tooLittle = cut.find( "captured only into" ) == 0;
    said = said || !tooLittle;
    ASSERT_TRUE( said ? cut == whole : tooLittle ) << captured << " bytes: " << cut << ", all: " << whole;
  }
}

TEST( PacketDecoder, ACutFrameIsNeverTakenForAnother ) {
  for ( Case const& each : cases() ) {
    SCOPED_TRACE( each.hex );
    expectCutsToSayTheSameOrTooLittle( each.link, bytesOf( each.hex ) );
  }
}

TEST( PacketDecoder, AnyBytesGiveAPacketOfItsFieldsLimitsOrAReason ) {
  constexpr std::uint64_t kSeed = 20261;
  SCOPED_TRACE( kSeed );
  Random random( kSeed );
  for ( int round = 0; round != 4000; ++round ) {
    Case const& origin = random.oneOf( cases() );
    auto frame = bytesOf( origin.hex );
    for ( std::uint64_t changes = random.below( 4 ); changes != 0 && !frame.empty(); --changes )
      frame[random.below( frame.size() )] = static_cast<std::uint8_t>( random.below( 256 ) );
    auto const link = static_cast<LinkType>( random.percent( 90 ) ? Kiv::enumValue( origin.link ) : random.below( 4 ) );
    auto const decoded = decode( link, { frame, frame.size() } );
    if ( auto const* const packet = std::get_if<Verify::Packet>( &decoded ) ) Verify::familyOf( *packet );
    expectCutsToSayTheSameOrTooLittle( link, frame );
    if ( HasFatalFailure() ) return;
  }
}

// What others read in the same captures

using Frames = std::vector<std::vector<std::uint8_t>>;

bool isOfOneShape( Verify::Packet const& a, Verify::Packet const& b ) {
  auto const same = [&]( Field field ) { return a.fields[field] == b.fields[field]; };
  return same( Field::proto ) && same( Field::length ) && same( Field::fragment );
}

/// Frames of the link type that give packets: those above, and each often with a byte changed near its start that leaves
/// protocol, length and fragment offset alone. Farther behind, tshark gives a packet up for contents that the decoder does
/// not look at, such as options.
Frames framesToCompare( LinkType link, Random& random ) {
  Frames frames;
  for ( Case const& each : cases() ) {
    auto const origin = bytesOf( each.hex );
    auto const packet = decode( link, { origin, origin.size() } );
    if ( each.link != link || !std::holds_alternative<Verify::Packet>( packet ) ) continue;
    frames.push_back( origin );
    for ( int round = 0; round != 60; ++round ) {
      auto changed = origin;
      changed[random.below( std::min<std::size_t>( changed.size() - 8, 40 ) )] =
          static_cast<std::uint8_t>( random.below( 256 ) );
      auto const decoded = decode( link, { changed, changed.size() } );
      auto const* const other = std::get_if<Verify::Packet>( &decoded );
      if ( other && isOfOneShape( std::get<Verify::Packet>( packet ), *other ) ) frames.push_back( changed );
    }
  }
  return frames;
}

void writeCapture( std::string const& path, std::uint32_t linkNumber, Frames const& frames ) {
  std::ofstream file( path, std::ios::binary );
  auto const write = [&file]( std::vector<std::uint32_t> const& words ) {
    file.write( reinterpret_cast<char const*>( words.data() ), static_cast<std::streamsize>( words.size() * 4 ) );
  };
  write( { 0xa1b2c3d4, 0x00040002, 0, 0, 65535, linkNumber } );
  for ( auto const& frame : frames ) {
    auto const size = static_cast<std::uint32_t>( frame.size() );
    write( { 0, 0, size, size } );
    file.write( reinterpret_cast<char const*>( frame.data() ), size );
  }
}

/// By the names of tshark's fields; those that it does not show are not there.
using Shown = std::map<std::string, std::string>;

std::vector<std::string> shownFields() {
  std::istringstream names(
      "ip.src ip.dst ip.len ip.proto ip.frag_offset ip.dsfield.dscp ip.ttl ipv6.src ipv6.dst ipv6.plen "
      "ipv6.tclass.dscp ipv6.hlim ipv6.nxt ipv6.hopopts.nxt ipv6.routing.nxt ipv6.fraghdr.nxt ah.next_header "
      "ipv6.dstopts.nxt ipv6.fraghdr.offset tcp.srcport tcp.dstport tcp.flags udp.srcport udp.dstport icmp.type "
      "icmpv6.type" );
  return { std::istream_iterator<std::string>( names ), {} };
}

std::vector<Shown> shownByTshark( std::string const& path ) {
  std::string command =
      "tshark -n -o ip.defragment:FALSE -o ipv6.defragment:FALSE -T fields -E separator=, -E occurrence=f";
  auto const fields = shownFields();
  for ( std::string const& field : fields ) command += " -e " + field;
  std::unique_ptr<std::FILE, int ( * )( std::FILE* )> const pipe(
      popen( ( command + " -r '" + path + "' 2>&1" ).c_str(), "r" ), pclose );
  std::vector<Shown> frames;
  std::array<char, 4096> line{};
  while ( std::fgets( line.data(), line.size(), pipe.get() ) ) {
    std::istringstream text( line.data() );
    if ( text.str().find( "Running as user" ) == 0 ) continue;
    Shown shown;
    std::string value;
    for ( std::string const& field : fields )
      if ( std::getline( text, value, ',' ) && value.find_first_not_of( "\n" ) != std::string::npos )
        shown[field] = value;
    frames.push_back( shown );
  }
  return frames;
}

/// As textOf() writes it.
std::string textOf( Shown const& shown ) {
  auto const number = [&shown]( std::vector<std::string> const& names ) {
    std::uint32_t last = 0;
    for ( std::string const& name : names )
      if ( auto const found = shown.find( name ); found != shown.end() )
        last = static_cast<std::uint32_t>( std::stoul( found->second, nullptr, 0 ) );
    return last;
  };
  auto const word = [&shown]( std::string const& name ) { return shown.count( name ) ? shown.at( name ) : "::"; };
  bool const ipv4 = shown.count( "ip.src" ) != 0;
  auto packet = ipv4 ? Test::packet( word( "ip.src" ) + " " + word( "ip.dst" ) )
                     : Test::packet( word( "ipv6.src" ) + " " + word( "ipv6.dst" ) );
  auto& fields = packet.fields;
  fields[Field::sport] = number( { "tcp.srcport", "udp.srcport" } );
  fields[Field::dport] = number( { "tcp.dstport", "udp.dstport" } );
  fields[Field::icmpType] = ipv4 ? number( { "icmp.type" } ) : number( { "icmpv6.type" } );
  fields[Field::proto] = ipv4 ? number( { "ip.proto" } )
                              : number( { "ipv6.nxt", "ipv6.hopopts.nxt", "ipv6.routing.nxt", "ipv6.fraghdr.nxt",
                                          "ah.next_header", "ipv6.dstopts.nxt" } );
  fields[Field::length] = ipv4 ? number( { "ip.len" } ) : 40 + number( { "ipv6.plen" } );
  fields[Field::fragment] = number( { "ip.frag_offset", "ipv6.fraghdr.offset" } );
  fields[Field::dscp] = number( { "ip.dsfield.dscp", "ipv6.tclass.dscp" } );
  fields[Field::ttl] = number( { "ip.ttl", "ipv6.hlim" } );
  packet.tcpFlags = static_cast<std::uint8_t>( number( { "tcp.flags" } ) & 0xff );
  return Test::textOf( packet );
}

TEST( PacketDecoder, TsharkReadsTheSameInTheSameCaptures ) {
  if ( std::system( "tshark --version >/dev/null 2>&1" ) != 0 ) GTEST_SKIP() << "there is no tshark to compare with";
  constexpr std::uint64_t kSeed = 7;
  SCOPED_TRACE( kSeed );
  Random random( kSeed );
  std::string const path = std::filesystem::temp_directory_path() / ( "orvex-" + std::to_string( getpid() ) + ".pcap" );
  for ( auto const& [link, number] : std::map<LinkType, std::uint32_t>{ { LinkType::ethernet, 1 },
                                                                        { LinkType::linuxCooked, 113 },
                                                                        { LinkType::linuxCooked2, 276 },
                                                                        { LinkType::rawIp, 101 } } ) {
    auto const frames = framesToCompare( link, random );
    writeCapture( path, number, frames );
    auto const shown = shownByTshark( path );
    CaptureFile capture( path );
    ASSERT_EQ( link, capture.linkType() );
    ASSERT_EQ( frames.size(), shown.size() );
    for ( std::size_t at = 0; at != frames.size(); ++at )
      EXPECT_EQ( textOf( shown[at] ), textOf( decode( link, capture.next().value() ) ) ) << hexOf( frames[at] );
    EXPECT_FALSE( capture.next() );
  }
  std::filesystem::remove( path );
}

}  // namespace
}  // namespace Orvex::Host
