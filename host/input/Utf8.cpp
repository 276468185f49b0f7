#include "input/Utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace Orvex::Host {

namespace {

constexpr std::size_t kMaxLength = 4;

std::uint8_t byteAt( std::string_view text, std::size_t at ) { return static_cast<std::uint8_t>( text[at] ); }

bool isContinuation( std::uint8_t byte ) { return ( byte & 0xC0 ) == 0x80; }

/// What the first byte announces; 0 for a byte that starts no character.
std::size_t announcedLength( std::uint8_t first ) {
  if ( first < 0x80 ) return 1;
  if ( first < 0xC2 ) return 0;  // a continuation, or an overlong form of ASCII
  if ( first < 0xE0 ) return 2;
  if ( first < 0xF0 ) return 3;
  return first < 0xF5 ? kMaxLength : 0;
}

/// The second byte excludes overlong forms, surrogates, and what lies beyond U+10FFFF.
bool secondByteFits( std::uint8_t first, std::uint8_t second ) {
  switch ( first ) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second < 0xA0;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second < 0x90;
    default:
      return true;
  }
}

}  // namespace

std::size_t utf8Length( std::string_view text ) noexcept {
  if ( text.empty() ) return 0;
  std::size_t const length = announcedLength( byteAt( text, 0 ) );
  if ( length <= 1 ) return length;
  if ( length > text.size() || !secondByteFits( byteAt( text, 0 ), byteAt( text, 1 ) ) ) return 0;
  auto const rest = text.substr( 1, length - 1 );
  return std::all_of( rest.begin(), rest.end(),
                      []( char each ) { return isContinuation( static_cast<std::uint8_t>( each ) ); } )
             ? length
             : 0;
}

std::size_t asciiLength( std::string_view text ) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  std::size_t at = 0;
  for ( std::uint64_t word = 0; at + sizeof word <= text.size(); at += sizeof word ) {
    std::memcpy( &word, text.data() + at, sizeof word );
    if ( ( word & kHighBits ) != 0 ) break;
  }
  while ( at != text.size() && byteAt( text, at ) < 0x80 ) ++at;
  return at;
}

std::size_t countCodePoints( std::string_view text ) noexcept {
  std::size_t count = asciiLength( text );
  for ( text.remove_prefix( count ); !text.empty(); ++count )
    text.remove_prefix( std::max<std::size_t>( utf8Length( text ), 1 ) );
  return count;
}

std::string_view firstCodePoints( std::string_view text, std::size_t count ) noexcept {
  std::size_t bytes = 0;
  for ( ; count != 0 && bytes != text.size(); --count )
    bytes += std::max<std::size_t>( utf8Length( text.substr( bytes ) ), 1 );
  return text.substr( 0, bytes );
}

}  // namespace Orvex::Host
