#include <algorithm>

#include "output/NumberText.h"
#include "report/FieldPieces.h"
#include "report/Sections.h"

namespace Orvex::Host {

namespace {

/// Of each field, what is drawn, and what the table under the drawing has.
constexpr std::size_t kDrawnPieces = 64;
constexpr std::size_t kDrawnSets = 24;
constexpr std::size_t kListedPieces = 500;
/// The tints of the style sheet, in turn by label.
constexpr unsigned kTints = 6;

// The drawing's measures, in pixels
constexpr int kScaleTop = 14;
constexpr int kFanTop = 28;
constexpr int kFanHeight = 30;
constexpr int kColumnTop = 58;
constexpr int kSetsTop = 124;
constexpr int kSetHeight = 26;
/// Columns are as wide as this many units: pieces that a set has, and those between.
constexpr std::size_t kPieceUnits = 4;
constexpr std::size_t kGapUnits = 1;
constexpr std::size_t kUnitWidth = 18;
/// On paper a wider drawing has no room for the values under its columns.
constexpr std::size_t kPaperUnits = 60;

std::string_view titleOf( Field field ) {
  static constexpr std::array<std::string_view, kFieldCount> kTitles = {
      "Source port", "Destination port", "ICMP type", "Protocol", "Packet length", "Fragment offset", "DSCP", "TTL" };
  return kTitles[Kiv::enumValue( field )];
}

std::string_view tintOf( FieldPiece const& piece ) {
  static constexpr std::array<std::string_view, kTints> kNames = { "t0", "t1", "t2", "t3", "t4", "t5" };
  if ( piece.setCount == 0 ) return "gap";
  return piece.label ? kNames[*piece.label % kTints] : "plain";
}

/// "label 3", or why there is none.
std::string labelText( FieldPiece const& piece ) {
  return piece.label ? "label " + std::to_string( *piece.label ) : "no label";
}

/// The pieces of a field from left to right: first each where its values lie on the scale, under that one column each, and
/// under the columns a line for each set of values.
class FieldDrawing {
 public:
  FieldDrawing( FieldPieces const& field, HtmlWriter& html ) : field_( field ), html_( html ) {
    std::size_t held = 0;
    columnEnds_.push_back( 0 );
    for ( FieldPiece const& piece : field.pieces ) {
      if ( piece.setCount != 0 && ++held > kDrawnPieces ) break;
      columnEnds_.push_back( columnEnds_.back() + ( piece.setCount != 0 ? kPieceUnits : kGapUnits ) );
    }
    sets_ = std::min( field.sets.size(), kDrawnSets );
  }

  void write() {
    html_.print( R"(<div class="drawing{5}" tabindex="0" role="region" aria-label="{0}, drawn"><svg role="img" )"
                 R"(aria-label="{0}: {1} on a scale from 0 to {2}; the table below has them" width="{3}" height="{4}">
)",
                 titleOf( field_.field ), counted( field_.heldPieces(), "piece" ), maximumOf( field_.field ),
                 columnEnds_.back() * kUnitWidth, kSetsTop + kSetHeight * static_cast<int>( sets_ ),
                 Markup{ columnEnds_.back() > kPaperUnits ? " wide" : "" } );
    writeScale();
    writeFan();
    writeColumns();
    for ( std::size_t set = 0; set != sets_; ++set ) writeSet( set );
    html_.print( "</svg></div>\n" );
  }

 private:
  std::size_t columns() const { return columnEnds_.size() - 1; }
  double units() const { return static_cast<double>( columnEnds_.back() ); }
  double valueCount() const { return static_cast<double>( maximumOf( field_.field ) ) + 1; }
  std::string columnLeft( std::size_t column ) const {
    return percent( static_cast<double>( columnEnds_[column] ), units() );
  }
  std::string columnWidth( std::size_t first, std::size_t end ) const {
    return percent( static_cast<double>( columnEnds_[end] - columnEnds_[first] ), units() );
  }
  std::string columnMiddle( std::size_t column ) const {
    return percent( static_cast<double>( columnEnds_[column] + columnEnds_[column + 1] ) / 2, units() );
  }

