/// The texts of values: addresses, prefixes, numbers, and values that are made of others.
///
/// Each input is read as every kind. What is taken prints in a form that is read as the same value. What an address is, the
/// C library decides too, and both have to agree.

#include <arpa/inet.h>

#include <array>
#include <string>

#include "FuzzTarget.h"
#include "Kiv/Value.h"
#include "Orvex/OrvexPDTypes.h"
#include "Vell/Ip4Addr.h"

namespace Orvex::Fuzz {

namespace {

template <class T>
std::optional<T> valueOf( std::string_view text ) {
  try {
    return Kiv::strepToValue<T>( text );
  } catch ( Kiv::ParseException const& error ) {
    require( error.column() >= 1 && error.column() <= text.size() + 1, "the fault stands outside the text" );
  } catch ( Kiv::RangeException const& ) {
    // The text is well formed, and the value too large.
  }
  return std::nullopt;
}

template <class T>
void check( std::string_view text ) {
  auto const value = valueOf<T>( text );
  if ( !value ) return;
  Kiv::String const printed = Kiv::valueToStrep( *value );
  auto const back = valueOf<T>( printed.view() );
  if ( !back ) found( "what is printed is not read back: " + std::string( printed.view() ) );
  // What is not a number differs from itself.
  bool const isSame = *back == *value || printed.view().find( "nan" ) != std::string_view::npos;
  if ( !isSame ) found( "what is printed is another value: " + std::string( printed.view() ) );
  if ( Kiv::valueToStrep( *back ) != printed )
    found( "another text the second time: " + std::string( printed.view() ) );
}

template <class... Types>
void checkEach( std::string_view text ) {
  ( check<Types>( text ), ... );
}

// Addresses and the C library

std::optional<Vell::IpGenPrefix> addressOfCLibrary( std::string const& text ) {
  std::array<std::uint8_t, 16> bytes{};
  if ( inet_pton( AF_INET, text.c_str(), bytes.data() ) == 1 )
    return Vell::IpGenPrefix(
        std::uint32_t{ bytes[0] } << 24 | std::uint32_t{ bytes[1] } << 16 | std::uint32_t{ bytes[2] } << 8 | bytes[3],
        32 );
  if ( inet_pton( AF_INET6, text.c_str(), bytes.data() ) != 1 ) return std::nullopt;
  std::array<std::uint64_t, 2> halves{};
  for ( std::size_t at = 0; at != bytes.size(); ++at ) halves[at / 8] = halves[at / 8] << 8 | bytes[at];
  return Vell::IpGenPrefix( Vell::Ip6Addr( halves[0], halves[1] ), 128 );
}

/// Decimal digits without leading zeros; nothing else, and nothing above 128.
std::optional<std::uint32_t> lengthIn( std::string_view text ) {
  bool const isPlain = !text.empty() && text.size() <= 3 && ( text[0] != '0' || text.size() == 1 ) &&
                       text.find_first_not_of( "0123456789" ) == std::string_view::npos;
  if ( !isPlain ) return std::nullopt;
  auto const length = static_cast<std::uint32_t>( std::stoul( std::string( text ) ) );
  return length <= 128 ? std::optional( length ) : std::nullopt;
}

std::optional<Vell::IpGenPrefix> prefixOfCLibrary( std::string_view text ) {
  std::size_t const slash = text.find( '/' );
  if ( slash == std::string_view::npos ) return std::nullopt;
  auto const address = addressOfCLibrary( std::string( text.substr( 0, slash ) ) );
  auto const length = lengthIn( text.substr( slash + 1 ) );
  if ( !address || !length || *length > address->length() ) return std::nullopt;
  return address->af() == Vell::AddressFamily::ipv4 ? Vell::IpGenPrefix( address->ipv4Address(), *length )
                                                    : Vell::IpGenPrefix( address->ipv6Address(), *length );
}

void checkAgainstCLibrary( std::string_view text ) {
  if ( text.find( '\0' ) != std::string_view::npos ) return;
  require( valueOf<Vell::IpGenPrefix>( text ) == prefixOfCLibrary( text ), "the C library takes another prefix" );
  auto const ipv6 = valueOf<Vell::Ip6Addr>( text );
  auto const want = addressOfCLibrary( std::string( text ) );
  bool const isSame =
      ipv6 ? want && *want == Vell::IpGenPrefix( *ipv6, 128 ) : !want || want->af() == Vell::AddressFamily::ipv4;
  require( isSame, "the C library takes another address" );
}

}  // namespace

void oneInput( std::string_view input ) {
  checkAgainstCLibrary( input );
  checkEach<bool, std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, std::int64_t, double, Kiv::String>(
      input );
  checkEach<Vell::IpGenPrefix, Vell::Ip6Addr, Vell::DscpValue, Vell::AddressFamily>( input );
  checkEach<Range, FragmentRange, DscpRange, TtlRange, AceIndex, OrvexTrafficClass, OrvexActionValue>( input );
  checkEach<RangeSetElem, EncodedLabelWithMask, PrefixXformKey, GenSetRefCount, PDAclKey, PDAclFilter>( input );
  checkEach<PDPrefixXformEntry, PDComboEntry, ResourceConfig, ResourceStatus>( input );
}

}  // namespace Orvex::Fuzz
