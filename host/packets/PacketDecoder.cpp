#include "packets/PacketDecoder.h"

#include <algorithm>
#include <optional>

#include "Kiv/FatalCheck.h"

namespace Orvex::Host {

namespace {

namespace EtherType {
constexpr std::uint32_t kIpv4 = 0x0800;
constexpr std::uint32_t kIpv6 = 0x86dd;
constexpr std::uint32_t kVlan = 0x8100;
constexpr std::uint32_t kServiceVlan = 0x88a8;
constexpr std::uint32_t kOldServiceVlan = 0x9100;
}  // namespace EtherType

namespace Protocol {
constexpr std::uint32_t kHopByHop = 0;
constexpr std::uint32_t kIcmp = 1;
constexpr std::uint32_t kTcp = 6;
constexpr std::uint32_t kUdp = 17;
constexpr std::uint32_t kDccp = 33;
constexpr std::uint32_t kRouting = 43;
constexpr std::uint32_t kFragment = 44;
constexpr std::uint32_t kAuthentication = 51;
constexpr std::uint32_t kIcmpv6 = 58;
constexpr std::uint32_t kNoNextHeader = 59;
constexpr std::uint32_t kDestinationOptions = 60;
constexpr std::uint32_t kSctp = 132;
constexpr std::uint32_t kUdpLite = 136;
}  // namespace Protocol

constexpr std::size_t kIpv4Header = 20;
constexpr std::size_t kIpv6Header = 40;
constexpr std::uint32_t kOffsetMask = 0x1fff;

bool isExtension( std::uint32_t nextHeader ) {
  return nextHeader == Protocol::kHopByHop || nextHeader == Protocol::kRouting || nextHeader == Protocol::kFragment ||
         nextHeader == Protocol::kAuthentication || nextHeader == Protocol::kDestinationOptions;
}

/// In the order of the reasons that name them.
enum class Layer : std::uint32_t { link, ip, extensions, transport };

Undecoded reasonOf( Undecoded inLink, Layer layer ) {
  return static_cast<Undecoded>( Kiv::enumValue( inLink ) + Kiv::enumValue( layer ) );
}
static_assert( Kiv::enumValue( Undecoded::cutInTransport ) ==
               Kiv::enumValue( Undecoded::cutInLink ) + Kiv::enumValue( Layer::transport ) );
static_assert( Kiv::enumValue( Undecoded::endsInTransport ) ==
               Kiv::enumValue( Undecoded::endsInLink ) + Kiv::enumValue( Layer::transport ) );

/// One frame. It is read from left to right: each function reads the header that comes next, whose bytes count from 0.
class Decoder {
 public:
  explicit Decoder( Frame const& frame ) : bytes_( frame.captured ), end_( frame.wireLength ) {}

  std::variant<Verify::Packet, Undecoded> decode( LinkType link ) {
    if ( auto const failure = readLink( link ) ) return *failure;
    return packet_;
  }

 private:
  /// Why there is no packet; nothing when all is well.
  using Failure = std::optional<Undecoded>;

  Failure readLink( LinkType link ) {
    switch ( link ) {
      case LinkType::ethernet:
        return readFrame( 14, 12 );
      case LinkType::linuxCooked:
        return readFrame( 16, 14 );
      case LinkType::linuxCooked2:
        return readFrame( 20, 0 );
      case LinkType::rawIp:
        break;
    }
    if ( auto const lack = lackOf( 1, Layer::ip ) ) return lack;
    if ( versionOf() == 4 ) return readIpv4();
    if ( versionOf() == 6 ) return readIpv6();
    return Undecoded::wrongVersion;
  }

  Failure readFrame( std::size_t header, std::size_t typeAt ) {
    if ( auto const lack = lackOf( header, Layer::link ) ) return lack;
    std::uint32_t type = twoBytes( typeAt );
    skip( header );
    while ( type == EtherType::kVlan || type == EtherType::kServiceVlan || type == EtherType::kOldServiceVlan ) {
      if ( auto const lack = lackOf( 4, Layer::link ) ) return lack;
      type = twoBytes( 2 );
      skip( 4 );
    }
    if ( type == EtherType::kIpv4 ) return readIpv4();
    if ( type == EtherType::kIpv6 ) return readIpv6();
    return Undecoded::notIp;
  }

  Failure readIpv4() {
    if ( auto const lack = lackOf( kIpv4Header, Layer::ip ) ) return lack;
    if ( versionOf() != 4 ) return Undecoded::wrongVersion;
    std::size_t const header = std::size_t{ byte( 0 ) & 0xfU } * 4;
    std::uint32_t const length = twoBytes( 2 );
    if ( length == 0 ) return Undecoded::noLength;
    if ( header < kIpv4Header || length < header || length > end_ - at_ ) return Undecoded::wrongLength;
    if ( auto const lack = lackOf( header, Layer::ip ) ) return lack;
    end_ = at_ + length;
    packet_.source = Vell::IpGenPrefix( fourBytes( 12 ), 32 );
    packet_.destination = Vell::IpGenPrefix( fourBytes( 16 ), 32 );
    packet_.fields[Field::dscp] = byte( 1 ) >> 2;
    packet_.fields[Field::length] = length;
    packet_.fields[Field::fragment] = twoBytes( 6 ) & kOffsetMask;
    packet_.fields[Field::ttl] = byte( 8 );
    std::uint32_t const protocol = byte( 9 );
    skip( header );
    return readTransport( protocol, Protocol::kIcmp );
  }

