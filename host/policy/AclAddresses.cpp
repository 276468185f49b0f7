#include "policy/AclAddresses.h"

#include <bit>
#include <cstdint>
#include <string>

#include "Kiv/Value.h"
#include "Vell/Ip4Addr.h"
#include "input/NearestWord.h"
#include "policy/AclFields.h"

namespace Orvex::Host {

namespace {

std::string quadText( std::uint32_t ipv4Address ) {
  char text[Vell::kIp4AddrTextSize];
  return { text, Vell::ip4AddrToChars( text, ipv4Address ) };
}

class AddressReader {
 public:
  AddressReader( AclLine& line, Vell::AddressFamily family, Diagnostics& diagnostics,
                 std::span<std::string_view const> otherWords )
      : line_( line ), family_( family ), diagnostics_( diagnostics ), otherWords_( otherWords ) {}

  Vell::IpGenPrefix read() {
    if ( line_.accept( "any" ) ) return Vell::IpGenPrefix::defaultRoute( family_ );
    if ( line_.accept( "host" ) ) return host();
    std::string_view const word = line_.word();
    std::size_t const slash = word.find( '/' );
    Vell::IpGenPrefix const address = addressOf( word.substr( 0, slash ) );
    line_.take();
    if ( slash != std::string_view::npos ) return cut( word, address, lengthOf( word.substr( slash + 1 ) ) );
    if ( family_ == Vell::AddressFamily::ipv4 && isDottedQuad( line_.word() ) ) return masked( word, address );
    line_.fail( word, "this address has neither a length nor a mask",
                "write \"host " + std::string( word ) + "\" or " + textOf( address ) );
  }

 private:
  std::uint32_t width() const { return Vell::addressWidthBits( family_ ); }

  Vell::IpGenPrefix host() {
    std::string_view const word = line_.word();
    if ( line_.atEnd() ) line_.failHere( "an address" );
    if ( word.find( '/' ) != std::string_view::npos )
      line_.fail( word, "a host is one address and has no length", "leave out \"host\", or the length" );
    Vell::IpGenPrefix const address = addressOf( word );
    line_.take();
    return address;
  }

  /// A prefix of full length.
  Vell::IpGenPrefix addressOf( std::string_view text ) const {
    checkFamily( text );
    Kiv::TextReader reader( text );
    try {
      Vell::IpGenPrefix const address =
          family_ == Vell::AddressFamily::ipv4
              ? Vell::IpGenPrefix( Vell::readIp4Addr( reader ), Vell::addressWidthBits( family_ ) )
              : Vell::IpGenPrefix( Vell::Ip6Addr::read( reader ), Vell::addressWidthBits( family_ ) );
      reader.expectEnd();
      return address;
    } catch ( Kiv::ParseException const& ) {
      failMalformed( text );
    }
  }

  void checkFamily( std::string_view text ) const {
    bool const ipv6 = text.find( ':' ) != std::string_view::npos;
    bool const ipv4 = !ipv6 && text.find( '.' ) != std::string_view::npos;
    if ( !ipv4 && !ipv6 ) failNoAddress();
    if ( ipv6 != ( family_ == Vell::AddressFamily::ipv6 ) )
      line_.fail( line_.word(),
                  inQuotes( line_.word() ) + ( ipv6 ? " is an IPv6 address" : " is an IPv4 address" ) +
                      ", and this belongs to " + std::string( familyName( family_ ) ),
                  "ACLs and prefix lists are of one family; those of IPv6 begin with \"ipv6\"" );
  }

  [[noreturn]] void failNoAddress() const {
    std::string const expected = std::string( familyName( family_ ) ) + " addresses";
    if ( line_.atEnd() ) line_.failHere( expected );
    NearestWord nearest( line_.word() );
    nearest.consider( "any" );
    nearest.consider( "host" );
    for ( std::string_view const each : otherWords_ ) nearest.consider( each );
    std::string const question = nearest.question();
    line_.fail( line_.word(), inQuotes( line_.word() ) + " is no address",
                question.empty() ? "expected any, host ADDRESS or ADDRESS/LENGTH" : question );
  }

