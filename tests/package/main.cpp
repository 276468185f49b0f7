/// Uses the installed library as an agent does, and ends with 0 when each side sees what the other has done: two rules of
/// equal ports share a set, an exception of the library is caught here, and there is one copy of what a process has one of.

#include <iostream>
#include <string>
#include <thread>

#include "Brae/TimerWheel.h"
#include "Kiv/System.h"
#include "Kiv/Trace.h"
#include "Orvex/OrvexAggregatorSm.h"
#include "Vell/IpGenPrefix.h"

using namespace Orvex;

namespace {

bool check( bool holds, char const* what ) {
  if ( !holds ) std::cerr << "wrong: " << what << '\n';
  return holds;
}

Kiv::Ptr<AclConfigColl> makePolicy( Brae::ChipId chip ) {
  auto policy = Kiv::make<AclConfigColl>( chip );
  auto const edge = policy->aclIs( "edge" );
  for ( std::uint32_t const index : { 10U, 20U } ) {
    auto const rule = edge->ruleByNameIs( Kiv::String( std::to_string( index ) ) );
    rule->ruleFilterIs()->dportRangeIs( { 80, 80 } );
    rule->ruleFilterIs()->sourceIs()->addrIs( Vell::IpGenPrefix( index << 24U, 8 ) );
    edge->ruleByIdIs( AceIndex( index ), rule );
  }
  return policy;
}

/// Two sets of prefixes and one of ports. The aggregator's traces arrive here.
bool aggregates() {
  Brae::ChipId const chip( 0 );
  auto const config = Kiv::make<AggregatorConfig>( makePolicy( chip ) );
  auto const status = Kiv::make<AggregatorStatus>();
  status->handleInitialized();
  auto const aggregator = Kiv::make<AggregatorSm>( chip, config, status, Kiv::make<ChipHwCapability>( chip ),
                                                   Kiv::make<GenSetKeyGenerator>() );
  aggregator->hasNotificationActiveIs( true );

  std::size_t traces = 0;
  Kiv::Trace::sinkIs( [&traces]( Kiv::TraceLine const& ) { ++traces; } );
  std::size_t const handles = Kiv::Trace::levelIs( Kiv::TraceHandle::kMaxLevel, "OrvexAggregatorSm" );
  config->kickTimeIs( Kiv::System::currentTime() );
  Kiv::Trace::sinkIs( {} );

  std::size_t const sets = status->genSetUsageInfo()->refCount().size();
  std::cout << status->status() << ": " << sets << " sets\n";
  return check( sets == 3, "three sets" ) && check( handles == 1 && traces != 0, "the library's traces are heard" );
}

bool catchesWhatTheLibraryThrows() {
  try {
    Kiv::strepToValue<Vell::IpGenPrefix>( "10.0.0.0/33" );
  } catch ( Kiv::RangeException const& ) {
    return true;
  } catch ( ... ) {
    return check( false, "the exception keeps its type" );
  }
  return check( false, "a prefix of 33 bits is refused" );
}

/// The library ends the process when the switch, which is an inline variable, is still off in a copy of its own.
bool sharesTheSwitchForThreads() {
  auto const here = Brae::TimerWheel::ofThisThread();
  Kiv::threadSafePointersIs( true );
  bool apart = false;
  std::thread( [&] { apart = Brae::TimerWheel::ofThisThread() != here; } ).join();
  return check( apart, "each thread has a wheel" );
}

}  // namespace

int main() {
  bool const allHold = aggregates() && catchesWhatTheLibraryThrows() && sharesTheSwitchForThreads();
  return allHold ? 0 : 1;
}
