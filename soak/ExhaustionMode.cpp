#include <algorithm>
#include <utility>

#include "Limits.h"
#include "Modes.h"
#include "ProvedTable.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"

namespace Orvex::Soak {

namespace {

constexpr std::uint64_t kPackets = 100;

/// Versions that come one after the other to a chip with a limit.
class Demands {
 public:
  Demands( Limit const& limit, std::uint32_t bits, Case& one )
      : limit_( limit ), bits_( bits ), one_( one ), chip_( limit.chip( bits, one.random ) ) {}

  void demand( std::uint64_t count ) {
    Host::Policy const policy = normalised( limit_.policy( static_cast<std::uint32_t>( count ), one_.random ) );
    auto const before = chip_->pdConfig()->currPDData();
    auto const result = Host::compileProved( policy, *chip_ );
    bool const loaded = isLoaded( result, policy, chip_->profile() );
    bool const fits = count <= limit_.available( bits_ );
    if ( loaded != fits )
      fail( fits ? "refused, and fits: " + result.compile.message : "loaded, and does not fit", count, policy );
    if ( loaded ) accepted_ = policy;
    if ( !loaded ) checkRefusal( result.compile, before, count, policy );
    askAboutBoundaries( *chip_, accepted_, kPackets, one_.random );
    one_.tally.add( ( loaded ? "fits: " : "refused: " ) + limit_.name );
  }

 private:
  void checkRefusal( Host::CompileResult const& result, Kiv::Ptr<PDData> const& before, std::uint64_t count,
                     Host::Policy const& policy ) {
    std::string const complaint = limit_.complaint( bits_, count );
    if ( result.message.find( complaint ) == std::string::npos )
      fail( "the message is not \"" + complaint + "\" but \"" + result.message + '"', count, policy );
    if ( chip_->pdConfig()->currPDData() != before ) fail( "a refusal has left another snapshot", count, policy );
    auto const proof =
        Verify::prove( accepted_, *before, shapeOf( chip_->profile() ), Host::defaultActionsOf( accepted_ ) );
    if ( !proof.isProved() ) fail( "after a refusal the table in force is not the one of before", count, policy );
  }

  [[noreturn]] void fail( std::string const& problem, std::uint64_t count, Host::Policy const& policy ) const {
    throw Failure( limit_.name + ", " + std::to_string( count ) + " of " + std::to_string( limit_.available( bits_ ) ) +
                       ": " + problem,
                   policy, chip_->profile() );
  }

  Limit const& limit_;
  std::uint32_t bits_;
  Case& one_;
  std::unique_ptr<Host::SoftwareChip> chip_;
  Host::Policy accepted_;
};

}  // namespace

void exhaustionCase( Case& one ) {
  Limit const& limit = limits()[one.number % limits().size()];
  std::uint32_t const bits = one.random.between( limit.leastBits, limit.mostBits );
  std::uint64_t const power = std::uint64_t{ 1 } << bits;
  Demands demands( limit, bits, one );
  demands.demand( one.random.between( 1, static_cast<std::uint32_t>( limit.available( bits ) ) ) );
  std::vector<std::uint64_t> around = { power - 1, power, power + 1 };
  one.random.shuffle( around );
  for ( std::uint64_t const count : around ) demands.demand( count );
  demands.demand( limit.available( bits ) );
}

}  // namespace Orvex::Soak
