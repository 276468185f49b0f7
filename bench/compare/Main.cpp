/// Compares the compiler with other programs on the same rules, in one run and by turns, and holds the results against what
/// they should be.
///
///     compare                                 generated sets of 1,000 to 100,000 rules, IPv4 and IPv6; policies over lists
///     compare acl1_10k.txt fw1_10k.txt        ClassBench filter sets, and policies over lists
///     compare --generated acl1_10k.txt        all of these
///
/// Who runs:
///
///     orvex compile       the whole command: read, compile, prove, load, summary
///     nft -c -f, nft -f   reads the same rules as a ruleset and checks them, or loads them, in a network of its own
///     kick                the library alone, from the configuration to the snapshot that the driver has taken
///     librte_acl          rte_acl_build() of DPDK alone, when it was there to build against
///     plain expansion     makes the ternary entries without labels
///
/// Each run is a process of its own; what is told are medians over the rounds. The time of the kick, of librte_acl and of plain
/// expansion is that of their work alone, and their memory that of the whole process, which has read the rules.
///
/// Exits 0 whether or not targets are met, 2 when the question is wrong.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <iostream>

#include "compare/Plots.h"
#include "compare/Targets.h"

namespace {

using namespace Orvex::Bench;

struct Options {
  std::vector<std::string> files;
  std::uint64_t rounds = 5;
  std::vector<std::uint64_t> sizes = { 1000, 10000, 100000 };
  bool generated = false;
  bool lists = true;
  bool markdown = false;
  std::string plots;
  std::string orvex;
  double limitSeconds = 60;
};

std::optional<int> parse( int argc, char** argv, Options& options ) {
  CLI::App app( "compares the compiler with other programs on the same rules" );
  app.add_option( "FILE", options.files, "ClassBench filter sets; none: generated ones" );
  app.add_option( "--rounds", options.rounds, "how often each runs" )->check( CLI::Range( 1, 1000 ) );
  app.add_option( "--sizes", options.sizes, "rules of generated sets" )->delimiter( ',' );
  app.add_flag( "--generated", options.generated, "generated sets beside the files" );
  app.add_flag( "--lists,!--no-lists", options.lists, "policies over lists too" );
  app.add_flag( "--markdown", options.markdown, "tables in Markdown" );
  app.add_option( "--plots", options.plots, "directory for plots" );
  app.add_option( "--orvex", options.orvex, "the command; else the one built beside this program" );
  app.add_option( "--limit", options.limitSeconds, "seconds that a run may take" );
  try {
    app.parse( argc, argv );
  } catch ( CLI::ParseError const& error ) {
    return app.exit( error ) == 0 ? 0 : 2;
  }
  return std::nullopt;
}

void showProgress( std::string const& what ) {
  if ( isatty( STDERR_FILENO ) != 0 ) std::cerr << "\r\033[K" << what << std::flush;
}

std::vector<ComparedSet> setsOf( Options const& options, Programs const& programs ) {
  auto sets = givenSets( options.files, programs );
  if ( options.generated || options.files.empty() ) {
    auto generated = generatedSets( options.sizes, programs );
    sets.insert( sets.end(), std::make_move_iterator( generated.begin() ), std::make_move_iterator( generated.end() ) );
  }
  return sets;
}

/// On the first ACL set of about 10,000 rules.
std::optional<LookUpRates> lookUpRates( std::vector<ComparedSet> const& sets, Programs const& programs,
                                        std::uint64_t rounds ) {
  for ( ComparedSet const& set : sets ) {
    if ( !set.series.starts_with( "acl" ) || !set.isAbout( kSmall ) ) continue;
    std::vector<double> bySecond;
    std::vector<double> byCpuSecond;
    for ( std::uint64_t round = 0; round != rounds; ++round ) {
      auto facts = factsOf( programs.runRole( { "look-up", set.path } ).output );
      bySecond.push_back( facts["packets"] / facts["wall"] );
      byCpuSecond.push_back( facts["packets"] / facts["cpu"] );
    }
    return LookUpRates{ medianOf( bySecond ), medianOf( byCpuSecond ) };
  }
  return std::nullopt;
}

/// "Intel(R) Xeon(R) CPU, 2 processors"
std::string machine() {
  std::ifstream in( "/proc/cpuinfo" );
  std::string model = "unknown processor";
  for ( std::string line; std::getline( in, line ); )
    if ( line.starts_with( "model name" ) ) model = line.substr( line.find( ':' ) + 2 );
  return model + ", " + std::to_string( sysconf( _SC_NPROCESSORS_ONLN ) ) + " processors";
}

std::string dateAndLoad() {
  std::time_t const now = std::time( nullptr );
  std::array<char, 16> date{};
  std::strftime( date.data(), date.size(), "%Y-%m-%d", std::localtime( &now ) );
  double load = 0;
  getloadavg( &load, 1 );
  char text[96];
  std::snprintf( text, sizeof text, "%s; load at the end %.1f, of which the comparison is 1", date.data(), load );
  return text;
}

int run( Options const& options ) {
  Programs const programs( options.orvex, std::chrono::duration<double>( options.limitSeconds ) );
  auto const all = contenders( programs );
  auto const sets = setsOf( options, programs );
  Results const results = runRounds( sets, all, options.rounds, showProgress );
  std::vector<PolicyRow> policies;
  if ( options.lists ) policies = runPolicies( programs, options.rounds, showProgress );
  auto const lookUps = lookUpRates( sets, programs, options.rounds );
  showProgress( "" );

  TableForm const form = options.markdown ? TableForm::markdown : TableForm::text;
  std::cout << machine() << "; " << dateAndLoad() << "; medians of " << options.rounds << " rounds.\n\n";
  print( std::cout, tableOfTargets( targetsOf( sets, results, policies, lookUps ) ), form );
  print( std::cout, tableOfSets( sets ), form );
  for ( Measure const measure : { Measure::wall, Measure::cpu, Measure::peak } )
    print( std::cout, tableOfMeasure( measure, sets, all, results ), form );
  print( std::cout, tableOfEntries( sets, results ), form );
  if ( !growths( sets ).empty() ) print( std::cout, tableOfGrowth( sets, results ), form );
  if ( !policies.empty() ) print( std::cout, tableOfPolicies( policies ), form );
  if ( options.plots.empty() ) return 0;
  std::string const failure = writePlots( options.plots, sets, all, results, programs );
  if ( !failure.empty() ) std::cerr << "compare: warning: " << failure << "\n";
  return 0;
}

}  // namespace

int main( int argc, char** argv ) {
  Options options;
  if ( auto const status = parse( argc, argv, options ) ) return *status;
  try {
    return run( options );
  } catch ( std::exception const& error ) {
    std::cerr << "compare: error: " << error.what() << "\n";
    return 2;
  }
}
