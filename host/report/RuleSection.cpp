#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "output/NumberText.h"
#include "pipeline/PlainExpansion.h"
#include "policy/AclConfigBuilder.h"
#include "policy/AclTextWriter.h"
#include "report/Sections.h"

namespace Orvex::Host {

namespace {

/// Rows that a browser lays out together, or not at all while they are out of sight.
constexpr std::size_t kRowsOfBody = 100;
/// The steps of a row's bar that the style sheet has.
constexpr double kBarSteps = 20;

struct Row {
  Acl const* acl = nullptr;
  Rule const* rule = nullptr;
  /// Null when the compile ended before entries were counted.
  RuleUse const* use = nullptr;
  std::uint64_t entries = 0;
  bool isCostly = false;
};

/// What it has, or what it would have had on a chip with more room.
std::uint64_t entriesOf( RuleUse const* use, CompileResult const& result ) {
  if ( !use ) return 0;
  return result.snapshot ? use->entries : use->product;
}

void markCostliest( std::vector<Row>& rows ) {
  std::vector<Row*> order;
  for ( Row& row : rows )
    if ( row.entries > 1 ) order.push_back( &row );
  std::stable_sort( order.begin(), order.end(), []( Row const* a, Row const* b ) { return a->entries > b->entries; } );
  if ( order.size() > kCostliest ) order.resize( kCostliest );
  for ( Row* const row : order ) row->isCostly = true;
}

std::vector<Row> rowsOf( ReportSubject const& subject ) {
  std::map<std::pair<PDAclKey, std::uint32_t>, RuleUse const*> uses;
  for ( RuleUse const& use : subject.result.rules ) uses.emplace( std::pair( use.acl, use.index ), &use );
  std::vector<Row> rows;
  for ( Acl const& acl : subject.located.policy.acls ) {
    PDAclKey const key( acl.family, libraryAclName( acl.family, acl.name ) );
    for ( Rule const& rule : acl.rules ) {
      auto const use = uses.find( std::pair( key, rule.index ) );
      rows.push_back( { &acl, &rule, use == uses.end() ? nullptr : use->second, 0, false } );
      rows.back().entries = entriesOf( rows.back().use, subject.result );
    }
  }
  markCostliest( rows );
  return rows;
}

/// In JSON a rule stands on many lines, of which the first says little.
bool saysTheRule( std::string_view line ) { return !line.empty() && line.find_first_of( "{[\"" ) != 0; }

std::string_view trimmed( std::string_view line ) {
  std::size_t const first = line.find_first_not_of( " \t" );
  if ( first == std::string_view::npos ) return "";
  return line.substr( first, line.find_last_not_of( " \t" ) - first + 1 );
}

/// The rule in the user's words where they stand on a line, or else as ACL text.
std::string textOf( Row const& row, Place const& place, LocatedPolicy const& located ) {
  if ( place.file && place.line != 0 && place.line <= place.file->lineCount() ) {
    std::string_view const line = trimmed( place.file->line( place.line ) );
    if ( saysTheRule( line ) ) return std::string( line );
  }
  return ruleText( *row.rule, row.acl->family, located.listNames );
}

/// "3 source × 2 port", and what of it earlier rules have.
std::string arithmeticText( Row const& row ) {
  if ( !row.use ) return "-";
  std::string text;
  for ( Factor const& factor : row.use->factors )
    text += fmt::format( "{}{} {}", text.empty() ? "" : " \xC3\x97 ", factor.entries, factorText( factor.field ) );
  if ( text.empty() ) text = "anything: 1";
  if ( row.use->entries < row.use->product && row.entries == row.use->entries )
    text += fmt::format( ", {} of them earlier rules' too", grouped( row.use->product - row.use->entries ) );
  return text;
}

class RuleTable {
 public:
  RuleTable( ReportSubject const& subject, HtmlWriter& html )
      : subject_( subject ), html_( html ), rows_( rowsOf( subject ) ) {
    for ( Row const& row : rows_ ) most_ = std::max( most_, row.entries );
  }

  void write() {
    writeHeading();
    for ( std::size_t at = 0; at != rows_.size(); ++at ) {
      if ( at % kRowsOfBody == 0 ) html_.print( "{}<tbody>\n", Markup{ at == 0 ? "" : "</tbody>" } );
      write( rows_[at] );
    }
    html_.print( "{}</table>\n", Markup{ rows_.empty() ? "" : "</tbody>" } );
  }

 private:
  void writeHeading() {
    html_.print( R"(<table class="rules" id="rule-table"><caption>{}, in the order in which the chip tries them)",
                 counted( rows_.size(), "rule" ) );
    if ( std::any_of( rows_.begin(), rows_.end(), []( Row const& row ) { return row.isCostly; } ) )
      html_.print( R"(; <b class="mark">most</b> marks those with the most entries)" );
    html_.print( R"(</caption><thead><tr><th scope="col" data-sort="text" id="sort-acl">ACL</th>)"
                 R"(<th scope="col" data-sort="order" id="sort-rule">rule</th>)"
                 R"(<th scope="col" data-sort="number" id="sort-entries">{}</th><th scope="col">arithmetic</th>)"
                 R"(<th scope="col" data-sort="number" id="sort-plain">without labels</th>)"
                 R"(<th scope="col">where it stands</th></tr></thead>
)",
                 subject_.result.snapshot ? "entries" : "would take" );
  }

  void write( Row const& row ) {
    Place const place = subject_.located.places.placeOf( row.acl->family, row.acl->name, row.rule->index );
    std::uint64_t const plain = plainEntries( *row.rule );
    html_.print( "<tr{}><td>{} {}<td>{}<td>{}", Markup{ row.isCostly ? " class=top" : "" },
                 Kiv::stringValue( row.acl->family ), row.acl->name, row.rule->index,
                 row.use ? grouped( row.entries ) : "-" );
    if ( row.isCostly ) html_.print( "<b class=mark>most</b>" );
    if ( most_ > 1 && row.entries != 0 ) html_.print( "<i class=b{}></i>", barSteps( row.entries ) );
    html_.print( "<td>{}<td>{}<td><span>{}</span> <code>{}</code></tr>\n", arithmeticText( row ),
                 plain == ~std::uint64_t{ 0 } ? "beyond counting" : grouped( plain ), placeText( place ),
                 textOf( row, place, subject_.located ) );
  }

  /// From 1 on.
  int barSteps( std::uint64_t entries ) const {
    return static_cast<int>(
        std::ceil( kBarSteps * ( static_cast<double>( entries ) / static_cast<double>( most_ ) ) ) );
  }

  ReportSubject const& subject_;
  HtmlWriter& html_;
  std::vector<Row> rows_;
  std::uint64_t most_ = 0;
};

}  // namespace

void writeRules( ReportSubject const& subject, HtmlWriter& html ) {
  html.print( "<section id=\"rules\"><h2>Entries by rule</h2>\n" );
  html.print(
      "<p class=\"lead\">A rule takes the product of the entries that its fields take. Without labels, every "
      "address list and every range would be written out in prefixes.</p>\n" );
  RuleTable( subject, html ).write();
  html.print( "</section>\n" );
}

}  // namespace Orvex::Host