  Failure readIpv6() {
    if ( auto const lack = lackOf( kIpv6Header, Layer::ip ) ) return lack;
    if ( versionOf() != 6 ) return Undecoded::wrongVersion;
    std::uint32_t const payload = twoBytes( 4 );
    std::uint32_t const nextHeader = byte( 6 );
    if ( payload == 0 && nextHeader != Protocol::kNoNextHeader ) return Undecoded::noLength;
    std::size_t const length = kIpv6Header + payload;
    if ( length > maximumOf( Field::length ) ) return Undecoded::tooLong;
    if ( length > end_ - at_ ) return Undecoded::wrongLength;
    end_ = at_ + length;
    packet_.source = ipv6Address( 8 );
    packet_.destination = ipv6Address( 24 );
    packet_.fields[Field::dscp] = ( twoBytes( 0 ) >> 6 ) & maximumOf( Field::dscp );
    packet_.fields[Field::length] = static_cast<std::uint32_t>( length );
    packet_.fields[Field::ttl] = byte( 7 );
    skip( kIpv6Header );
    return readExtensions( nextHeader );
  }

  Failure readExtensions( std::uint32_t nextHeader ) {
    bool hasFragmentHeader = false;
    while ( isExtension( nextHeader ) ) {
      if ( auto const lack = lackOf( 8, Layer::extensions ) ) return lack;
      std::uint32_t const header = nextHeader;
      nextHeader = byte( 0 );
      if ( header == Protocol::kFragment ) {
        if ( hasFragmentHeader ) return Undecoded::secondFragmentHeader;
        hasFragmentHeader = true;
        packet_.fields[Field::fragment] = twoBytes( 2 ) >> 3;
        skip( 8 );
        if ( packet_.isHeadFragment() ) continue;
        // What follows is from the middle of the packet.
        if ( isExtension( nextHeader ) ) return Undecoded::hiddenProtocol;
        break;
      }
      std::size_t const size = header == Protocol::kAuthentication ? ( byte( 1 ) + 2U ) * 4 : ( byte( 1 ) + 1U ) * 8;
      if ( auto const lack = lackOf( size, Layer::extensions ) ) return lack;
      skip( size );
    }
    return readTransport( nextHeader, Protocol::kIcmpv6 );
  }

  /// `icmp` is the family's own.
  Failure readTransport( std::uint32_t protocol, std::uint32_t icmp ) {
    packet_.fields[Field::proto] = protocol;
    if ( !packet_.isHeadFragment() ) return std::nullopt;
    if ( protocol == icmp ) {
      if ( auto const lack = lackOf( 1, Layer::transport ) ) return lack;
      packet_.fields[Field::icmpType] = byte( 0 );
      return std::nullopt;
    }
    switch ( protocol ) {
      case Protocol::kTcp:
        if ( auto const lack = lackOf( 14, Layer::transport ) ) return lack;
        packet_.tcpFlags = byte( 13 );
        break;
      case Protocol::kUdp:
      case Protocol::kDccp:
      case Protocol::kSctp:
      case Protocol::kUdpLite:
        if ( auto const lack = lackOf( 4, Layer::transport ) ) return lack;
        break;
      default:
        return std::nullopt;
    }
    packet_.fields[Field::sport] = twoBytes( 0 );
    packet_.fields[Field::dport] = twoBytes( 2 );
    return std::nullopt;
  }

  /// Whether the next bytes are there: in the packet, and in what was captured of it.
  Failure lackOf( std::size_t count, Layer layer ) const {
    if ( count > end_ - at_ ) return reasonOf( Undecoded::endsInLink, layer );
    if ( at_ > bytes_.size() || count > bytes_.size() - at_ ) return reasonOf( Undecoded::cutInLink, layer );
    return std::nullopt;
  }
  /// Requires: lackOf() the bytes is nothing.
  void skip( std::size_t count ) { at_ += count; }

  std::uint8_t byte( std::size_t offset ) const {
    KIV_CHECK( offset < end_ - at_ && offset < bytes_.size() - at_ );
    return bytes_[at_ + offset];
  }
  std::uint32_t twoBytes( std::size_t offset ) const {
    return static_cast<std::uint32_t>( byte( offset ) << 8 | byte( offset + 1 ) );
  }
  std::uint32_t fourBytes( std::size_t offset ) const { return twoBytes( offset ) << 16 | twoBytes( offset + 2 ); }
  std::uint64_t eightBytes( std::size_t offset ) const {
    return std::uint64_t{ fourBytes( offset ) } << 32 | fourBytes( offset + 4 );
  }
  Vell::IpGenPrefix ipv6Address( std::size_t offset ) const {
    return { Vell::Ip6Addr( eightBytes( offset ), eightBytes( offset + 8 ) ), 128 };
  }
  std::uint32_t versionOf() const { return byte( 0 ) >> 4; }

  std::span<std::uint8_t const> bytes_;
  std::size_t at_ = 0;   // of the next header; never behind end_
  std::size_t end_ = 0;  // of the frame, and once it is known of the IP packet
  Verify::Packet packet_;
};

}  // namespace

std::variant<Verify::Packet, Undecoded> decode( LinkType link, Frame const& frame ) {
  return Decoder( frame ).decode( link );
}

}  // namespace Orvex::Host
