#include "compare/Plots.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace Orvex::Bench {

namespace {

constexpr char const* kMissing = "?";

std::string valueText( std::optional<double> value ) { return value ? fmt::format( "{:.6g}", *value ) : kMissing; }

std::vector<ComparedSet> byRules( std::vector<ComparedSet> sets ) {
  std::stable_sort( sets.begin(), sets.end(), []( auto const& a, auto const& b ) { return a.rules < b.rules; } );
  return sets;
}

/// A block for each contender: rules, seconds, set. Sets of one size lie side by side, so points are not joined.
std::string timeData( std::vector<ComparedSet> const& sets, std::vector<Contender> const& contenders,
                      Results const& results ) {
  std::string text;
  for ( Contender const& contender : contenders ) {
    text += "# " + contender.name + "\n";
    for ( ComparedSet const& set : sets )
      text += fmt::format( "{} {} {}\n", set.rules,
                           valueText( results.of( set, contender.name ).median( Measure::wall ) ), set.name );
    text += "\n\n";
  }
  return text;
}

std::string timeScript( std::vector<Contender> const& contenders ) {
  std::string text =
      "set terminal svg size 800,520 font 'sans,13' background 'white' noenhanced\n"
      "set output 'time.svg'\n"
      "set datafile missing '?'\n"
      "set logscale xy\n"
      "set xrange [500:200000]\n"
      "set xlabel 'rules'\n"
      "set ylabel 'seconds'\n"
      "set format x '%.0f'\n"
      "set key outside right top\n"
      "set grid\n"
      "plot ";
  for ( std::size_t at = 0; at != contenders.size(); ++at )
    text += fmt::format( "{}'time.dat' index {} using 1:2 with points pointtype {} pointsize 0.7 title '{}'",
                         at == 0 ? "" : ", \\\n  ", at, at + 4, contenders[at].name );
  return text + "\n";
}

std::string entriesData( std::vector<ComparedSet> const& sets, Results const& results ) {
  std::string text = "# set, entries a rule: plain, cost order, nested\n";
  for ( ComparedSet const& set : sets ) {
    text += set.name;
    for ( char const* const contender : { kPlain, kCostOrderKick, kKick } ) {
      auto const entries = results.of( set, contender ).fact( "entries" );
      text.append( " " ).append(
          valueText( entries ? std::optional( *entries / static_cast<double>( set.rules ) ) : std::nullopt ) );
    }
    text += "\n";
  }
  return text;
}

constexpr char const* kEntriesScript = R"(set terminal svg size 900,480 font 'sans,13' background 'white' noenhanced
set output 'entries.svg'
set datafile missing '?'
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.8
set xtics rotate by -45
set rmargin 12
set ylabel 'entries a rule'
set yrange [0:*]
set grid ytics
set key top right
plot 'entries.dat' using 2:xtic(1) title 'plain expansion', '' using 3 title 'cost order', '' using 4 title 'nested'
)";

void write( std::filesystem::path const& path, std::string const& text ) {
  std::ofstream out( path );
  out << text;
  if ( !out.flush() ) throw std::runtime_error( "cannot write " + path.string() );
}

}  // namespace

std::string writePlots( std::string const& directory, std::vector<ComparedSet> const& sets,
                        std::vector<Contender> const& contenders, Results const& results, Programs const& programs ) {
  std::filesystem::path const where( directory );
  std::filesystem::create_directories( where );
  auto const sorted = byRules( sets );
  write( where / "time.dat", timeData( sorted, contenders, results ) );
  write( where / "time.gp", timeScript( contenders ) );
  write( where / "entries.dat", entriesData( sorted, results ) );
  write( where / "entries.gp", kEntriesScript );
  std::string const cd = "cd '" + where.string() + "'";
  for ( char const* const script : { "time.gp", "entries.gp" } ) try {
      // Scripts name their files without a directory, so that they can be run again by hand.
      auto const child = programs.run( { "gnuplot", "-e", cd, script } );
      if ( !child.succeeded() ) return "gnuplot: " + child.errors;
    } catch ( std::system_error const& error ) {
      return std::string( "no plots, only their data and scripts: " ) + error.what();
    }
  return {};
}

}  // namespace Orvex::Bench
