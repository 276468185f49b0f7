#include "Vell/Ip4Addr.h"

#include <charconv>

namespace Vell {

namespace {

bool isDigit( char each ) { return each >= '0' && each <= '9'; }

std::uint32_t readOctet( Kiv::TextReader& reader ) {
  std::string_view const rest = reader.rest();
  if ( rest.size() > 1 && rest[0] == '0' && isDigit( rest[1] ) ) reader.fail( "a number without leading zeros" );
  return Kiv::readValue<std::uint8_t>( reader );
}

}  // namespace

char* ip4AddrToChars( char* out, std::uint32_t address ) noexcept {
  for ( unsigned shift = 32; shift != 0; ) {
    if ( shift != 32 ) *out++ = '.';
    shift -= 8;
    out = std::to_chars( out, out + 3, ( address >> shift ) & 0xFF ).ptr;
  }
  return out;
}

std::uint32_t readIp4Addr( Kiv::TextReader& reader ) {
  std::uint32_t address = readOctet( reader );
  for ( int octet = 1; octet != 4; ++octet ) {
    reader.expect( "." );
    address = address << 8 | readOctet( reader );
  }
  return address;
}

}  // namespace Vell
