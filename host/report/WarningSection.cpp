#include "input/Utf8.h"
#include "report/Sections.h"

namespace Orvex::Host {

namespace {

/// Of a long line, the characters before the place and in all that are shown.
constexpr std::size_t kBefore = 60;
constexpr std::size_t kWindow = 200;

std::string_view from( std::string_view text, std::size_t characters ) {
  return text.substr( firstCodePoints( text, characters ).size() );
}

/// The line with its place marked.
void writeLine( Place const& place, HtmlWriter& html ) {
  if ( !place.file || place.line == 0 || place.line > place.file->lineCount() ) return;
  std::string_view line = place.file->line( place.line );
  std::size_t column = place.column == 0 ? 0 : place.column - 1;
  bool const isCut = column > kBefore && countCodePoints( line ) > kWindow;
  if ( isCut ) {
    line = from( line, column - kBefore );
    column = kBefore;
  }
  std::string_view const window = firstCodePoints( line, kWindow );
  std::string_view const rest = from( window, column );
  html.print( "<pre>{}{}<mark>{}</mark>{}{}</pre>", isCut ? "..." : "", firstCodePoints( window, column ),
              firstCodePoints( rest, place.length ), from( rest, place.length ),
              window.size() == line.size() ? "" : "..." );
}

void write( Diagnostic const& diagnostic, HtmlWriter& html ) {
  html.print( "<li><p><strong>{}</strong>{}</p><p class=\"place\">{}</p>", diagnostic.problem,
              diagnostic.remedy.empty() ? "" : "; " + diagnostic.remedy, placeText( diagnostic.place ) );
  writeLine( diagnostic.place, html );
  for ( RelatedPlace const& related : diagnostic.related ) {
    html.print( "<p class=\"place\">{}: {}</p>", placeText( related.place ), related.text );
    writeLine( related.place, html );
  }
  html.print( "</li>\n" );
}

void writeAll( Diagnostics const& diagnostics, HtmlWriter& html ) {
  std::vector<Diagnostic> const all = diagnostics.sorted();
  if ( all.empty() ) return;
  if ( diagnostics.tooManyWarnings() )
    html.print( "<p class=\"lead\">The first {} of these are shown, and there are more.</p>\n",
                Diagnostics::kMaxOthers );
  html.print( "<ol class=\"warnings\">\n" );
  for ( Diagnostic const& diagnostic : all ) write( diagnostic, html );
  html.print( "</ol>\n" );
}

}  // namespace

void writeWarnings( ReportSubject const& subject, HtmlWriter& html ) {
  html.print( "<section id=\"warnings\"><h2>Warnings</h2>\n" );
  if ( subject.readerWarnings.warnings() + subject.lintWarnings.warnings() == 0 )
    html.print( "<p>None: no rule hides another, and nothing looks unintended.</p>\n" );
  writeAll( subject.readerWarnings, html );
  writeAll( subject.lintWarnings, html );
  html.print( "</section>\n" );
}

}  // namespace Orvex::Host
