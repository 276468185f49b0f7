#include "Soak.h"

#include <atomic>
#include <thread>
#include <utility>

#include "Kiv/ReferenceCount.h"
#include "chip/ProfileJson.h"
#include "policy/AclTextWriter.h"

namespace Orvex::Soak {

namespace {

/// Neighbouring cases get numbers that have nothing in common: a step of the splitmix64 generator (Steele, Lea and Flood,
/// "Fast splittable pseudorandom number generators", 2014).
std::uint64_t seedOf( std::uint64_t seed, std::uint64_t number ) {
  std::uint64_t mixed = seed * 0x9E3779B97F4A7C15U + number;
  mixed = ( mixed ^ mixed >> 30 ) * 0xBF58476D1CE4E5B9U;
  mixed = ( mixed ^ mixed >> 27 ) * 0x94D049BB133111EBU;
  return mixed ^ mixed >> 31;
}

void runCase( Mode const& mode, std::uint64_t seed, std::uint64_t number, RunResult& result ) {
  try {
    Case one{ number, Random( seedOf( seed, number ) ), result.tally };
    mode.run( one );
  } catch ( std::exception const& failure ) {
    result.failures.emplace( number, failure.what() );
  }
}

}  // namespace

Failure::Failure( std::string const& problem, Host::Policy const& policy, Host::ChipProfile const& profile )
    : std::runtime_error( problem + "\nchip:\n" + Host::profileJson( profile ) + "\npolicy:\n" +
                          Host::aclText( policy ) ) {}

RunResult run( Mode const& mode, Run const& what ) {
  std::vector<RunResult> results( what.jobs );
  std::atomic<std::uint64_t> next = 0;
  auto const work = [&]( RunResult& result ) {
    for ( std::uint64_t at = next++; at < what.count; at = next++ ) runCase( mode, what.seed, what.first + at, result );
  };
  if ( what.jobs > 1 ) Kiv::threadSafePointersIs( true );
  std::vector<std::thread> others;
  for ( unsigned job = 1; job < what.jobs; ++job ) others.emplace_back( work, std::ref( results[job] ) );
  work( results.front() );
  for ( std::thread& other : others ) other.join();

  RunResult all;
  for ( RunResult& result : results ) {
    all.tally.add( result.tally );
    all.failures.merge( result.failures );
  }
  return all;
}

}  // namespace Orvex::Soak
