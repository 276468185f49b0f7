#include "report/Report.h"

#include "report/Resources.h"
#include "report/Sections.h"

namespace Orvex::Host {

namespace {

/// Nothing is fetched, and only this style sheet and this script count.
void writeHead( std::string const& title, HtmlWriter& html ) {
  html.print( R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src '{}'; script-src '{}'; base-uri 'none'; form-action 'none'">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>{} - Orvex</title>
<style>{}</style>
</head>
<body>
)",
              Markup{ std::string( kStyleHash ) }, Markup{ std::string( kScriptHash ) }, title,
              Markup{ std::string( kStyle ) } );
}

/// The hatching of what is beyond a capacity: told from the rest without colour.
void writePatterns( HtmlWriter& html ) {
  html.print(
      R"html(<svg class="patterns" width="0" height="0" aria-hidden="true"><pattern id="beyond" width="6" height="6" patternUnits="userSpaceOnUse" patternTransform="rotate(45)"><rect class="beyond-ground" width="6" height="6"/><rect class="beyond-line" width="2" height="6"/></pattern></svg>
)html" );
}

}  // namespace

std::string placeText( Place const& place ) {
  if ( !place.file ) return "";
  return place.line == 0 ? place.file->name() : place.file->name() + ":" + std::to_string( place.line );
}

void writeReport( ReportSubject const& subject, std::function<void( std::string_view )> const& write ) {
  HtmlWriter html( write );
  writeHead( fmt::format( "{}", fmt::join( subject.files, ", " ) ), html );
  writePatterns( html );
  writeMasthead( subject, html );
  html.print( "<main>\n" );
  writeCapacities( subject, html );
  writeRules( subject, html );
  writeFields( subject, html );
  writePrefixTrees( subject, html );
  writeWarnings( subject, html );
  html.print( "</main>\n<footer><p>Made by orvex. This page loads nothing and sends nothing.</p></footer>\n" );
  html.print( "<script>{}</script>\n</body>\n</html>\n", Markup{ std::string( kScript ) } );
  html.flush();
}

}  // namespace Orvex::Host
