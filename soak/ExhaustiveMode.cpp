#include <algorithm>
#include <numeric>

#include "Modes.h"
#include "ProvedTable.h"
#include "SmallEdits.h"
#include "SmallWorld.h"

namespace Orvex::Soak {

namespace {

std::uint64_t policyCases() {
  auto const& worlds = smallWorlds();
  return std::accumulate( worlds.begin(), worlds.end(), std::uint64_t{ 0 },
                          []( std::uint64_t sum, SmallWorld const& world ) { return sum + world.policies(); } );
}

/// Where in the enumeration a case is. Case after case steps about 0.618 of the way on and round again, and the number of steps
/// shares no factor with the whole: so the first cases are spread over it, and all of them are all of it.
std::uint64_t placeOf( std::uint64_t number, std::uint64_t total ) {
  auto step = static_cast<std::uint64_t>( 0.618 * static_cast<double>( total ) );
  while ( std::gcd( step, total ) != 1 ) ++step;
  return ( number - 1 ) * step % total;
}

void checkPolicy( SmallWorld const& world, std::uint64_t number, Case& one ) {
  Host::Policy const policy = world.policy( number );
  Host::SoftwareChip chip( kSoakChip, world.profile() );
  loadProved( policy, chip );
  AskedChip const asked( chip, policy, policy.acls.front() );
  for ( Verify::Packet const& packet : world.packets() ) asked.verdict( packet );
  one.tally.add( "policies proved: " + world.name() );
  one.tally.add( "packets", world.packets().size() );
}

}  // namespace

std::uint64_t exhaustiveCases() { return policyCases() + smallEditSets(); }

void exhaustiveCase( Case& one ) {
  std::uint64_t place = placeOf( one.number, exhaustiveCases() );
  for ( SmallWorld const& world : smallWorlds() ) {
    if ( place < world.policies() ) return checkPolicy( world, place, one );
    place -= world.policies();
  }
  checkSmallEdits( place, one );
}

}  // namespace Orvex::Soak