  [[noreturn]] void failMalformed( std::string_view text ) const {
    line_.fail( text, inQuotes( text ) + " is no " + std::string( familyName( family_ ) ) + " address",
                family_ == Vell::AddressFamily::ipv4
                    ? "write four numbers from 0 to 255, without leading zeros, with points between them"
                    : "write eight groups of up to four hexadecimal digits, or :: for a run of zeros" );
  }

  std::uint32_t lengthOf( std::string_view digits ) const {
    std::uint32_t length = 0;
    for ( char const digit : digits ) {
      if ( digit < '0' || digit > '9' ) break;
      length = length * 10 + static_cast<std::uint32_t>( digit - '0' );
      if ( length > width() ) break;
    }
    bool const isNumber = !digits.empty() && digits.find_first_not_of( "0123456789" ) == std::string_view::npos;
    if ( !isNumber || length > width() )
      line_.fail( digits, inQuotes( digits ) + " is no prefix length",
                  "a length in " + std::string( familyName( family_ ) ) + " is a number from 0 to " +
                      std::to_string( width() ) );
    return length;
  }

  Vell::IpGenPrefix cut( std::string_view written, Vell::IpGenPrefix const& address, std::uint32_t length ) {
    Vell::IpGenPrefix const prefix = family_ == Vell::AddressFamily::ipv4
                                         ? Vell::IpGenPrefix( address.ipv4Address(), length )
                                         : Vell::IpGenPrefix( address.ipv6Address(), length );
    Vell::IpGenPrefix const first = family_ == Vell::AddressFamily::ipv4
                                        ? Vell::IpGenPrefix( prefix.ipv4Address(), width() )
                                        : Vell::IpGenPrefix( prefix.ipv6Address(), width() );
    if ( first != address )
      diagnostics_.warning( line_.placeOf( written ), "this address has bits beyond its prefix length",
                            "it is read as " + textOf( prefix ) );
    return prefix;
  }

  static bool isDottedQuad( std::string_view word ) {
    return !word.empty() && word.find_first_not_of( "0123456789." ) == std::string_view::npos &&
           word.find( '.' ) != std::string_view::npos;
  }

  Vell::IpGenPrefix masked( std::string_view written, Vell::IpGenPrefix const& address ) {
    std::string_view const word = line_.word();
    std::uint32_t const mask = addressOf( word ).ipv4Address();
    if ( ( mask & ( mask + 1 ) ) != 0 ) failMask( word, mask );
    line_.take();
    return cut( written, address, static_cast<std::uint32_t>( std::countl_zero( mask ) ) );
  }

  [[noreturn]] void failMask( std::string_view word, std::uint32_t mask ) const {
    bool const isNetmask = ( ~mask & ( ~mask + 1 ) ) == 0;
    std::string const problem =
        "the ones of wildcard mask " + std::string( word ) + " do not stand together at the right";
    if ( isNetmask )
      line_.fail( word, problem,
                  "it looks like a subnet mask: write " + quadText( ~mask ) + " or /" +
                      std::to_string( std::countl_one( mask ) ) );
    line_.fail( word, problem, "addresses are matched by prefix: write an entry for each prefix" );
  }

  AclLine& line_;
  Vell::AddressFamily family_;
  Diagnostics& diagnostics_;
  std::span<std::string_view const> otherWords_;
};

}  // namespace

Vell::IpGenPrefix readAddress( AclLine& line, Vell::AddressFamily family, Diagnostics& diagnostics,
                               std::span<std::string_view const> otherWords ) {
  return AddressReader( line, family, diagnostics, otherWords ).read();
}

std::string_view familyName( Vell::AddressFamily family ) {
  return family == Vell::AddressFamily::ipv4 ? "IPv4" : "IPv6";
}

}  // namespace Orvex::Host
