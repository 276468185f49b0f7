#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Command.h"
#include "Modes.h"

/// The orvex command is killed while it works: at random instants, and on its way into and out of each system call, from the
/// last one backwards, so that the first cases are all those of the output. Then the output file is asked, and the command
/// run again. (The software chip lives in the process and ends with it; there is nothing of it to look at.)

namespace Orvex::Soak {

namespace {

namespace fs = std::filesystem;

/// Enough for several writes.
std::string policyText() {
  constexpr int kRules = 160;
  std::string text = "ip access-list edge\n";
  for ( int rule = 1; rule <= kRules; ++rule )
    text += fmt::format( "  {} permit tcp 10.0.{}.0/24 any range 80 {}\n", rule, rule, 2000 + rule );
  return text;
}

/// A directory that goes with the object: a policy, and the output in a directory of its own.
class Scene {
 public:
  Scene() {
    std::string name = ( fs::temp_directory_path() / "orvex-kill-XXXXXX" ).string();
    if ( ::mkdtemp( name.data() ) == nullptr ) throw std::runtime_error( "there is no room for temporary files" );
    directory_ = name;
    fs::create_directory( directory_ / "out" );
    std::ofstream( directory_ / "policy.acl" ) << policyText();
  }
  ~Scene() {
    std::error_code ignored;
    fs::remove_all( directory_, ignored );
  }
  Scene( Scene const& ) = delete;
  Scene& operator=( Scene const& ) = delete;

  std::vector<std::string> command( std::size_t number ) const {
    std::string const policy = ( directory_ / "policy.acl" ).string();
    std::string const out = ( directory_ / "out" / "result" ).string();
    switch ( number ) {
      case 0:
        return { orvexPath(), "compile", policy, "--format", "json", "--output", out };
      case 1:
        return { orvexPath(), "convert", policy, "--to", "rfc8519", "--output", out };
      default:
        return { orvexPath(), "packets", policy, "--count", "1000", "--output", out };
    }
  }
  static constexpr std::size_t kCommands = 3;

  void outputIs( std::string const& text ) const { std::ofstream( directory_ / "out" / "result" ) << text; }
  std::optional<std::string> output() const {
    std::ifstream in( directory_ / "out" / "result" );
    if ( !in ) return std::nullopt;
    return std::string( std::istreambuf_iterator( in ), {} );
  }
  /// What else is there.
  std::vector<std::string> leftovers() const {
    std::vector<std::string> names;
    for ( auto const& each : fs::directory_iterator( directory_ / "out" ) ) names.push_back( each.path().filename() );
    std::erase( names, "result" );
    return names;
  }

 private:
  fs::path directory_;
};

/// What an undisturbed run of a command comes to.
struct Rehearsal {
  std::string output;
  std::chrono::microseconds time{ 0 };
  /// Without and with an old file.
  std::array<std::uint64_t, 2> stops{};
};

Rehearsal rehearse( std::size_t command ) {
  Rehearsal rehearsal;
  Scene const scene;
  for ( std::uint64_t& stops : rehearsal.stops ) stops = runAndKillAtStop( scene.command( command ), 0 ).stops;
  auto const start = std::chrono::steady_clock::now();
  int const status = runToItsEnd( scene.command( command ) );
  rehearsal.time = std::chrono::duration_cast<std::chrono::microseconds>( std::chrono::steady_clock::now() - start );
  auto const output = scene.output();
  if ( status != 0 || !output || output->empty() || !scene.leftovers().empty() )
    throw std::runtime_error( "the orvex command does not work" );
  rehearsal.output = *output;
  return rehearsal;
}

Rehearsal const& rehearsalOf( std::size_t command ) {
  static std::array<Rehearsal, Scene::kCommands> const rehearsals = { rehearse( 0 ), rehearse( 1 ), rehearse( 2 ) };
  return rehearsals.at( command );
}

[[noreturn]] void fail( std::string const& problem, std::string const& when ) {
  throw std::runtime_error( problem + ", " + when );
}

/// One that says whose it is.
bool isTemporary( std::string const& name ) { return name.starts_with( ".result." ) && name.ends_with( ".new" ); }

void checkAfterKill( Scene const& scene, std::optional<std::string> const& old, std::string const& wanted,
                     std::string const& when, Tally& tally ) {
  auto const output = scene.output();
  auto const leftovers = scene.leftovers();
  if ( output != old && output != wanted ) fail( "the output is neither the old file nor the new one", when );
  if ( leftovers.size() > 1 || !std::all_of( leftovers.begin(), leftovers.end(), isTemporary ) )
    fail( "something else is left over", when );
  tally.add( output == wanted ? "the new file was there" : old ? "the old file was there" : "no file was there" );
  tally.add( "left over: a temporary file", leftovers.size() );
}

}  // namespace

/// Three in four cases are boundaries of "compile", without and with an old file; one in four is a random instant.
void killCase( Case& one ) {
  bool const isRandom = one.number % 4 == 0;
  std::size_t const command = isRandom ? one.random.below( Scene::kCommands ) : 0;
  std::uint64_t const boundary = one.number - one.number / 4 - 1;
  bool const hasOld = isRandom ? one.random.percent( 75 ) : boundary % 2 == 1;
  Rehearsal const& rehearsal = rehearsalOf( command );
  std::uint64_t const stops = rehearsal.stops.at( hasOld ? 1 : 0 );
  std::optional<std::string> const old =
      hasOld ? std::optional( "an old file\n" + std::string( one.random.below( 200'000 ), 'x' ) ) : std::nullopt;

  Scene const scene;
  if ( old ) scene.outputIs( *old );
  std::string when;
  int status = 0;
  if ( isRandom ) {
    std::chrono::microseconds const time(
        one.random.below( static_cast<std::uint64_t>( rehearsal.time.count() ) + 1 ) );
    when = fmt::format( "command {} killed after {} us", command, time.count() );
    status = runAndKillAfter( scene.command( command ), time );
    one.tally.add( "killed at a random instant" );
  } else {
    std::uint64_t const at = stops - boundary / 2 % stops;
    when = fmt::format( "killed at stop {} of {}", at, stops );
    status = runAndKillAtStop( scene.command( command ), at ).status;
    one.tally.add( "killed at a system call" );
  }
  if ( !WIFSIGNALED( status ) ) one.tally.add( "had ended before" );
  checkAfterKill( scene, old, rehearsal.output, when, one.tally );
  if ( runToItsEnd( scene.command( command ) ) != 0 ) fail( "the next run fails", when );
  if ( scene.output() != rehearsal.output ) fail( "the next run's output is wrong", when );
  if ( !scene.leftovers().empty() ) fail( "the next run leaves something over", when );
}

}  // namespace Orvex::Soak
