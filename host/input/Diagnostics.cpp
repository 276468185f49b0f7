#include "input/Diagnostics.h"

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>

#include "input/Utf8.h"

namespace Orvex::Host {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kCut = "...";

// Of a line, at most kWindow characters are shown, kBefore of them before the place.
constexpr std::size_t kWindow = 120;
constexpr std::size_t kBefore = 60;

struct Style {
  std::string_view word;
  std::string_view colour;
};
constexpr std::array<Style, 3> kStyles = {
    { { "error", "\x1b[1;31m" }, { "warning", "\x1b[1;35m" }, { "note", "\x1b[1;36m" } } };
constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kPlain = "\x1b[0m";

Style const& styleOf( Severity severity ) { return kStyles[static_cast<std::size_t>( severity )]; }

bool isControl( char each ) { return static_cast<unsigned char>( each ) < 0x20 || each == 0x7F; }

/// The C1 control characters, of which a terminal takes U+009B for an escape sequence's beginning.
bool isLateControl( std::string_view character ) {
  return character.size() == 2 && character[0] == '\xC2' && static_cast<unsigned char>( character[1] ) < 0xA0;
}

/// What a terminal may see of a text.
std::string printable( std::string_view text ) {
  std::string result;
  for ( std::size_t at = 0; at != text.size(); ) {
    std::size_t const length = utf8Length( text.substr( at ) );
    std::string_view const character = text.substr( at, length );
    bool const shown = length != 0 && ( character == "\t" || !isControl( text[at] ) ) && !isLateControl( character );
    result += shown ? character : kReplacement;
    at += std::max<std::size_t>( length, 1 );
  }
  return result;
}

/// A line, and its place in it, cut to what can be shown. `column` counts from 0.
struct ShownLine {
  std::string text;
  std::size_t column = 0;
  std::size_t length = 0;
};

ShownLine shown( std::string_view line, std::size_t column, std::size_t length ) {
  std::size_t const skipped = column > kBefore && countCodePoints( line ) > kWindow ? column - kBefore : 0;
  std::string_view const rest = line.substr( firstCodePoints( line, skipped ).size() );
  std::string_view const window = firstCodePoints( rest, kWindow );
  std::size_t const visible = countCodePoints( window );
  ShownLine result;
  result.column = std::min( column - skipped, visible );
  result.length = std::min( length, visible - result.column );
  result.text = printable( window );
  if ( skipped != 0 ) {
    result.text.insert( 0, kCut );
    result.column += kCut.size();
  }
  if ( window.size() != rest.size() ) result.text += kCut;
  return result;
}

/// A caret under the place, a tilde under each further character. Tabs stay tabs, so that it stands right.
std::string underline( ShownLine const& line ) {
  std::string result;
  std::string_view rest = line.text;
  for ( std::size_t left = line.column; left != 0; --left ) {
    std::string_view const character = firstCodePoints( rest, 1 );
    result += character == "\t" ? '\t' : ' ';
    rest.remove_prefix( character.size() );
  }
  return result + '^' + std::string( std::max<std::size_t>( line.length, 1 ) - 1, '~' );
}

class Renderer {
 public:
  explicit Renderer( Colour colour ) : coloured_( colour == Colour::on ) {}

  void add( Diagnostic const& diagnostic ) {
    std::string message = diagnostic.problem;
    if ( !diagnostic.remedy.empty() ) message += "; " + diagnostic.remedy;
    add( diagnostic.severity, diagnostic.place, message );
    for ( RelatedPlace const& each : diagnostic.related ) add( Severity::note, each.place, each.text );
  }

  void addLine( Severity severity, std::string_view message ) {
    add( styleOf( severity ).colour, std::string( styleOf( severity ).word ) + ": " );
    text_ += message;
    text_ += '\n';
  }

  std::string finished() && { return std::move( text_ ); }

 private:
  void add( Severity severity, Place const& place, std::string_view message ) {
    if ( place.file ) add( kBold, placeText( place ) );
    addLine( severity, printable( message ) );
    if ( place.file && place.line != 0 && place.line <= place.file->lineCount() ) addSource( place );
  }

  static std::string placeText( Place const& place ) {
    std::string text = printable( place.file->name() ) + ":";
    if ( place.line != 0 ) text += std::to_string( place.line ) + ":" + std::to_string( place.column ) + ":";
    return text + " ";
  }

  void addSource( Place const& place ) {
    std::size_t const column = std::max( place.column, 1U ) - 1;
    ShownLine const line = shown( place.file->line( place.line ), column, place.length );
    text_ += line.text + '\n';
    add( styleOf( Severity::error ).colour, underline( line ) );
    text_ += '\n';
  }

  void add( std::string_view colour, std::string_view text ) {
    if ( coloured_ ) text_ += colour;
    text_ += text;
    if ( coloured_ ) text_ += kPlain;
  }

  bool coloured_;
  std::string text_;
};

}  // namespace

void Diagnostics::error( Place place, std::string problem, std::string remedy, std::vector<RelatedPlace> related ) {
  add( { Severity::error, std::move( place ), std::move( problem ), std::move( remedy ), std::move( related ) },
       errors_, kMaxErrors );
}

void Diagnostics::warning( Place place, std::string problem, std::string remedy, std::vector<RelatedPlace> related ) {
  add( { Severity::warning, std::move( place ), std::move( problem ), std::move( remedy ), std::move( related ) },
       warnings_, kMaxOthers );
}

void Diagnostics::note( Place place, std::string text ) {
  add( { Severity::note, std::move( place ), std::move( text ), "", {} }, notes_, kMaxOthers );
}

void Diagnostics::add( Diagnostic diagnostic, std::size_t& count, std::size_t limit ) {
  if ( ++count <= limit ) kept_.push_back( std::move( diagnostic ) );
}

std::vector<Diagnostic> Diagnostics::sorted() const {
  std::vector<SourceFile const*> files;
  auto const fileOrder = [&files]( Diagnostic const& each ) {
    return std::find( files.begin(), files.end(), each.place.file.get() ) - files.begin();
  };
  for ( Diagnostic const& each : kept_ )
    if ( fileOrder( each ) == std::ssize( files ) ) files.push_back( each.place.file.get() );

  std::vector<Diagnostic> result = kept_;
  std::stable_sort( result.begin(), result.end(), [&]( Diagnostic const& a, Diagnostic const& b ) {
    return std::tuple( fileOrder( a ), a.place.line, a.place.column ) <
           std::tuple( fileOrder( b ), b.place.line, b.place.column );
  } );
  return result;
}

std::string Diagnostics::text( Colour colour ) const {
  Renderer renderer( colour );
  for ( Diagnostic const& each : sorted() ) renderer.add( each );
  if ( tooManyErrors() ) renderer.addLine( Severity::error, "too many errors" );
  if ( tooManyWarnings() ) renderer.addLine( Severity::warning, "too many warnings; the rest is not shown" );
  return std::move( renderer ).finished();
}

std::string inQuotes( std::string_view word ) {
  constexpr std::size_t kMaxShown = 40;
  std::string_view const first = firstCodePoints( word, kMaxShown );
  return '"' + std::string( first ) + std::string( first.size() == word.size() ? "" : kCut ) + '"';
}

}  // namespace Orvex::Host
