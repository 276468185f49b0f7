#include "compare/PolicyRows.h"

#include <algorithm>

#include "compare/Contender.h"
#include "compare/Rounds.h"

namespace Orvex::Bench {

namespace {

constexpr double kMebibyte = 1024.0 * 1024.0;
constexpr PolicyBound kNone{};
constexpr PolicyBound kQuickAnswer{ 1, 0, 5 };

struct Question {
  char const* name = nullptr;
  bool combinations = false;
  PolicyBound bound;
};

constexpr Question kQuestions[] = {
    { "lists:ipv4:100:1", false, kNone },
    { "lists:ipv4:100:1", true, kNone },
    { "lists:ipv4:1000:1", false, kNone },
    { "lists:ipv4:1000:1", true, kNone },
    { "lists:ipv4:2000:1", false, { 2, 500, 0 } },
    { "lists:ipv4:2000:1", true, kNone },
    { "lists:ipv6:2000:1", false, kNone },
    { "lists:ipv6:2000:1", true, kNone },
    { "lists:ipv4:10000:1", false, kNone },
    { "lists:ipv4:10000:1", true, kNone },
    { "scattered:ipv4:100:1", false, kQuickAnswer },
    { "scattered:ipv4:2000:1", false, kQuickAnswer },
    { "scattered:ipv4:2000:1", true, kQuickAnswer },
    { "crowded:ipv4:2000:1", false, kQuickAnswer },
    { "hosts:ipv4:100000:1", false, kQuickAnswer },
    { "hosts:ipv6:100000:1", false, kQuickAnswer },
};

std::string fileOf( Programs const& programs, std::string name ) {
  std::replace( name.begin(), name.end(), ':', '-' );
  return programs.work().file( name + ".acl" );
}

std::optional<double> median( std::vector<ChildResult> const& samples, double ( *value )( ChildResult const& ) ) {
  if ( samples.empty() || !samples.back().ended ) return std::nullopt;
  std::vector<double> values;
  values.reserve( samples.size() );
  for ( ChildResult const& sample : samples ) values.push_back( value( sample ) );
  return medianOf( std::move( values ) );
}

/// From "error: " on, without the place; the first line.
std::string messageIn( std::string const& errors ) {
  std::string const mark = "error: ";
  std::size_t const from = errors.find( mark );
  std::string message = from == std::string::npos ? errors : errors.substr( from + mark.size() );
  return message.substr( 0, message.find( '\n' ) );
}

PolicyRow prepare( Programs const& programs, Question const& question ) {
  PolicyRow row;
  row.name = question.name;
  row.combinations = question.combinations;
  row.bound = question.bound;
  programs.runRole( { "write", row.name, fileOf( programs, row.name ) } );
  auto facts = factsOf( programs.runRole( { "plain-count", row.name } ).output );
  row.plainEntries = facts["entries"];
  return row;
}

}  // namespace

bool PolicyRow::isCompiled() const { return !samples.empty() && samples.back().succeeded(); }

std::optional<double> PolicyRow::wallSeconds() const {
  return median( samples, []( ChildResult const& sample ) { return sample.wallSeconds; } );
}

std::optional<double> PolicyRow::cpuSeconds() const {
  return median( samples, []( ChildResult const& sample ) { return sample.cpuSeconds; } );
}

std::optional<double> PolicyRow::peakMebibytes() const {
  return median( samples,
                 []( ChildResult const& sample ) { return static_cast<double>( sample.peakBytes ) / kMebibyte; } );
}

/// "...; most cost RULE (274); RULE (269)": one for each count in parentheses behind "most cost".
std::optional<double> PolicyRow::costsNamed() const {
  if ( samples.empty() || isCompiled() ) return std::nullopt;
  std::string const message = messageIn( samples.back().errors );
  std::size_t const from = message.find( "most cost " );
  return from == std::string::npos ? 0
                                   : static_cast<double>( std::count(
                                         message.begin() + static_cast<std::ptrdiff_t>( from ), message.end(), '(' ) );
}

std::string PolicyRow::outcome() const {
  if ( samples.empty() ) return "not run";
  ChildResult const& last = samples.back();
  if ( !last.ended ) return "not within the limit of time";
  return isCompiled() ? numberText( entriesIn( last.output ) ) + " entries" : messageIn( last.errors );
}

std::vector<PolicyRow> runPolicies( Programs const& programs, std::uint64_t rounds,
                                    std::function<void( std::string const& )> const& progress ) {
  std::vector<PolicyRow> rows;
  for ( Question const& question : kQuestions ) rows.push_back( prepare( programs, question ) );
  for ( std::uint64_t round = 1; round <= rounds; ++round )
    for ( PolicyRow& row : rows ) {
      progress( "round " + std::to_string( round ) + ", " + row.title() );
      row.samples.push_back( programs.run( { programs.orvex(), "compile", "-q", "--chip",
                                             programs.profile( row.combinations ), fileOf( programs, row.name ) } ) );
    }
  // What compiles has given the better answer, and names nothing.
  for ( PolicyRow& row : rows )
    if ( row.isCompiled() && row.bound.costsNamed > 0 ) row.bound = kNone;
  return rows;
}

Table tableOfPolicies( std::vector<PolicyRow> const& rows ) {
  Table table;
  table.title = "Policies over lists";
  table.notes = { "Seconds of the command, wall and processors; entries that plain expansion would take." };
  table.headers = { "policy", "combinations", "time", "processors", "MiB", "plain entries", "outcome" };
  for ( PolicyRow const& row : rows )
    table.rows.push_back( { row.name, row.combinations ? "on" : "off", numberText( row.wallSeconds() ),
                            numberText( row.cpuSeconds() ), numberText( row.peakMebibytes() ),
                            numberText( row.plainEntries ), row.outcome() } );
  return table;
}

}  // namespace Orvex::Bench
