#include "compare/SpeedTables.h"

#include <algorithm>
#include <set>

namespace Orvex::Bench {

namespace {

constexpr double kMegabit = 1e6;
constexpr double kMebibyte = 1024.0 * 1024.0;

std::string wholeText( std::uint64_t number ) { return numberText( static_cast<double>( number ) ); }

/// What a unit of the measure's column holds.
double unitOf( Measure measure ) { return measure == Measure::peak ? kMebibyte : 1e-3; }

std::string titleOf( Measure measure ) {
  if ( measure == Measure::wall ) return "Time, in milliseconds";
  return measure == Measure::cpu ? "Time of processors, in milliseconds" : "Most memory, in MiB";
}

std::string cell( ComparedSet const& set, Contender const& contender, Measure measure, Results const& results ) {
  auto const figure = results.of( set, contender.name ).median( measure );
  if ( !figure ) return "none";
  std::string text = numberText( *figure / unitOf( measure ) );
  auto const ratio = results.ratio( set, measure, contender.name, contender.against );
  if ( ratio && contender.name != contender.against ) text += " (" + numberText( *ratio ) + ")";
  return text;
}

/// A line each for contenders that are missing or fail, with the sets that it concerns.
std::vector<std::string> notesOf( std::vector<ComparedSet> const& sets, std::vector<Contender> const& contenders,
                                  Results const& results ) {
  std::vector<std::string> notes;
  for ( Contender const& contender : contenders ) {
    std::map<std::string, std::string> setsByFailure;
    for ( ComparedSet const& set : sets ) {
      std::string const& failure = results.of( set, contender.name ).failure;
      if ( failure.empty() ) continue;
      std::string& names = setsByFailure[failure];
      names += ( names.empty() ? "" : ", " ) + set.name;
    }
    for ( auto const& [failure, names] : setsByFailure )
      notes.push_back( contender.name + ": " + failure + ( contender.missing.empty() ? " (" + names + ")" : "" ) +
                       "." );
  }
  return notes;
}

std::string aRuleText( ComparedSet const& set, std::optional<double> entries ) {
  if ( !entries ) return "-";
  return numberText( *entries ) + " (" + numberText( *entries / static_cast<double>( set.rules ) ) + ")";
}

}  // namespace

Table tableOfSets( std::vector<ComparedSet> const& sets ) {
  Table table;
  table.title = "Filter sets";
  table.headers = { "set", "rules", "different sources", "different destinations" };
  for ( ComparedSet const& set : sets )
    table.rows.push_back(
        { set.name, wholeText( set.rules ), wholeText( set.sources ), wholeText( set.destinations ) } );
  return table;
}

Table tableOfMeasure( Measure measure, std::vector<ComparedSet> const& sets, std::vector<Contender> const& contenders,
                      Results const& results ) {
  Table table;
  table.title = titleOf( measure );
  table.notes = notesOf( sets, contenders, results );
  table.headers = { "set" };
  for ( Contender const& contender : contenders ) table.headers.push_back( contender.name );
  for ( ComparedSet const& set : sets ) {
    auto& row = table.rows.emplace_back();
    row.push_back( set.name );
    for ( Contender const& contender : contenders ) row.push_back( cell( set, contender, measure, results ) );
  }
  return table;
}

Table tableOfEntries( std::vector<ComparedSet> const& sets, Results const& results ) {
  Table table;
  table.title = "Entries, in parentheses for each rule";
  table.headers = { "set",          kPlain,          "cost order",   "nested", "Mbit, plain", "Mbit, cost order",
                    "Mbit, nested", "label entries", "Mbit of these" };
  for ( ComparedSet const& set : sets ) {
    auto const fact = [&]( char const* contender, char const* name ) {
      return results.of( set, contender ).fact( name );
    };
    auto const megabits = [&]( char const* contender ) {
      auto const entries = fact( contender, "entries" );
      auto const width = fact( contender, "keyBits" );
      return entries && width ? std::optional( *entries * *width / kMegabit ) : std::nullopt;
    };
    auto const labelBits = fact( kKick, "labelBits" );
    table.rows.push_back(
        { set.name, aRuleText( set, fact( kPlain, "entries" ) ), aRuleText( set, fact( kCostOrderKick, "entries" ) ),
          aRuleText( set, fact( kKick, "entries" ) ), numberText( megabits( kPlain ) ),
          numberText( megabits( kCostOrderKick ) ), numberText( megabits( kKick ) ),
          numberText( fact( kKick, "labelEntries" ) ), labelBits ? numberText( *labelBits / kMegabit ) : "-" } );
  }
  return table;
}

std::vector<Growth> growths( std::vector<ComparedSet> const& sets ) {
  std::vector<Growth> found;
  for ( ComparedSet const& small : sets )
    for ( ComparedSet const& large : sets )
      if ( small.series == large.series && small.isAbout( kSmall ) && large.isAbout( kLarge ) )
        found.push_back( { &small, &large } );
  return found;
}

std::optional<double> growthOf( Growth const& growth, Measure measure, std::string const& contender,
                                Results const& results ) {
  auto const small = results.of( *growth.small, contender ).median( measure );
  auto const large = results.of( *growth.large, contender ).median( measure );
  return small && large && *small > 0 ? std::optional( *large / *small ) : std::nullopt;
}

Table tableOfGrowth( std::vector<ComparedSet> const& sets, Results const& results ) {
  Table table;
  table.title = "From 10,000 to 100,000 rules, times as much";
  table.headers = { "sets",       "kick, time", "processors",       "memory",     kCommand,
                    "processors", "memory",     "librte_acl, time", "processors", "memory" };
  for ( Growth const& growth : growths( sets ) ) {
    std::vector<std::string> row = { growth.small->series };
    for ( char const* const contender : { kKick, kCommand, kRteAcl } )
      for ( Measure const measure : { Measure::wall, Measure::cpu, Measure::peak } )
        row.push_back( numberText( growthOf( growth, measure, contender, results ) ) );
    table.rows.push_back( std::move( row ) );
  }
  return table;
}

}  // namespace Orvex::Bench
