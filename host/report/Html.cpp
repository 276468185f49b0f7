#include "report/Html.h"

#include <algorithm>

#include "input/Utf8.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// What stands for a character of one byte; itself for most.
std::string_view entityOf( std::string_view character ) {
  switch ( character.front() ) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    case '\t':
      return character;
    default:
      break;
  }
  auto const byte = static_cast<unsigned char>( character.front() );
  return byte < 0x20 || byte == 0x7F ? kReplacement : character;
}

}  // namespace

std::string escaped( std::string_view text ) {
  std::string result;
  result.reserve( text.size() );
  while ( !text.empty() ) {
    std::size_t const length = utf8Length( text );
    std::string_view const character = text.substr( 0, std::max<std::size_t>( length, 1 ) );
    bool const isLateControl =
        length == 2 && character[0] == '\xC2' && static_cast<unsigned char>( character[1] ) < 0xA0;
    if ( length == 0 || isLateControl )
      result += kReplacement;
    else
      result += length == 1 ? entityOf( character ) : character;
    text.remove_prefix( character.size() );
  }
  return result;
}

std::string percent( double part, double whole ) { return fmt::format( "{:.6g}%", 100 * part / whole ); }

}  // namespace Orvex::Host
