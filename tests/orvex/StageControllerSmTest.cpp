#include "Orvex/OrvexStageControllerSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using enum StageStatusType;
using Test::TestStage;
using Test::TraceLines;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr PrefixXformKey kIpv4Src( Vell::AddressFamily::ipv4, true );
constexpr PrefixXformKey kIpv6Dst( Vell::AddressFamily::ipv6, false );

/// A controller over stages that log their names and finish at once. Keyed stages have two members, "name" and "name2",
/// the first in iteration order first, except the combination stages, which have none unless a test adds some.
class StageController : public testing::Test {
 protected:
  using Pass = std::vector<std::string>;

  StageController() {
    configs->aggregatorConfigIs( add( "aggregator" )->kicker() );
    configs->ruleExpanderConfigIs( add( "ruleExpander" )->kicker() );
    configs->loaderConfigIs( add( "loader" )->kicker() );
    statuses->aggregatorStatusIs( stage["aggregator"]->status() );
    statuses->ruleExpanderStatusIs( stage["ruleExpander"]->status() );
    statuses->loaderStatusIs( stage["loader"]->status() );

    for ( auto const& [key, suffix] : prefixMembers() ) {
      configs->prefixXformConfigIs( key, add( "prefixXform" + suffix )->kicker() );
      statuses->prefixXformStatusIs( key, stage["prefixXform" + suffix]->status() );
      configs->prefixEncoderConfigIs( key, add( "prefixEncoder" + suffix )->kicker() );
      statuses->prefixEncoderStatusIs( key, stage["prefixEncoder" + suffix]->status() );
    }
    std::pair<RangeSetType, std::string> const rangeMembers[] = { { RangeSetType::srcPort, "" },
                                                                  { RangeSetType::length, "2" } };
    for ( auto const& [key, suffix] : rangeMembers ) {
      configs->rangeSplitConfigIs( key, add( "rangeSplit" + suffix )->kicker() );
      statuses->rangeSplitStatusIs( key, stage["rangeSplit" + suffix]->status() );
      configs->rangeEncoderConfigIs( key, add( "rangeEncoder" + suffix )->kicker() );
      statuses->rangeEncoderStatusIs( key, stage["rangeEncoder" + suffix]->status() );
    }
    controller = orvexStageControllerSmFactory( Brae::ChipId( 7 ), config, status, configs, statuses, wheel );
  }

  /// The keys of the prefix members in their iteration order, each with its name's suffix.
  static std::vector<std::pair<PrefixXformKey, std::string>> prefixMembers() {
    Kiv::HashMap2018<PrefixXformKey, int> order;
    for ( PrefixXformKey const key : { kIpv4Src, kIpv6Dst } ) order.set( key, 0 );
    std::vector<std::pair<PrefixXformKey, std::string>> members;
    for ( auto const [key, value] : order ) members.emplace_back( key, members.empty() ? "" : "2" );
    return members;
  }

  Kiv::Ptr<TestStage> add( std::string const& name ) {
    auto const made = Kiv::make<TestStage>( name, log );
    made->hasNotificationActiveIs( true );
    return stage[name] = made;
  }

  void kick( OrvexKickRequest request = OrvexKickRequest::orvexStart ) {
    config->kickRequestIs( request );
    config->kickTimeIs( ++lastKickTime );
  }
  /// What the stages logged since the last call, once nothing is due any more.
  Pass run() {
    while ( wheel->due() ) wheel->service();
    return std::exchange( log, {} );
  }
  std::string runAndFirst() {
    Pass const pass = run();
    return pass.empty() ? "no stage" : pass.front();
  }
  /// Stages that are kicked one by one, up to and with the named one.
  static Pass passTo( std::string const& last ) {
    Pass pass = { "aggregator",     "prefixXform",  "prefixXform2",  "rangeSplit",   "rangeSplit2", "prefixEncoder",
                  "prefixEncoder2", "rangeEncoder", "rangeEncoder2", "ruleExpander", "loader" };
    pass.erase( std::find( pass.begin(), pass.end(), last ) + 1, pass.end() );
    return pass;
  }

  double lastKickTime = 0;
  Pass log;
  std::map<std::string, Kiv::Ptr<TestStage>> stage;
  Kiv::Ptr<StageControllerConfig> config = Kiv::make<StageControllerConfig>();
  Kiv::Ptr<StageControllerStatus> status = Kiv::make<StageControllerStatus>();
  Kiv::Ptr<StageSmConfig> configs = Kiv::make<StageSmConfig>();
  Kiv::Ptr<StageSmStatus> statuses = Kiv::make<StageSmStatus>();
  Kiv::Ptr<Brae::TimerWheel> wheel = Kiv::make<Brae::TimerWheel>();
  Kiv::Ptr<OrvexStageControllerSm> controller;
};

TEST_F( StageController, AKickWalksEveryStageInOrder ) {
  kick();
  EXPECT_EQ( inProgress, status->status() );
  EXPECT_EQ( passTo( "loader" ), run() );
  EXPECT_EQ( finishedSuccess, status->status() );
  EXPECT_EQ( lastKickTime, status->kickTime() );
  EXPECT_EQ( OrvexActiveStage::stageInit, controller->activeStage() );
  for ( auto const& [name, each] : stage ) EXPECT_EQ( lastKickTime, each->status()->kickTime() ) << name;
}

