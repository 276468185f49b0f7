#include "Reading.h"

#include <algorithm>

#include "input/Utf8.h"

namespace Orvex::Fuzz {

namespace {

void checkPlace( Host::Place const& place ) {
  require( place.file != nullptr, "a message has no file" );
  if ( place.line == 0 ) return require( place.column == 0, "a message about a whole file has a column" );
  std::size_t const lines = place.file->lineCount();
  require( place.line <= std::max<std::size_t>( lines, 1 ), "a message stands behind the file's last line" );
  std::size_t const length = lines == 0 ? 0 : Host::countCodePoints( place.file->line( place.line ) );
  // Behind the last character something may be missing; and a line's end counts two characters.
  require( place.column >= 1 && place.column <= length + 3, "a message stands behind its line's end" );
}

void checkText( std::string_view text ) {
  for ( std::size_t at = 0; at != text.size(); ) {
    std::size_t const length = Host::utf8Length( text.substr( at ) );
    require( length != 0, "a message is not UTF-8" );
    char const first = text[at];
    bool const isControl = static_cast<unsigned char>( first ) < 0x20 || first == 0x7F;
    require( !isControl || first == '\n' || first == '\t', "a message has a control character" );
    at += length;
  }
}

}  // namespace

void Reading::check( bool hasResult ) const {
  require( hasResult != diagnostics_.failed(),
           hasResult ? "there are errors and a result" : "there is neither an error nor a result" );
  for ( Host::Diagnostic const& each : diagnostics_.sorted() ) {
    checkPlace( each.place );
    for ( Host::RelatedPlace const& related : each.related ) checkPlace( related.place );
  }
  checkText( diagnostics_.text() );
}

}  // namespace Orvex::Fuzz
