#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Apart.h"
#include "FaultyDriver.h"
#include "Modes.h"
#include "PolicyPair.h"
#include "pipeline/ProvedCompile.h"

/// A chip with one version in force is given the next, through a driver with faults. What the chip does is asked after each
/// step of the host and of the driver: it is the one version or the other, or the blanket policy, and never a mixture.

namespace Orvex::Soak {

namespace {

using Host::CompileOutcome;

constexpr unsigned kSecondsACase = 60;
constexpr Brae::ChipId kChip( 1 );

/// What the new version meets.
enum class Reception : std::uint32_t { hitless, hitfulDeny, hitfulPermit, refused };
constexpr std::array<std::string_view, 4> kReceptionNames = { "hitless", "hitful, deny", "hitful, permit", "refused" };
constexpr std::span<std::string_view const> enumNames( Reception ) { return kReceptionNames; }

struct HandshakeCase {
  Reception reception = Reception::hitless;
  bool allTablesOn = false;
  std::vector<AnswerFault> faults;
};

std::string textOf( HandshakeCase const& one ) {
  std::string text = fmt::format( "{}, {} tables", Kiv::stringValue( one.reception ), one.allTablesOn ? "all" : "few" );
  for ( AnswerFault const& fault : one.faults ) text += "; " + textOf( fault );
  return text;
}

// The cases

bool isOfPolicies( DriverRequest request ) { return request >= DriverRequest::policyOn; }

bool makesSense( AnswerFault const& fault ) {
  bool const isConfirmation = fault.fault >= DriverFault::saysDoNotApply && fault.fault <= DriverFault::saysPermitAll;
  bool const isAnswer = fault.fault <= DriverFault::saysReverted;
  bool const ofPolicies = isOfPolicies( fault.request );
  if ( isConfirmation ) return ofPolicies;
  switch ( fault.fault ) {
    case DriverFault::hasAnOlderId:
    case DriverFault::hasANewerId:
    case DriverFault::comesEarly:
    case DriverFault::comesLast:
      return !ofPolicies;
    case DriverFault::requestIsLost:
      return fault.status == FaultyDriver::kEveryStatus;
    default:
      return !( isAnswer && ofPolicies );
  }
}

/// The driver says what the chip has said.
bool isTrue( AnswerFault const& fault, Reception reception ) {
  constexpr std::array<DriverFault, 4> kToAcquire = { DriverFault::saysHitless, DriverFault::saysHitful,
                                                      DriverFault::saysHitful, DriverFault::saysFailed };
  switch ( fault.request ) {
    case DriverRequest::acquire:
      return fault.fault == kToAcquire.at( Kiv::enumValue( reception ) );
    case DriverRequest::load:
      return fault.fault == DriverFault::saysLoaded;
    case DriverRequest::revert:
      return fault.fault == DriverFault::saysReverted;
    case DriverRequest::policyOn:
      return fault.fault ==
             ( reception == Reception::hitfulPermit ? DriverFault::saysPermitAll : DriverFault::saysDenyAll );
    case DriverRequest::policyOff:
      return fault.fault == DriverFault::saysDoNotApply;
  }
  return false;
}

std::vector<DriverRequest> requestsOf( Reception reception ) {
  switch ( reception ) {
    case Reception::hitless:
      return { DriverRequest::acquire, DriverRequest::load };
    case Reception::refused:
      return { DriverRequest::acquire, DriverRequest::revert };
    default:
      return { DriverRequest::acquire, DriverRequest::policyOn, DriverRequest::load, DriverRequest::policyOff };
  }
}

template <class Visit>
void visitFaults( DriverRequest request, Visit const& visit ) {
  std::size_t const first = isOfPolicies( request ) ? FaultyDriver::kEveryStatus : 0;
  for ( std::size_t status = first; status <= FaultyDriver::kEveryStatus; ++status )
    for ( std::uint32_t number = 0; number != kDriverFaultNames.size(); ++number ) {
      AnswerFault const fault{ 0, request, status, static_cast<DriverFault>( number ) };
      if ( makesSense( fault ) ) visit( fault );
    }
}

std::vector<HandshakeCase> makeSingleFaults() {
  std::vector<HandshakeCase> cases;
  for ( std::uint32_t number = 0; number != kReceptionNames.size(); ++number )
    for ( bool const allTablesOn : { false, true } )
      for ( DriverRequest const request : requestsOf( static_cast<Reception>( number ) ) )
        visitFaults( request, [&]( AnswerFault const& fault ) {
          if ( !isTrue( fault, static_cast<Reception>( number ) ) )
            cases.push_back( { static_cast<Reception>( number ), allTablesOn, { fault } } );
        } );
  return cases;
}

std::vector<HandshakeCase> const& singleFaults() {
  static std::vector<HandshakeCase> const cases = makeSingleFaults();
  return cases;
}

AnswerFault randomFault( Random& random, std::uint32_t kicks ) {
  for ( ;; ) {
    AnswerFault const fault{ static_cast<std::uint32_t>( random.below( kicks ) ),
                             static_cast<DriverRequest>( random.below( kDriverRequestNames.size() ) ),
                             random.below( FaultyDriver::kEveryStatus + 1 ),
                             static_cast<DriverFault>( random.below( kDriverFaultNames.size() ) ) };
    if ( makesSense( fault ) ) return fault;
  }
}

/// Both in one update, or the second in the next.
HandshakeCase randomDoubleFault( Random& random ) {
  return { static_cast<Reception>( random.below( kReceptionNames.size() ) ),
           random.percent( 50 ),
           { randomFault( random, 1 ), randomFault( random, random.percent( 25 ) ? 2 : 1 ) } };
}

/// All single faults first, in an order that has every kind among a few. The step and their number have no common divisor,
/// so that each comes once.
HandshakeCase caseOf( std::uint64_t number, Random& random ) {
  auto const& singles = singleFaults();
  if ( number > singles.size() ) return randomDoubleFault( random );
  std::uint64_t step = 1009;
  while ( std::gcd( step, singles.size() ) != 1 ) ++step;
  return singles[( number - 1 ) * step % singles.size()];
}

// A case

Host::ChipProfile profileOf( HandshakeCase const& one ) {
  Host::ChipProfile profile;
  profile.name = "handshake";
  bool const isHitful = one.reception == Reception::hitfulDeny || one.reception == Reception::hitfulPermit;
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) profile.prefix( space ).widthBits = 8;
  for ( Host::Resource const resource : Host::kResources ) profile.capacities[resource] = Host::kUnlimited;
  if ( isHitful ) profile.capacities[Host::Resource::ruleEntries] = PolicyPair::kEntries;
  if ( one.reception == Reception::hitfulPermit ) profile.hitfulPolicy = Host::HitfulPolicy::permit;
  if ( !one.allTablesOn ) return profile;
  for ( Host::Field const field : Host::kFields ) profile.ranges[field] = { 6, 0 };
  for ( ComboLabelSetType const type : Host::kCombos ) profile.combo( type ) = { 10, 0 };
  return profile;
}

class Handshake {
 public:
  explicit Handshake( HandshakeCase one )
      : one_( std::move( one ) ), chip_( kChip, profileOf( one_ ) ), driver_( chip_ ) {}