TEST_F( StageController, AFailureEndsTheKickAndNamesTheStage ) {
  TraceLines const traces( 0 );
  stage["rangeEncoder"]->result = finishedFailed;
  kick();
  EXPECT_EQ( passTo( "rangeEncoder2" ), run() );
  EXPECT_EQ( finishedFailed, status->status() );
  EXPECT_EQ( OrvexActiveStage::stageRangeEncoder, status->lastFailedStage() );
  EXPECT_EQ( OrvexActiveStage::stageInit, controller->activeStage() );
  EXPECT_THAT( traces.lines, ElementsAre( "Stage stageRangeEncoder for chip 7 failed" ) );

  stage["rangeEncoder"]->result = finishedSkipped;
  kick();
  EXPECT_EQ( passTo( "loader" ), run() );
  EXPECT_EQ( finishedSuccess, status->status() );
  EXPECT_EQ( OrvexActiveStage::stageRangeEncoder, status->lastFailedStage() );
}

TEST_F( StageController, TheFirstMemberThatIsNotFinishedDecides ) {
  struct Case {
    char const* rule;
    StageStatusType first, second;
    OrvexActiveStage want;
  };
  using enum OrvexActiveStage;
  Case const cases[] = {
      { "a skipped member passes a running one", finishedSkipped, inProgress, stageInit },
      { "a member that is not enabled passes a failed one", finishedNotEnabled, finishedFailed, stageInit },
      { "a running member holds a failed one back", inProgress, finishedFailed, stagePrefixXform },
      { "a successful member leaves it to the running one", finishedSuccess, inProgress, stagePrefixXform },
  };
  for ( Case const& each : cases ) {
    SCOPED_TRACE( each.rule );
    stage["prefixXform"]->result = each.first;
    stage["prefixXform2"]->result = each.second;
    kick();
    run();
    EXPECT_EQ( each.want, controller->activeStage() );
    EXPECT_EQ( each.want == stageInit ? finishedSuccess : inProgress, status->status() );
  }
}

TEST_F( StageController, WaitsForAStageThatIsRunningOrHasNotStartedForThisKick ) {
  TraceLines const traces( 1 );
  stage["aggregator"]->result = inProgress;
  kick();
  EXPECT_EQ( passTo( "aggregator" ), run() );
  stage["aggregator"]->hasNotificationActiveIs( false );
  kick();
  stage["prefixXform"]->doSetStatus( finishedSuccess );
  EXPECT_THAT( run(), IsEmpty() );
  EXPECT_THAT( traces.lines, ElementsAre( "Stage stageAggregator for chip 7 is still running",
                                          "Stage stageAggregator for chip 7 is initializing" ) );
  stage["aggregator"]->doSetStatus( finishedSuccess );
  EXPECT_EQ( "prefixXform", runAndFirst() );
}

TEST_F( StageController, ACancelEndsTheKickAtTheNextReview ) {
  stage["rangeSplit"]->result = inProgress;
  kick();
  EXPECT_EQ( passTo( "rangeSplit2" ), run() );
  TraceLines const traces( 4 );
  kick( OrvexKickRequest::orvexCancel );
  EXPECT_EQ( inProgress, status->status() );
  EXPECT_THAT( run(), IsEmpty() );
  EXPECT_EQ( cancelled, status->status() );
  EXPECT_EQ( OrvexActiveStage::stageRangeSplit, controller->activeStage() );
  EXPECT_THAT( traces.lines, ElementsAre( "[7] This round of orvex kick is cancelled" ) );

  stage["rangeSplit"]->doSetStatus( finishedSuccess );
  run();
  EXPECT_EQ( cancelled, status->status() );
  kick();
  EXPECT_EQ( "aggregator", runAndFirst() );
}

TEST_F( StageController, AnIdleCancelPassesThroughInProgress ) {
  kick( OrvexKickRequest::orvexCancel );
  EXPECT_EQ( inProgress, status->status() );
  run();
  EXPECT_EQ( cancelled, status->status() );
}

TEST_F( StageController, AKickOvertakenAtItsEndReportsNoSuccess ) {
  stage["loader"]->result = inProgress;
  kick();
  run();
  controller->hasNotificationActiveIs( false );  // the newer kick time reaches the config, and not the controller
  config->kickTimeIs( lastKickTime + 1 );
  controller->hasNotificationActiveIs( true );
  stage["loader"]->doSetStatus( finishedSuccess );
  wheel->service();
  EXPECT_EQ( OrvexActiveStage::stageInit, controller->activeStage() );
  EXPECT_EQ( inProgress, status->status() );
  EXPECT_EQ( lastKickTime, status->kickTime() );
  EXPECT_TRUE( wheel->due() );
}