  void writeScale() {
    html_.print( R"(<text class="axis" x="0" y="9">0</text><text class="axis end" x="100%" y="9">{}</text>
)",
                 maximumOf( field_.field ) );
    html_.print( R"(<rect class="scale" y="{}" width="100%" height="14"/>)", kScaleTop );
    for ( FieldPiece const& piece : field_.pieces )
      if ( piece.setCount != 0 )
        html_.print( R"(<rect class="{}" x="{}" y="{}" width="{}" height="14"/>)", tintOf( piece ),
                     percent( piece.range.first, valueCount() ), kScaleTop,
                     percent( double{ 1 } + piece.range.last - piece.range.first, valueCount() ) );
    html_.print( "\n" );
  }

  /// From each piece's place on the scale to its column. In a box of 1000 by 1, stretched.
  void writeFan() {
    html_.print( R"(<svg y="{}" width="100%" height="{}" viewBox="0 0 1000 1" preserveAspectRatio="none">)", kFanTop,
                 kFanHeight );
    for ( std::size_t column = 0; column != columns(); ++column ) {
      FieldPiece const& piece = field_.pieces[column];
      if ( piece.setCount == 0 ) continue;
      html_.print( R"(<polygon class="fan {}" points="{:.6g},0 {:.6g},0 {:.6g},1 {:.6g},1"/>)", tintOf( piece ),
                   1000 * piece.range.first / valueCount(), 1000 * ( double{ 1 } + piece.range.last ) / valueCount(),
                   1000 * static_cast<double>( columnEnds_[column + 1] ) / units(),
                   1000 * static_cast<double>( columnEnds_[column] ) / units() );
    }
    html_.print( "</svg>\n" );
  }

  void writeColumns() {
    std::size_t held = 0;
    for ( std::size_t column = 0; column != columns(); ++column ) {
      FieldPiece const& piece = field_.pieces[column];
      if ( piece.setCount == 0 ) continue;
      html_.print( R"(<g class="piece" data-row="{}"><title>{}: {}, in {}</title>)", held++, valuesText( piece.range ),
                   labelText( piece ), counted( piece.setCount, "set" ) );
      html_.print( R"(<rect class="{}" x="{}" y="{}" width="{}" height="30"/>)", tintOf( piece ), columnLeft( column ),
                   kColumnTop, columnWidth( column, column + 1 ) );
      html_.print( R"(<text class="label" x="{0}" y="{1}">{2}</text><text class="values" x="{0}" y="{3}">{4}</text></g>
)",
                   columnMiddle( column ), kColumnTop + 20, piece.label ? std::to_string( *piece.label ) : "-",
                   kColumnTop + 45, valuesText( piece.range ) );
    }
  }

  void writeSet( std::size_t at ) {
    FieldSet const& set = field_.sets[at];
    int const top = kSetsTop + kSetHeight * static_cast<int>( at );
    html_.print(
        R"(<g class="set"><text x="0" y="{}">{} <tspan>{}</tspan></text><rect class="row" y="{}" width="100%" height="6"/>)",
        top + 8, valuesText( *set.ranges ), namesOf( set.rules ), top + 13 );
    std::size_t first = 0;
    for ( ValueRange const& range : *set.ranges ) {
      while ( first != columns() && field_.pieces[first].range.last < range.first ) ++first;
      std::size_t end = first;
      while ( end != columns() && field_.pieces[end].range.last <= range.last ) ++end;
      if ( end != first )
        html_.print( R"(<rect class="held" x="{}" y="{}" width="{}" height="6"/>)", columnLeft( first ), top + 13,
                     columnWidth( first, end ) );
      first = end;
    }
    html_.print( "</g>\n" );
  }

  FieldPieces const& field_;
  HtmlWriter& html_;
  /// Of the pieces that are drawn, in units; before them 0.
  std::vector<std::size_t> columnEnds_;
  std::size_t sets_ = 0;
};

