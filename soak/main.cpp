/// The soak tool: makes random cases, and holds the compiler, the chip and the prover to what they promise.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>

#include "Soak.h"

namespace Orvex::Soak {

namespace {

constexpr char const* kDescription =
    "Makes random policies and holds the compiler, the chip and the prover to what they promise.\n"
    "\n"
    "  orvex-soak equiv --count 20000               equal seeds and counts make equal runs\n"
    "  orvex-soak equiv --first 20001 --count 500   the cases that come next\n"
    "  orvex-soak equiv --only 17                   one case by itself, such as one that failed\n"
    "  orvex-soak exhaustive --all                  every case that there is\n";

/// Of more failures only the number is told.
constexpr std::size_t kFailuresShown = 5;

bool report( Mode const& mode, Run const& what ) {
  std::string const ofAll = mode.all == 0 ? "" : fmt::format( " of {}", mode.all );
  fmt::print( "{}: seed {}, cases {} to {}{}\n", mode.name, what.seed, what.first, what.first + what.count - 1, ofAll );
  RunResult const result = run( mode, what );
  for ( auto const& [name, count] : result.tally.counts() ) fmt::print( "{:>12}  {}\n", count, name );
  std::size_t left = kFailuresShown;
  for ( auto const& [number, text] : result.failures ) {
    if ( left-- == 0 ) break;
    fmt::print( "\ncase {} failed: {}\nagain: orvex-soak {} --seed {} --only {}\n", number, text, mode.name, what.seed,
                number );
  }
  fmt::print( "{} passed, {} failed\n", what.count - result.failures.size(), result.failures.size() );
  return result.failures.empty();
}

/// What the options of one mode came to.
struct Choice {
  Run what;
  std::uint64_t only = 0;
  bool all = false;
};

void addOptions( CLI::App& command, Mode const& mode, Choice& choice ) {
  command.add_option( "--seed", choice.what.seed, "equal seeds make equal cases" );
  auto* const first = command.add_option( "--first", choice.what.first, "the first case's number; 1 unless given" );
  auto* const count =
      command.add_option( "--count", choice.what.count, fmt::format( "cases; {} unless given", mode.cases ) );
  auto* const only = command.add_option( "--only", choice.only, "one case, by its number" );
  for ( auto* const number : { first, count, only } ) number->check( CLI::PositiveNumber );
  only->excludes( first )->excludes( count );
  command.add_option( "--jobs", choice.what.jobs, "threads" )->check( CLI::Range( 1, 64 ) );
  if ( mode.all != 0 )
    command.add_flag( "--all", choice.all, fmt::format( "all {} cases there are", mode.all ) )
        ->excludes( count )
        ->excludes( only );
}

/// Up to a mode's last case at most.
/// Fails with: std::invalid_argument for a first case that there is not.
Run runOf( Mode const& mode, Choice const& choice ) {
  Run what = choice.what;
  if ( choice.only != 0 ) what = { what.seed, choice.only, 1, 1 };
  if ( what.count == 0 ) what.count = mode.cases;
  if ( mode.all == 0 ) return what;
  if ( what.first > mode.all ) throw std::invalid_argument( fmt::format( "{} has {} cases", mode.name, mode.all ) );
  std::uint64_t const left = mode.all - what.first + 1;
  what.count = choice.all ? left : std::min( what.count, left );
  return what;
}

int runSoak( int argc, char** argv ) {
  CLI::App app( kDescription, "orvex-soak" );
  app.require_subcommand( 1 );
  app.footer( "Exit status: 0 nothing failed; 1 something did; 2 usage." );
  std::vector<Mode> const all = modes();
  Choice choice;
  for ( Mode const& mode : all ) addOptions( *app.add_subcommand( mode.name, mode.description ), mode, choice );
  try {
    app.parse( argc, argv );
  } catch ( CLI::ParseError const& error ) {
    return app.exit( error ) == 0 ? 0 : 2;
  }
  for ( Mode const& mode : all )
    if ( app.got_subcommand( mode.name ) ) return report( mode, runOf( mode, choice ) ) ? 0 : 1;
  return 2;
}

}  // namespace

}  // namespace Orvex::Soak

int main( int argc, char** argv ) {
  try {
    return Orvex::Soak::runSoak( argc, argv );
  } catch ( std::exception const& error ) {
    fmt::print( stderr, "orvex-soak: {}\n", error.what() );
    return 2;
  }
}
