#include "Modes.h"
#include "ProvedTable.h"
#include "RandomPolicy.h"

namespace Orvex::Soak {

namespace {

/// Few rules with much in them, many with little, or something between.
Host::Test::RandomPolicyOptions randomShape( Random& random ) {
  switch ( random.below( 4 ) ) {
    case 0:
      return { 1, 4, 8, 5, 20 };
    case 1:
      return { 1, 20, 2, 2, 25 };
    default:
      return { 2, 8, 4, 3, 15 };
  }
}

}  // namespace

void equivCase( Case& one ) {
  Host::Policy const policy = Host::Test::randomPolicy( one.random, randomShape( one.random ) );
  provedTable( policy, one );
  one.tally.add( "policies proved" );
}

}  // namespace Orvex::Soak