TEST_F( StageController, StagesWithoutMembersPassAndLateMembersAreWatched ) {
  kick();
  run();
  EXPECT_EQ( finishedSuccess, status->status() );

  auto const late = add( "late" );
  late->result = inProgress;
  configs->comboLabelSplitConfigIs( ComboLabelSetType::srcDstL4Port, late->kicker() );
  statuses->comboLabelSplitStatusIs( ComboLabelSetType::srcDstL4Port, late->status() );
  kick();
  Pass const pass = run();
  EXPECT_EQ( "late", pass.back() );
  EXPECT_EQ( OrvexActiveStage::stageComboLabelSplit, controller->activeStage() );
  late->doSetStatus( finishedSuccess );
  EXPECT_EQ( "prefixEncoder", runAndFirst() );

  EXPECT_EQ( 1U, late->status()->notifiees() );
  statuses->comboLabelSplitStatusDelAll();
  configs->comboLabelSplitConfigDelAll();
  EXPECT_EQ( 0U, late->status()->notifiees() );
}

TEST_F( StageController, AStatusIsWatchedFromWhenItComesUntilItIsTakenAway ) {
  PrefixXformKey const prefixes( Vell::AddressFamily::ipv6, true );
  statuses->prefixXformStatusIs( prefixes, add( "prefixXform3" )->status() );
  statuses->prefixEncoderStatusIs( prefixes, add( "prefixEncoder3" )->status() );
  statuses->rangeSplitStatusIs( RangeSetType::ttl, add( "rangeSplit3" )->status() );
  statuses->rangeEncoderStatusIs( RangeSetType::ttl, add( "rangeEncoder3" )->status() );
  for ( auto const type : { ComboLabelSetType::srcDstL4Port, ComboLabelSetType::ipv4SrcDstPrefix } ) {
    std::string const name = std::string( Kiv::stringValue( type ) );
    statuses->comboLabelResolverStatusIs( type, add( "resolver " + name )->status() );
    statuses->comboLabelSplitStatusIs( type, add( "split " + name )->status() );
    statuses->comboLabelEncoderStatusIs( type, add( "encoder " + name )->status() );
  }
  for ( auto const& [name, each] : stage ) EXPECT_EQ( 1U, each->status()->notifiees() ) << name;

  statuses->aggregatorStatusDel();
  statuses->prefixXformStatusDelAll();
  statuses->rangeSplitStatusDelAll();
  statuses->comboLabelResolverStatusDelAll();
  statuses->comboLabelSplitStatusDelAll();
  statuses->prefixEncoderStatusDelAll();
  statuses->rangeEncoderStatusDelAll();
  statuses->comboLabelEncoderStatusDelAll();
  statuses->ruleExpanderStatusDel();
  statuses->loaderStatusDel();
  for ( auto const& [name, each] : stage ) EXPECT_EQ( 0U, each->status()->notifiees() ) << name;
}

TEST_F( StageController, AKickGoesOnWhenAMemberThatHasFinishedComesInPlaceOfTheOneThatItWaitsFor ) {
  stage["prefixXform2"]->result = inProgress;
  kick();
  run();
  auto const next = add( "next" );
  PrefixXformKey const second = prefixMembers()[1].first;
  configs->prefixXformConfigIs( second, next->kicker() );
  next->kicker()->kickTimeIs( lastKickTime );
  EXPECT_EQ( Pass{ "next" }, run() );
  statuses->prefixXformStatusIs( second, next->status() );
  EXPECT_EQ( 0U, stage["prefixXform2"]->status()->notifiees() );
  EXPECT_EQ( "rangeSplit", runAndFirst() );
}

TEST_F( StageController, AKickGoesOnWhenTheMemberThatItWaitsForIsTakenAway ) {
  stage["prefixXform2"]->result = inProgress;
  kick();
  EXPECT_EQ( passTo( "prefixXform2" ), run() );
  PrefixXformKey const second = prefixMembers()[1].first;
  configs->prefixXformConfigDel( second );
  statuses->prefixXformStatusDel( second );
  EXPECT_EQ( "rangeSplit", runAndFirst() );
  EXPECT_EQ( finishedSuccess, status->status() );

  statuses->rangeSplitStatusDelAll();  // configs without a status to wait for
  kick();
  run();
  EXPECT_EQ( finishedSuccess, status->status() );
}

// The newer kick was reported failed, under its own time, before it had run.
TEST_F( StageController, AKickStartedByWhoeverHearsOfTheFailedStageRuns ) {
  class Retry : public StageControllerStatus::NotifieeConst {
   public:
    explicit Retry( std::function<void()> action ) : retry( std::move( action ) ) { hasNotificationActiveIs( true ); }
    void onLastFailedStage() override { retry(); }
    std::function<void()> retry;
  };
  auto const retry = Kiv::make<Retry>( [this] {
    stage["rangeSplit"]->result = finishedSuccess;
    kick();
  } );
  retry->notifierIs( status );
  stage["rangeSplit"]->result = finishedFailed;
  kick();
  run();
  EXPECT_EQ( 2, lastKickTime );
  EXPECT_EQ( lastKickTime, status->kickTime() );
  EXPECT_EQ( finishedSuccess, status->status() );
}

}  // namespace
}  // namespace Orvex
