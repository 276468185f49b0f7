#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "orvex/TestLoading.h"
#include "orvex/TestStages.h"
#include "packets/Random.h"

/// Drivers that break their contract, once or twice in an update: what the loader reports, and what the chip then does.

namespace Orvex {
namespace {

using Test::Behaviour;
using Test::Fault;
using Test::kBehaviourNames;
using Test::kRequests;
using Test::Loading;
using Test::TestDriver;
using Test::TraceLines;
using testing::ElementsAre;
using testing::HasSubstr;

// One fault

enum class Ending : std::uint8_t { succeeds, fails, waits, refusedLoad, strayPolicy };

char const* textOf( Ending ending ) {
  switch ( ending ) {
    case Ending::refusedLoad:
      return "0 && \"Failed to load data into acquired resources\"";
    case Ending::strayPolicy:
      return "pdConfig()->globalAclControl() == pdStatus()->globalAclControl()";
    default:
      return "";
  }
}

bool isOne( Behaviour behaviour, std::initializer_list<Behaviour> of ) {
  return std::find( of.begin(), of.end(), behaviour ) != of.end();
}

constexpr std::initializer_list<Behaviour> kInTime = { Behaviour::answers, Behaviour::answersTwice,
                                                       Behaviour::answersLate, Behaviour::answersAtOnce };

Ending endingOf( ResponseState toAcquire, Fault const& fault ) {
  bool const refused = toAcquire == ResponseState::failed;
  bool const hitful = toAcquire == ResponseState::hitful;
  Ending const usual = refused ? Ending::fails : Ending::succeeds;
  auto const is = [&]( std::initializer_list<Behaviour> of ) { return isOne( fault.behaviour, of ); };
  if ( is( kInTime ) ) return usual;
  switch ( fault.request ) {
    case RequestState::acquire:
      if ( is( { Behaviour::saysFailed } ) ) return Ending::fails;
      if ( is( { Behaviour::saysHitless, Behaviour::saysHitful } ) ) return usual;
      // The answer changed while the blanket policy was awaited, and was taken for the load's.
      if ( is( { Behaviour::changesItsAnswer } ) ) return hitful ? Ending::strayPolicy : usual;
      return Ending::waits;
    case RequestState::load:
      if ( refused || is( { Behaviour::saysLoaded } ) ) return usual;
      return is( { Behaviour::saysFailed, Behaviour::changesItsAnswer } ) ? Ending::refusedLoad : Ending::waits;
    case RequestState::revert:
      if ( !refused || is( { Behaviour::saysReverted, Behaviour::changesItsAnswer } ) ) return usual;
      return Ending::waits;
  }
  return Ending::waits;
}

/// What must hold of the chip, whatever the driver does.
void expectAnHonestChip( Loading const& loading, StageStatusType reported, bool someHitful ) {
  auto const& driver = loading.driver;
  if ( reported == StageStatusType::finishedSuccess ) {
    EXPECT_TRUE( loading.newSnapshotIsInForce() );
    EXPECT_EQ( GlobalAclControl::doNotApply, driver.policy );
  }
  if ( reported == StageStatusType::finishedFailed ) {
    EXPECT_EQ( loading.before, driver.loaded );
  }
  if ( driver.policy != GlobalAclControl::doNotApply ) {
    EXPECT_EQ( GlobalAclControl::denyAll, driver.policy );
    EXPECT_TRUE( someHitful );
  }
  bool const old = driver.loaded == loading.before;
  EXPECT_TRUE( old || loading.newSnapshotIsInForce() || loading.pdConfig->currPDData() == loading.before );
}

StageStatusType reportOf( Ending ending ) {
  if ( ending == Ending::succeeds ) return StageStatusType::finishedSuccess;
  return ending == Ending::fails ? StageStatusType::finishedFailed : StageStatusType::inProgress;
}

TEST( LoaderFaults, EverySingleFaultEndsAsTheHandshakeSays ) {
  TraceLines const failures( 0 );
  std::map<Ending, std::size_t> seen;
  for ( auto const toAcquire : { ResponseState::hitless, ResponseState::hitful, ResponseState::failed } )
    for ( RequestState const request : kRequests )
      for ( std::size_t status = 0; status != TestDriver::kStatuses; ++status )
        for ( std::uint32_t number = 0; number != kBehaviourNames.size(); ++number ) {
          Fault const fault{ request, status, static_cast<Behaviour>( number ) };
          SCOPED_TRACE( testing::Message() << Kiv::stringValue( toAcquire ) << " " << Kiv::stringValue( request ) << " "
                                           << status << " " << Kiv::stringValue( fault.behaviour ) );
          Ending const want = endingOf( toAcquire, fault );
          ++seen[want];
          if ( *textOf( want ) != '\0' ) continue;
          Loading loading( { fault } );
          loading.driver.toAcquire = toAcquire;
          auto const reported = loading.kick();
          ASSERT_EQ( reportOf( want ), reported );
          expectAnHonestChip( loading, reported,
                              toAcquire == ResponseState::hitful || fault.behaviour == Behaviour::saysHitful );
          if ( want == Ending::waits ) {  // until a new kick begins anew
            loading.driver.faults.clear();
            loading.driver.toAcquire = ResponseState::hitless;
            ASSERT_EQ( StageStatusType::finishedSuccess, loading.kick() );
            EXPECT_TRUE( loading.newSnapshotIsInForce() );
          }
          if ( testing::Test::HasFailure() ) return;
        }
  EXPECT_EQ( 5U, seen.size() );
}

TEST( LoaderFaultsDeathTest, OnlyARefusedLoadAndAChangedAnswerEndTheProcess ) {
  for ( auto const toAcquire : { ResponseState::hitless, ResponseState::hitful } )
    for ( RequestState const request : kRequests )
      for ( std::size_t const status : { std::size_t{ 0 }, TestDriver::kTcpFlags, TestDriver::kStatuses - 1 } )
        for ( auto const behaviour : { Behaviour::saysFailed, Behaviour::changesItsAnswer } ) {
          Fault const fault{ request, status, behaviour };
          std::string const want = textOf( endingOf( toAcquire, fault ) );
          if ( want.empty() ) continue;
          Loading loading( { fault } );
          loading.driver.toAcquire = toAcquire;
          EXPECT_DEATH( loading.kick(), HasSubstr( want ) ) << Kiv::stringValue( request ) << status;
        }
}

// Two faults

/// But for those that can end the process, which the soak tries in processes of their own.
TEST( LoaderFaults, TwoFaultsNeverReportASuccessWithoutTheLoad ) {
  constexpr std::uint64_t kSeed = 20;
  TraceLines const failures( 0 );
  Random random( kSeed );
  std::vector<ResponseState> const answers = { ResponseState::hitless, ResponseState::hitful, ResponseState::failed };
  for ( int round = 0; round != 1000; ++round ) {
    SCOPED_TRACE( testing::Message() << "seed " << kSeed << ", round " << round );
    auto const toAcquire = random.oneOf( answers );
    std::vector<Fault> faults( 2 );
    for ( Fault& fault : faults )
      fault = { kRequests[random.below( 3 )], random.below( TestDriver::kStatuses ),
                static_cast<Behaviour>( random.below( kBehaviourNames.size() ) ) };
    bool const someHitful = toAcquire == ResponseState::hitful ||
                            isOne( Behaviour::saysHitful, { faults[0].behaviour, faults[1].behaviour } );
    // A single hitful answer makes the update hitful, unless it is refused.
    auto const taken = someHitful && toAcquire != ResponseState::failed ? ResponseState::hitful : toAcquire;
    auto const mayStop = [taken]( Fault const& fault ) { return *textOf( endingOf( taken, fault ) ) != '\0'; };
    if ( std::any_of( faults.begin(), faults.end(), mayStop ) ) continue;
    Loading loading( faults );
    loading.driver.toAcquire = toAcquire;
    auto const reported = loading.kick();
    expectAnHonestChip( loading, reported, someHitful );
  }
}

// What the handshake leaves open, and what closes it

TEST( LoaderFaults, AKickDuringAHitfulLoadLeavesTheBlanketPolicyInForce ) {
  Loading loading( { { RequestState::load, 17, Behaviour::isSilent } } );
  loading.driver.toAcquire = ResponseState::hitful;
  EXPECT_EQ( StageStatusType::inProgress, loading.kick() );
  loading.driver.faults.clear();
  loading.driver.toAcquire = ResponseState::hitless;
  EXPECT_EQ( StageStatusType::finishedSuccess, loading.kick() );
  EXPECT_TRUE( loading.newSnapshotIsInForce() );
  EXPECT_EQ( GlobalAclControl::denyAll, loading.driver.policy );
}

/// A hitful load was interrupted, so the policy is in force already and nobody confirms it. Then an answer changes: it is
/// taken for the load's, and the withdrawal of the policy is confirmed. A driver that answers once cannot come here, nor a
/// host that lets a kick end before the next.
TEST( LoaderFaults, AnInterruptedHitfulLoadAndAChangedAnswerAreASuccessWithoutALoad ) {
  Loading loading( { { RequestState::load, 17, Behaviour::isSilent } } );
  loading.driver.toAcquire = ResponseState::hitful;
  EXPECT_EQ( StageStatusType::inProgress, loading.kick() );
  auto const inForce = loading.driver.loaded;
  loading.driver.faults = { { RequestState::acquire, 17, Behaviour::changesItsAnswer } };
  loading.driver.log.clear();
  EXPECT_EQ( StageStatusType::finishedSuccess, loading.kick() );
  EXPECT_THAT( loading.driver.log, ElementsAre( "acquire", "doNotApply" ) );
  EXPECT_EQ( inForce, loading.driver.loaded );
  EXPECT_FALSE( loading.newSnapshotIsInForce() );
}

TEST( LoaderFaults, InAHitfulLoadTheStatusesThatAreOffMayBeAnsweredFirstButNotLast ) {
  for ( std::size_t status = 0; status != TestDriver::kTcpFlags; ++status ) {
    Loading first( { { RequestState::acquire, status, Behaviour::answersAtOnce } }, false );
    first.driver.toAcquire = ResponseState::hitful;
    EXPECT_EQ( StageStatusType::finishedSuccess, first.kick() );
    EXPECT_TRUE( first.newSnapshotIsInForce() );
  }
  Loading last( { { RequestState::acquire, 0, Behaviour::answersLate } }, false );
  last.driver.toAcquire = ResponseState::hitful;
  EXPECT_DEATH( last.kick(), HasSubstr( textOf( Ending::strayPolicy ) ) );
}

}  // namespace
}  // namespace Orvex
