#include "FilterSetGenerator.h"

#include <array>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "Kiv/Value.h"
#include "RandomPrefix.h"

namespace Orvex::Bench {

namespace {

using Vell::IpGenPrefix;

constexpr std::uint32_t kNestedPercent = 67;

/// A value and how many of a hundred filters have it.
struct Share {
  std::uint32_t value;
  std::uint32_t percent;
};

enum PortKind : std::uint32_t { anyPort, onePort, highPorts, rangeOfPorts };

struct Style {
  std::array<Share, 6> sourceLengths;  // of IPv4 prefixes
  std::array<Share, 6> destinationLengths;
  std::array<Share, 4> sourcePorts;
  std::array<Share, 4> destinationPorts;
  /// How often an address is one that an earlier filter has.
  std::uint32_t repeatPercent;
  bool rangesCross;
};

constexpr std::array<Style, 3> kStyles = { {
    { { { { 32, 55 }, { 31, 24 }, { 23, 7 }, { 30, 6 }, { 24, 5 }, { 22, 3 } } },
      { { { 32, 51 }, { 31, 20 }, { 22, 10 }, { 30, 7 }, { 23, 6 }, { 16, 6 } } },
      { { { anyPort, 100 }, { onePort, 0 }, { highPorts, 0 }, { rangeOfPorts, 0 } } },
      { { { anyPort, 28 }, { onePort, 60 }, { highPorts, 1 }, { rangeOfPorts, 11 } } },
      50,
      false },
    { { { { 0, 41 }, { 1, 20 }, { 32, 20 }, { 31, 10 }, { 28, 6 }, { 22, 3 } } },
      { { { 32, 41 }, { 31, 28 }, { 0, 18 }, { 1, 9 }, { 28, 2 }, { 21, 2 } } },
      { { { anyPort, 77 }, { onePort, 15 }, { highPorts, 8 }, { rangeOfPorts, 0 } } },
      { { { anyPort, 30 }, { onePort, 62 }, { highPorts, 8 }, { rangeOfPorts, 0 } } },
      30,
      false },
    { { { { 32, 25 }, { 24, 25 }, { 23, 20 }, { 25, 15 }, { 0, 8 }, { 16, 7 } } },
      { { { 32, 38 }, { 24, 22 }, { 31, 15 }, { 25, 12 }, { 0, 6 }, { 16, 7 } } },
      { { { anyPort, 82 }, { onePort, 15 }, { highPorts, 1 }, { rangeOfPorts, 2 } } },
      { { { anyPort, 55 }, { onePort, 36 }, { highPorts, 6 }, { rangeOfPorts, 3 } } },
      60,
      true },
} };

std::uint32_t drawn( std::span<Share const> shares, Random& random ) {
  std::uint64_t left = random.below( 100 );
  for ( Share const& share : shares ) {
    if ( left < share.percent ) return share.value;
    left -= share.percent;
  }
  return shares.front().value;
}

/// Hosts stay hosts, and very short prefixes stay very short.
std::uint32_t lengthFor( Vell::AddressFamily family, std::uint32_t ipv4Length ) {
  if ( family == Vell::AddressFamily::ipv4 || ipv4Length < 8 ) return ipv4Length;
  return ipv4Length == 32 ? 128 : 2 * ipv4Length;
}

class Addresses {
 public:
  Addresses( Vell::AddressFamily family, std::span<Share const> lengths, std::uint32_t repeatPercent )
      : family_( family ), lengths_( lengths ), repeatPercent_( repeatPercent ) {}

  IpGenPrefix next( Random& random ) {
    if ( !all_.empty() && random.percent( repeatPercent_ ) ) return random.oneOf( all_ );
    std::uint32_t const length = lengthFor( family_, drawn( lengths_, random ) );
    IpGenPrefix outer = IpGenPrefix::defaultRoute( family_ );
    if ( !all_.empty() && random.percent( kNestedPercent ) ) {
      IpGenPrefix const& other = random.oneOf( all_ );
      if ( other.length() < length ) outer = other;
    }
    return all_.emplace_back( randomWithin( outer, length, random ) );
  }

 private:
  Vell::AddressFamily family_;
  std::span<Share const> lengths_;
  std::uint32_t repeatPercent_;
  std::vector<IpGenPrefix> all_;
};

class Ports {
 public:
  Ports( std::uint32_t filters, bool cross, Random& random ) {
    for ( std::uint32_t count = 20 + filters / 100; count != 0; --count )
      single_.push_back( random.between( 1, random.percent( 50 ) ? 1023 : 65535 ) );
    for ( std::uint32_t count = 5 + filters / 300; count != 0; --count ) {
      std::uint32_t const first = random.between( 1024, 64000 );
      ranges_.push_back( text( first, first + random.between( 1, 100 ) ) );
    }
    if ( !cross ) return;
    for ( std::uint32_t count = 1 + filters / 3000; count != 0; --count )
      ranges_.push_back( text( random.between( 1, 1023 ), random.between( 1024, 4096 ) ) );
  }

  std::string next( std::span<Share const> kinds, Random& random ) const {
    switch ( drawn( kinds, random ) ) {
      case onePort: {
        std::uint32_t const port = random.oneOf( single_ );
        return text( port, port );
      }
      case highPorts:
        return text( 1024, 65535 );
      case rangeOfPorts:
        return random.oneOf( ranges_ );
      default:
        return text( 0, 65535 );
    }
  }

 private:
  static std::string text( std::uint32_t first, std::uint32_t last ) {
    return std::to_string( first ).append( " : " ).append( std::to_string( last ) );
  }

  std::vector<std::uint32_t> single_;
  std::vector<std::string> ranges_;
};

}  // namespace

std::string filterSetText( FilterSetParameters const& parameters ) {
  constexpr std::array<std::string_view, 3> kProtocols = { "0x06/0xFF", "0x11/0xFF", "0x00/0x00" };
  Random random( parameters.seed );
  Style const& style = kStyles[static_cast<std::size_t>( parameters.style )];
  Addresses sources( parameters.family, style.sourceLengths, style.repeatPercent );
  Addresses destinations( parameters.family, style.destinationLengths, style.repeatPercent );
  Ports const ports( parameters.filters, style.rangesCross, random );
  std::set<std::string> known;
  std::string text;
  while ( known.size() != parameters.filters ) {
    std::string line = "@";
    line += Kiv::valueToStrep( sources.next( random ) ).view();
    line += '\t';
    line += Kiv::valueToStrep( destinations.next( random ) ).view();
    line += '\t';
    line += ports.next( style.sourcePorts, random );
    line += '\t';
    line += ports.next( style.destinationPorts, random );
    line += '\t';
    line += kProtocols[random.below( kProtocols.size() )];
    if ( known.insert( line ).second ) text += line + "\t0x0000/0x0000\n";
  }
  return text;
}

}  // namespace Orvex::Bench
