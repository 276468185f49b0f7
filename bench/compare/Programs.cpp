#include "compare/Programs.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace Orvex::Bench {

namespace {

constexpr char const* kProfile = R"({"schema": "orvex.chip/1", "name": "compare",
 "prefixes": {"ipv4": {"source": {"width": 16}, "destination": {"width": 16}},
              "ipv6": {"source": {"width": 16}, "destination": {"width": 16}}},
 "ranges": {"sport": {"width": 16}, "dport": {"width": 16}},
 "combos": {COMBOS},
 "capacities": {"ruleEntries": "unlimited", "ipv4PrefixEntries": "unlimited", "ipv6PrefixEntries": "unlimited",
                "rangeEntries": "unlimited", "comboEntries": "unlimited"},
 "labelPlacement": "nested"}
)";
constexpr char const* kCombos =
    R"("ipv4SrcDstPrefix": {"width": 16}, "ipv6SrcDstPrefix": {"width": 16}, "srcDstL4Port": {"width": 16})";

void writeProfile( std::string const& path, std::string const& combos ) {
  std::string text = kProfile;
  std::string const place = "COMBOS";
  text.replace( text.find( place ), place.size(), combos );
  std::ofstream( path ) << text;
}

}  // namespace

WorkDirectory::WorkDirectory() {
  path_ = std::filesystem::temp_directory_path() / "orvex-compare-XXXXXX";
  if ( mkdtemp( path_.data() ) == nullptr ) throw std::runtime_error( "no directory can be made in the temporary one" );
}

WorkDirectory::~WorkDirectory() {
  std::error_code error;
  std::filesystem::remove_all( path_, error );
}

Programs::Programs( std::string orvex, std::chrono::duration<double> limit )
    : directory_( std::filesystem::read_symlink( "/proc/self/exe" ).parent_path() ),
      orvex_( std::move( orvex ) ),
      limit_( limit ) {
  if ( orvex_.empty() ) orvex_ = directory_ + "/../cli/orvex";
  if ( !std::filesystem::exists( orvex_ ) || !std::filesystem::exists( child() ) )
    throw std::runtime_error( "there is no " + orvex_ + " or no " + child() + "; build both" );
  writeProfile( profile( false ), "" );
  writeProfile( profile( true ), kCombos );
}

ChildResult Programs::runRole( std::vector<std::string> words ) const {
  words.insert( words.begin(), child() );
  ChildResult result = run( words );
  if ( !result.succeeded() ) throw std::runtime_error( words[1] + " " + words[2] + ": " + result.errors );
  return result;
}

}  // namespace Orvex::Bench
