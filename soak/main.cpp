/// The soak tool: makes random cases, and holds the compiler, the chip and the prover to what they promise.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string>

#include "Soak.h"

namespace Orvex::Soak {

namespace {

constexpr char const* kDescription =
    "Makes random policies and holds the compiler, the chip and the prover to what they promise.\n"
    "\n"
    "  orvex-soak equiv --count 20000        equal seeds and counts make equal runs\n"
    "  orvex-soak equiv --only 17            one case by itself, such as one that failed\n";

/// Of more failures only the number is told.
constexpr std::size_t kFailuresShown = 5;

bool report( Mode const& mode, Run const& what ) {
  fmt::print( "{}: seed {}, cases {} to {}\n", mode.name, what.seed, what.first, what.first + what.count - 1 );
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

int runSoak( int argc, char** argv ) {
  CLI::App app( kDescription, "orvex-soak" );
  app.require_subcommand( 1 );
  app.footer( "Exit status: 0 nothing failed; 1 something did; 2 usage." );
  std::vector<Mode> const all = modes();
  Run what;
  std::uint64_t only = 0;
  for ( Mode const& mode : all ) {
    CLI::App& command = *app.add_subcommand( mode.name, mode.description );
    command.add_option( "--seed", what.seed, "equal seeds make equal cases" );
    auto* const count =
        command.add_option( "--count", what.count, fmt::format( "cases; {} unless given", mode.cases ) );
    count->check( CLI::PositiveNumber );
    command.add_option( "--only", only, "one case, by its number" )->check( CLI::PositiveNumber )->excludes( count );
    command.add_option( "--jobs", what.jobs, "threads" )->check( CLI::Range( 1, 64 ) );
  }
  try {
    app.parse( argc, argv );
  } catch ( CLI::ParseError const& error ) {
    return app.exit( error ) == 0 ? 0 : 2;
  }
  for ( Mode const& mode : all ) {
    if ( !app.got_subcommand( mode.name ) ) continue;
    if ( what.count == 0 ) what.count = mode.cases;
    if ( only != 0 ) what = { what.seed, only, 1, 1 };
    return report( mode, what ) ? 0 : 1;
  }
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
