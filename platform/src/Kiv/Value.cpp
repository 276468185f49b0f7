#include "Kiv/Value.h"

namespace Kiv {

bool TextReader::accept( std::string_view literal ) {
  if ( !rest().starts_with( literal ) ) return false;
  advance( literal.size() );
  return true;
}

void TextReader::expect( std::string_view literal ) {
  if ( !accept( literal ) ) fail( "\"" + std::string( literal ) + "\"" );
}

std::string_view TextReader::until( std::string_view stops ) {
  std::string_view const word = rest().substr( 0, rest().find_first_of( stops ) );
  advance( word.size() );
  return word;
}

void TextReader::expectEnd() const {
  if ( !atEnd() ) fail( "nothing more" );
}

void TextReader::fail( std::string_view expected ) const {
  std::size_t const column = position_ + 1;
  throw ParseException( "cannot read '" + std::string( text_ ) + "': expected " + std::string( expected ) +
                            " at column " + std::to_string( column ),
                        column );
}

namespace Detail {

void printQuoted( std::ostream& out, std::string_view text ) {
  out << '\'';
  for ( char const each : text ) {
    if ( each == '\'' || each == '\\' ) out << '\\';
    out << each;
  }
  out << '\'';
}

String readQuoted( TextReader& reader ) {
  reader.expect( "'" );
  std::string text;
  while ( !reader.accept( "'" ) ) {
    reader.accept( "\\" );
    if ( reader.atEnd() ) reader.fail( "\"'\"" );
    text += reader.rest().front();
    reader.advance( 1 );
  }
  return String( text );
}

}  // namespace Detail

}  // namespace Kiv