std::string setsText( FieldPieces const& field, FieldPiece const& piece ) {
  std::string text;
  for ( std::size_t const set : piece.sets )
    text += fmt::format( "{}{} ({})", text.empty() ? "" : ", ", valuesText( *field.sets[set].ranges ),
                         namesOf( field.sets[set].rules ) );
  if ( piece.setCount > piece.sets.size() ) text += fmt::format( " and {} more", piece.setCount - piece.sets.size() );
  return text;
}

void writePieceTable( FieldPieces const& field, HtmlWriter& html ) {
  std::size_t const held = field.heldPieces();
  html.print(
      "<details class=\"pieces\"><summary>The pieces as a table</summary>\n<table><caption>{} and the sets of "
      "values that have them{}</caption>",
      counted( held, "piece" ), held > kListedPieces ? fmt::format( "; the first {} are listed", kListedPieces ) : "" );
  html.print( R"(<thead><tr><th scope="col">values</th><th scope="col">label</th><th scope="col">sets</th>)"
              R"(<th scope="col">which</th></tr></thead><tbody>
)" );
  std::size_t listed = 0;
  for ( FieldPiece const& piece : field.pieces ) {
    if ( piece.setCount == 0 ) continue;
    if ( ++listed > kListedPieces ) break;
    html.print( "<tr><td>{}<td>{}<td>{}<td>{}</tr>\n", valuesText( piece.range ),
                piece.label ? std::to_string( *piece.label ) : "-", grouped( piece.setCount ),
                setsText( field, piece ) );
  }
  html.print( "</tbody></table></details>\n" );
}

std::string leftOutText( FieldPieces const& field ) {
  std::string text;
  if ( std::size_t const held = field.heldPieces(); held > kDrawnPieces )
    text = fmt::format( " Drawn in columns are the first {} pieces; {} more are on the scale and in the table.",
                        kDrawnPieces, grouped( held - kDrawnPieces ) );
  if ( field.sets.size() > kDrawnSets )
    text += fmt::format( " Drawn as lines are the first {} sets; {} more are only in the table.", kDrawnSets,
                         grouped( field.sets.size() - kDrawnSets ) );
  return text;
}

void writeField( FieldPieces const& field, bool hasTable, HtmlWriter& html ) {
  html.print(
      R"(<article class="field"><h3>{} <small>{}</small></h3><p>Rules ask for {} of its values, which makes {}. {}{}</p>
)",
      titleOf( field.field ), Kiv::stringValue( field.field ), counted( field.sets.size(), "set" ),
      counted( field.heldPieces(), "piece" ),
      hasTable ? "Each has the label that stands in it."
               : "The chip has no labels for this field and matches its values.",
      leftOutText( field ) );
  FieldDrawing( field, html ).write();
  html.print( R"(<p class="hint" aria-live="polite"></p>
)" );
  writePieceTable( field, html );
  html.print( "</article>\n" );
}

}  // namespace

void writeFields( ReportSubject const& subject, HtmlWriter& html ) {
  html.print(
      "<section id=\"fields\"><h2>Pieces of fields</h2>\n<p class=\"lead\">Where sets of values overlap, a field "
      "is cut, so that every value has one label. The upper strip is to scale; under it, each piece has a column, "
      "and each set a line.</p>\n" );
  std::string unused;
  for ( Field const field : kFields ) {
    bool const hasTable = subject.profile.ranges[field].isOn();
    FieldPieces const pieces =
        piecesOf( subject.located.policy, field, hasTable ? subject.result.snapshot.get() : nullptr );
    if ( pieces.sets.empty() )
      unused.append( unused.empty() ? "" : ", " ).append( Kiv::stringValue( field ) );
    else
      writeField( pieces, hasTable, html );
  }
  if ( !unused.empty() ) html.print( "<p class=\"unused\">No rule asks for {}.</p>\n", unused );
  html.print( "</section>\n" );
}

}  // namespace Orvex::Host
