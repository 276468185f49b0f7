#include <algorithm>

#include "output/NumberText.h"
#include "report/Sections.h"

namespace Orvex::Host {

namespace {

/// One table, and how full it is.
struct Fill {
  std::string name;
  /// Under the name.
  std::string note;
  std::uint64_t used = 0;
  std::uint64_t capacity = 0;

  bool isOver() const { return used > capacity; }
};

std::string shareText( Fill const& fill ) {
  if ( fill.capacity == kUnlimited ) return "no limit";
  if ( fill.isOver() ) return grouped( fill.used - fill.capacity ) + " too many";
  if ( fill.used == 0 ) return "empty";
  double const share = 100 * static_cast<double>( fill.used ) / static_cast<double>( fill.capacity );
  return share < 0.1 ? "under 0.1 %" : fmt::format( "{:.1f} %", share );
}

/// As wide as the capacity, or as what is used when that is more; the capacity is then a line across.
void writeBar( Fill const& fill, HtmlWriter& html ) {
  std::string const capacity = fill.capacity == kUnlimited ? "no limit" : grouped( fill.capacity );
  html.print( R"(<svg class="bar" role="img" aria-label="{}: {} used of {}, {}" width="100%" height="12">)", fill.name,
              grouped( fill.used ), capacity, shareText( fill ) );
  html.print( R"(<rect class="track" width="100%" height="12" rx="3"/>)" );
  auto const used = static_cast<double>( fill.used );
  auto const room = static_cast<double>( fill.capacity );
  if ( fill.isOver() ) {
    html.print( R"(<rect class="used" width="{}" height="12"/>)", percent( room, used ) );
    html.print(
        R"(<rect class="beyond" x="{0}" width="{1}" height="12"/><rect class="limit" x="{0}" width="2" height="12"/>)",
        percent( room, used ), percent( used - room, used ) );
  } else if ( fill.used != 0 && fill.capacity != kUnlimited ) {
    html.print(
        R"(<rect class="used" width="3" height="12" rx="1.5"/><rect class="used" width="{}" height="12" rx="3"/>)",
        percent( used, room ) );
  }
  html.print( "</svg>" );
}

void writeFills( std::string_view caption, std::string_view used, std::vector<Fill> const& fills, HtmlWriter& html ) {
  html.print( R"(<table class="fills"><caption>{}</caption><thead><tr><th scope="col">table</th><th scope="col">)"
              R"(<span class="unseen">how full</span></th><th scope="col">{}</th><th scope="col">of</th>)"
              R"(<th scope="col">share</th></tr></thead><tbody>
)",
              caption, used );
  for ( Fill const& fill : fills ) {
    html.print( R"(<tr{}><th scope="row">{}<small>{}</small></th><td>)",
                Markup{ fill.isOver() ? " class=\"is-over\"" : "" }, fill.name, fill.note );
    writeBar( fill, html );
    html.print( "</td><td>{}</td><td>{}</td><td>{}</td></tr>\n", grouped( fill.used ),
                fill.capacity == kUnlimited ? "no limit" : grouped( fill.capacity ), shareText( fill ) );
  }
  html.print( "</tbody></table>\n" );
}

std::string_view noteOf( Resource resource ) {
  switch ( resource ) {
    case Resource::ruleEntries:
      return "entries of all rules";
    case Resource::ipv4PrefixEntries:
      return "IPv4 prefixes, source and destination";
    case Resource::ipv6PrefixEntries:
      return "IPv6 prefixes, source and destination";
    case Resource::rangeEntries:
      return "pieces of all fields";
    case Resource::comboEntries:
      break;
  }
  return "pairs of labels";
}

std::vector<Fill> resourceFills( ReportSubject const& subject ) {
  std::vector<Fill> fills;
  for ( Resource const resource : kResources ) {
    std::uint64_t const used = subject.result.use[resource];
    std::uint64_t const capacity = subject.profile.capacities[resource];
    if ( used != 0 || capacity != 0 )
      fills.push_back(
          { std::string( Kiv::stringValue( resource ) ), std::string( noteOf( resource ) ), used, capacity } );
  }
  return fills;
}

}  // namespace

void writeCapacities( ReportSubject const& subject, HtmlWriter& html ) {
  html.print( "<section id=\"capacity\"><h2>Capacity</h2>\n" );
  if ( subject.result.snapshot )
    writeFills( "What the policy takes of the chip", "used", resourceFills( subject ), html );
  else
    html.print( "<p>The compile ended before there was a table, so what it takes of the chip is not known.</p>\n" );
  std::vector<Fill> labels;
  for ( LabelUse const& use : subject.result.labels )
    labels.push_back( { use.table, counted( use.widthBits, "bit" ), use.needed, use.available } );
  if ( !labels.empty() ) writeFills( "Labels of each table that the chip has", "needed", labels, html );
  html.print( "</section>\n" );
}

}  // namespace Orvex::Host
