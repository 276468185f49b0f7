#include "packets/PacketJson.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "Kiv/Value.h"
#include "Vell/Ip4Addr.h"
#include "Vell/Ip6Addr.h"
#include "input/NearestWord.h"
#include "json/JsonTree.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kTcpFlags = "tcpFlags";
constexpr std::uint32_t kMaxTcpFlags = 255;

std::string addressText( Vell::IpGenPrefix const& address ) {
  std::string const prefix = textOf( address );
  return prefix.substr( 0, prefix.find( '/' ) );
}

/// One line's object.
class PacketReader {
 public:
  PacketReader( SourceFile const& file, Diagnostics& diagnostics ) : file_( file ), diagnostics_( diagnostics ) {}

  std::optional<AskedPacket> read( std::size_t line ) {
    auto const root = readJson( file_, file_.line( line ), diagnostics_ );
    if ( !root ) return std::nullopt;
    auto const* const members = root->as<JsonNode::Members>();
    if ( !members ) {
      error( root->source(), "this is " + std::string( root->kindText() ), "write an object for each packet" );
      return std::nullopt;
    }
    result_.line = line;
    for ( JsonMember const& member : *members ) readMember( member );
    for ( std::string_view const name : { "acl", "src", "dst" } )
      if ( !root->member( name ) )
        error( root->source(), inQuotes( name ) + " is missing", "a packet has acl, src and dst" );
    if ( !failed_ && result_.packet.source.af() != result_.packet.destination.af() )
      error( root->source(), "source and destination are of different families", "write both in IPv4 or IPv6" );
    return failed_ ? std::nullopt : std::optional( std::move( result_ ) );
  }

 private:
  void error( std::string_view part, std::string problem, std::string remedy ) {
    failed_ = true;
    diagnostics_.error( file_.placeOf( part ), std::move( problem ), std::move( remedy ) );
  }

  void readMember( JsonMember const& member ) {
    if ( member.name == "acl" ) return readText( member, result_.acl );
    if ( member.name == "src" ) return readAddress( member, result_.packet.source );
    if ( member.name == "dst" ) return readAddress( member, result_.packet.destination );
    if ( member.name == kTcpFlags ) {
      if ( auto const number = readNumber( member, kMaxTcpFlags ) )
        result_.packet.tcpFlags = static_cast<std::uint8_t>( *number );
      return;
    }
    for ( Field const field : kFields )
      if ( member.name == Kiv::stringValue( field ) ) {
        if ( auto const number = readNumber( member, maximumOf( field ) ) ) result_.packet.fields[field] = *number;
        return;
      }
    NearestWord nearest( member.name );
    for ( std::string_view const name :
          { std::string_view( "acl" ), std::string_view( "src" ), std::string_view( "dst" ), kTcpFlags } )
      nearest.consider( name );
    for ( std::string_view const name : kFieldNames ) nearest.consider( name );
    error( member.nameSource, "a packet has no " + inQuotes( member.name ), nearest.question() );
  }

  void readText( JsonMember const& member, std::string& text ) {
    if ( auto const* const value = member.value.as<std::string>() )
      text = *value;
    else
      error( member.value.source(), "this is " + std::string( member.value.kindText() ), "write a string" );
  }

  void readAddress( JsonMember const& member, Vell::IpGenPrefix& address ) {
    std::string text;
    readText( member, text );
    if ( failed_ ) return;
    bool const ipv6 = text.find( ':' ) != std::string::npos;
    Kiv::TextReader reader( text );
    try {
      address = ipv6 ? Vell::IpGenPrefix( Vell::Ip6Addr::read( reader ), 128 )
                     : Vell::IpGenPrefix( Vell::readIp4Addr( reader ), 32 );
      reader.expectEnd();
    } catch ( Kiv::ParseException const& ) {
      error( member.value.source(), inQuotes( text ) + " is no address",
             "write an address such as 10.0.0.1 or 2001:db8::1" );
    }
  }

  std::optional<std::uint32_t> readNumber( JsonMember const& member, std::uint32_t maximum ) {
    auto const* const value = member.value.as<std::uint64_t>();
    if ( value && *value <= maximum ) return static_cast<std::uint32_t>( *value );
    error( member.value.source(), "this is no " + member.name,
           "write a number from 0 to " + std::to_string( maximum ) );
    return std::nullopt;
  }

  SourceFile const& file_;
  Diagnostics& diagnostics_;
  AskedPacket result_;
  bool failed_ = false;
};

}  // namespace

std::optional<std::vector<AskedPacket>> readPackets( SourceFile const& file, Diagnostics& diagnostics ) {
  std::vector<AskedPacket> packets;
  bool failed = false;
  for ( std::size_t line = 1; line <= file.lineCount(); ++line ) {
    if ( diagnostics.tooManyErrors() ) return std::nullopt;
    if ( !file.lineIsText( line ) ) {
      failed = true;
      continue;
    }
    if ( file.line( line ).find_first_not_of( " \t" ) == std::string_view::npos ) continue;
    auto packet = PacketReader( file, diagnostics ).read( line );
    if ( packet )
      packets.push_back( *std::move( packet ) );
    else
      failed = true;
  }
  return failed ? std::nullopt : std::optional( std::move( packets ) );
}

std::string packetJson( std::string_view acl, Verify::Packet const& packet ) {
  std::string text = fmt::format( R"({{"acl": {}, "src": "{}", "dst": "{}")", nlohmann::json( acl ).dump(),
                                  addressText( packet.source ), addressText( packet.destination ) );
  auto const add = [&text]( std::string_view name, std::uint32_t value ) {
    if ( value != 0 ) text += fmt::format( R"(, "{}": {})", name, value );
  };
  for ( Field const field : kFields ) add( Kiv::stringValue( field ), packet.fields[field] );
  add( kTcpFlags, packet.tcpFlags );
  return text + "}";
}

std::string verdictJson( Verify::Verdict const& verdict ) {
  std::string const rule = verdict.rule ? std::to_string( *verdict.rule ) : "null";
  return fmt::format( R"({{"rule": {}, "action": "{}"}})", rule, verdict.action.dropEnabled ? "deny" : "permit" );
}

}  // namespace Orvex::Host