  void run();

  /// What the chip does now.
  PolicyPair::InForce inForce() const {
    return policies_.inForce( chip_, chip_.profile().hitfulPolicy == Host::HitfulPolicy::permit );
  }

 private:
  void update( PolicyPair::InForce goal, bool isDisturbed, bool isRefused );
  void look();
  void checkResult( Host::ProvedResult const& result, Kiv::Ptr<PDData> const& before, bool isDisturbed,
                    bool isRefused );
  [[noreturn]] static void fail( std::string const& problem ) { throw std::runtime_error( problem ); }
  static void tell( std::string_view what ) { fmt::print( stderr, "tally: {}\n", what ); }

  HandshakeCase one_;
  PolicyPair policies_;
  Host::SoftwareChip chip_;
  FaultyDriver driver_;
  PolicyPair::InForce atStart_ = PolicyPair::InForce::nothing;
  PolicyPair::InForce goal_ = PolicyPair::InForce::nothing;
  bool wasReached_ = false;
};

/// Called wherever the pipeline is not running.
void Handshake::look() {
  auto const now = inForce();
  if ( now == PolicyPair::InForce::mixture ) fail( "the chip does what neither version says" );
  if ( now == goal_ ) wasReached_ = true;
  if ( now != goal_ && now == atStart_ && wasReached_ ) fail( "the version of before has come back" );
  if ( now != goal_ && now != atStart_ && now != PolicyPair::InForce::blanket )
    fail( fmt::format( "{} is in force", Kiv::stringValue( now ) ) );
}

void Handshake::checkResult( Host::ProvedResult const& result, Kiv::Ptr<PDData> const& before, bool isDisturbed,
                             bool isRefused ) {
  auto const& compile = result.compile;
  auto const now = inForce();
  auto const told = fmt::format( "{}: {}", Kiv::stringValue( compile.outcome ), compile.message );
  bool const isNew = now == goal_;
  if ( driver_.pdStatus()->notifiees() != 0 ) fail( "a loader is left" );
  if ( now == PolicyPair::InForce::blanket ) fail( "a blanket policy is left; " + told );
  if ( chip_.policyInForce() != GlobalAclControl::doNotApply ||
       driver_.pdConfig()->globalAclControl() != GlobalAclControl::doNotApply )
    fail( "the blanket policy is not taken back; " + told );
  if ( compile.outcome == CompileOutcome::loaded ) {
    if ( !isNew || !result.proof.isProved() || isRefused ) fail( "a success is reported without the new version" );
  } else {
    if ( !isDisturbed && !isRefused ) fail( "an update without faults ended so: " + told );
    bool const saysNew = compile.message.find( "the new table is in force" ) != std::string::npos;
    if ( atStart_ != goal_ && isNew != saysNew )
      fail( fmt::format( "{} is in force; {}", Kiv::stringValue( now ), told ) );
  }
  bool const loadMade = driver_.pdConfig()->currPDData() != before;
  if ( atStart_ != goal_ && loadMade != isNew )
    fail( fmt::format( "{} is in force, and another snapshot is current; {}", Kiv::stringValue( now ), told ) );
  if ( isDisturbed )
    tell( fmt::format( "ended \"{}\", {} in force", Kiv::stringValue( compile.outcome ), Kiv::stringValue( now ) ) );
}

void Handshake::update( PolicyPair::InForce goal, bool isDisturbed, bool isRefused ) {
  atStart_ = inForce();
  goal_ = goal;
  wasReached_ = false;
  Kiv::Ptr<PDData> const before = driver_.pdConfig()->currPDData();
  Host::CompileOptions options;
  // Whatever a silent driver has not said by now it never says.
  options.driverTimeout = std::chrono::milliseconds( 0 );
  if ( goal_ == PolicyPair::InForce::newVersion ) options.cancelled = [this] { return look(), false; };
  if ( isRefused )
    options.objection = []( PDData const& ) { return std::optional<std::string>( "the operator objects" ); };
  auto const result = Host::compileProved( policies_.policy( goal ), driver_, options );
  checkResult( result, before, isDisturbed, isRefused );
}

void Handshake::run() {
  update( PolicyPair::InForce::oldVersion, false, false );
  driver_.faultsAre( one_.faults );
  std::uint32_t disturbed = 0;
  for ( AnswerFault const& fault : one_.faults ) disturbed = std::max( disturbed, fault.kick + 1 );
  for ( std::uint32_t kick = 0; kick != disturbed; ++kick )
    update( PolicyPair::InForce::newVersion, true, kick == 0 && one_.reception == Reception::refused );
  update( PolicyPair::InForce::newVersion, false, false );
}

/// The one that runs in this process, for the handler of its stop.
Handshake const* running = nullptr;

/// A fatal check ends the host, and the chip goes on.
void tellAtStop( int ) {
  fmt::print( stderr, "at the stop: {}\n", Kiv::stringValue( running->inForce() ) );
  std::fflush( stderr );
}

void runHandshake( HandshakeCase const& one ) {
  Handshake handshake( one );
  running = &handshake;
  std::signal( SIGABRT, tellAtStop );
  handshake.run();
}

// Its end

/// The fatal checks that only a driver outside its contract reaches.
constexpr std::array<std::string_view, 4> kNamedStops = {
    "Failed to load data into acquired resources", "pdConfig()->globalAclControl() == pdStatus()->globalAclControl()",
    "reached invalid state for handleXformStatus", "reached invalid state for handleGlobalAclControl" };

/// Empty unless the stop is none that may be.
std::string problemOfStop( std::string const& text ) {
  auto const has = [&text]( std::string_view part ) { return text.find( part ) != std::string::npos; };
  if ( std::none_of( kNamedStops.begin(), kNamedStops.end(), has ) ) return "stopped by another check";
  if ( has( "at the stop: mixture" ) || !has( "at the stop: " ) ) return "stopped with a mixture in force";
  return "";
}

void addTallies( std::string const& text, Tally& tally ) {
  constexpr std::string_view kMark = "tally: ";
  for ( std::size_t at = text.find( kMark ); at != std::string::npos; at = text.find( kMark, at ) ) {
    at += kMark.size();
    tally.add( text.substr( at, text.find( '\n', at ) - at ) );
  }
}

std::string problemOf( ApartResult const& result ) {
  switch ( result.ending ) {
    case ApartEnding::returned:
      return "";
    case ApartEnding::stopped:
      return problemOfStop( result.text );
    case ApartEnding::threw:
      return "failed";
    case ApartEnding::hung:
      return "hung";
    case ApartEnding::crashed:
      break;
  }
  return "crashed";
}

}  // namespace

std::uint64_t handshakeSingleFaults() { return singleFaults().size(); }

/// The parent only waits: what it forks finds no lock taken, whatever the other threads do.
void handshakeCase( Case& one ) {
  HandshakeCase const chosen = caseOf( one.number, one.random );
  ApartResult const result = runApart( [&chosen] { runHandshake( chosen ); }, kSecondsACase );
  if ( std::string const problem = problemOf( result ); !problem.empty() )
    throw std::runtime_error( fmt::format( "{}: {}\n{}", textOf( chosen ), problem, result.text ) );
  one.tally.add( one.number > singleFaults().size() ? "double faults" : "single faults" );
  if ( result.ending == ApartEnding::stopped ) one.tally.add( "ended by a fatal check" );
  addTallies( result.text, one.tally );
}

}  // namespace Orvex::Soak
