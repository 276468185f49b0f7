#include "Orvex/OrvexRootSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <functional>

#include "Kiv/System.h"
#include "orvex/TestPolicy.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::rule;
using Test::TraceLines;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr Brae::ChipId kChip( 7 );

/// A driver that answers every status, in order, from a queue.
class QueuedDriver {
 public:
  QueuedDriver( Kiv::Ptr<PDConfig> const& config, Kiv::Ptr<PDStatus> const& status )
      : config_( config ), status_( status ), reactor_( Kiv::make<Reactor>() ) {
    for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
      for ( bool const src : { true, false } ) status_->pdPrefixXformEntryStatusIs( PrefixXformKey( af, src ), {} );
    reactor_->driver = this;
    reactor_->notifierIs( config );
    reactor_->hasNotificationActiveIs( true );
  }

  ResponseState toAcquire = ResponseState::hitless;
  /// Requests and policies, in the order in which they came.
  std::vector<std::string> log;
  Kiv::Ptr<PDData> loaded;

  /// False when there was nothing to answer.
  bool answer() {
    if ( queue_.empty() ) return false;
    auto const next = queue_.front();
    queue_.pop_front();
    next();
    return true;
  }

 private:
  class Reactor : public PDConfig::NotifieeConst {
   public:
    void onPdResourceConfig() override { driver->handleRequest(); }
    void onGlobalAclControl() override { driver->handlePolicy(); }
    QueuedDriver* driver = nullptr;
  };

  void handleRequest() {
    ResourceConfig const request = config_->pdResourceConfig();
    log.emplace_back( Kiv::stringValue( request.requestState ) );
    queue_.emplace_back( [this, request] {
      if ( request.requestState == RequestState::load ) loaded = config_->currPDData();
      auto const state = request.requestState == RequestState::acquire ? toAcquire
                         : request.requestState == RequestState::load  ? ResponseState::loaded
                                                                       : ResponseState::reverted;
      answerAll( ResourceStatus( request.requestId, state ) );
    } );
  }
  void handlePolicy() {
    GlobalAclControl const policy = config_->globalAclControl();
    log.emplace_back( Kiv::stringValue( policy ) );
    queue_.emplace_back( [this, policy] { status_->globalAclControlIs( policy ); } );
  }
  void answerAll( ResourceStatus const& answer ) {
    for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
      status_->comboEntryStatusIs( static_cast<ComboLabelSetType>( type ), answer );
    for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
      status_->rangeEntryStatusIs( static_cast<RangeSetType>( type ), answer );
    status_->pdTcpFlagsXformEntryStatusIs( answer );
    for ( auto at = status_->pdPrefixXformEntryStatus().begin(); at; ++at )
      status_->pdPrefixXformEntryStatusIs( at.key(), answer );
    status_->pdAclRuleIpv4EntryStatusIs( answer );
    status_->pdAclRuleIpv6EntryStatusIs( answer );
  }

  Kiv::Ptr<PDConfig> config_;
  Kiv::Ptr<PDStatus> status_;
  Kiv::Ptr<Reactor> reactor_;
  std::deque<std::function<void()>> queue_;
};

/// A chip with its host and driver.
class OrvexRootSmTest : public testing::Test {
 protected:
  void build() {
    root = orvexRootSmFactory( kChip, capability, rootConfig, rootStatus, policy, parameters, pdConfig, pdStatus );
  }
  void kick( OrvexKickRequest request = OrvexKickRequest::orvexStart ) {
    rootConfig->orvexKickRequestIs( request );
    rootConfig->orvexKickTimeIs( Kiv::System::currentTime() );
  }
  void run() {
    auto const wheel = Brae::TimerWheel::ofThisThread();
    while ( wheel->due() || driver.answer() )
      while ( wheel->due() ) wheel->service();
  }
  OrvexProgress compile() {
    build();
    kick();
    run();
    return rootStatus->kickProgress();
  }

  Kiv::Ptr<ChipHwCapability> capability = Kiv::make<ChipHwCapability>( kChip );
  Kiv::Ptr<RootConfig> rootConfig = Kiv::make<RootConfig>( kChip );
  Kiv::Ptr<RootStatus> rootStatus = Kiv::make<RootStatus>( kChip );
  Kiv::Ptr<AclConfigColl> policy = Kiv::make<AclConfigColl>( kChip );
  Kiv::Ptr<AclConfig> acl = policy->aclIs( "edge" );
  Kiv::Ptr<Brae::ParamConfig> parameters = Kiv::make<Brae::ParamConfig>();
  Kiv::Ptr<PDConfig> pdConfig = Kiv::make<PDConfig>( kChip );
  Kiv::Ptr<PDStatus> pdStatus = Kiv::make<PDStatus>( kChip );
  QueuedDriver driver{ pdConfig, pdStatus };
  Kiv::Ptr<OrvexRootSm> root;
};

TEST_F( OrvexRootSmTest, AKickCompilesPublishesAndLoadsThePolicy ) {
  rule( *acl, 10, "web", "source 10.0.0.0/8; dport 80 443" );
  rule( *acl, 20, "rest", "" );
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, compile() );
  EXPECT_THAT( driver.log, ElementsAre( "acquire", "load" ) );
  EXPECT_EQ( 1U, rootStatus->kickCount() );
  EXPECT_EQ( rootConfig->orvexKickTime(), rootStatus->kickTime() );
  ASSERT_EQ( pdConfig->currPDData(), driver.loaded );
  auto const rules = driver.loaded->pdAclColl()->pdAcl().find( PDAclKey( Vell::AddressFamily::ipv4, "edge" ) );
  ASSERT_NE( nullptr, rules );
  EXPECT_EQ( 2U, rules->rule().size() );
  EXPECT_EQ( 3U, rules->numFilters() );
  EXPECT_EQ( 1U, driver.loaded->pdPrefixXformEntryColl()
                     .find( PrefixXformKey( Vell::AddressFamily::ipv4, true ) )
                     ->entry()
                     .size() );
}

TEST_F( OrvexRootSmTest, AHitfulUpdateRunsUnderTheChosenPolicy ) {
  for ( bool const permit : { false, true } ) {
    driver.log.clear();
    driver.toAcquire = ResponseState::hitful;
    parameters->hitfulUpdatePolicyIs( permit ? Brae::ParamConfig::kPermit : 2 );
    EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, compile() );
    EXPECT_THAT( driver.log, ElementsAre( "acquire", permit ? "permitAll" : "denyAll", "load", "doNotApply" ) );
    root = nullptr;
  }
}

TEST_F( OrvexRootSmTest, ARefusedAcquisitionIsRevertedAndReportedAsAFailureOfTheLoader ) {
  TraceLines const failures( 0 );
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, compile() );
  auto const inForce = pdConfig->currPDData();
  root = nullptr;
  driver.log.clear();
  driver.toAcquire = ResponseState::failed;
  EXPECT_EQ( OrvexProgress::orvexFinishedFail, compile() );
  EXPECT_EQ( Kiv::String( "Orvex failed at stageLoader on chip 7" ), rootStatus->kickMessage() );
  EXPECT_THAT( driver.log, ElementsAre( "acquire", "revert" ) );
  EXPECT_EQ( inForce, pdConfig->currPDData() );
  EXPECT_THAT( failures.lines, Contains( HasSubstr( ": Failed resource acquisition" ) ) );
}

TEST_F( OrvexRootSmTest, AFailedStageIsNamedAndNothingIsRequested ) {
  TraceLines const failures( 0 );
  rule( *acl, 10, "mixed", "source 10.0.0.0/8; destination 2001:db8::/32" );
  EXPECT_EQ( OrvexProgress::orvexFinishedFail, compile() );
  EXPECT_EQ( Kiv::String( "Orvex failed at stageAggregator on chip 7" ), rootStatus->kickMessage() );
  EXPECT_THAT( driver.log, ElementsAre() );

  acl->ruleByNameDelAll();
  acl->ruleByIdDelAll();
  rule( *acl, 10, "many", "source 10.0.0.0/8 20.0.0.0/8 30.0.0.0/8; dport 1 5 9" );
  capability->maxAclEntriesIs( 1 );
  EXPECT_EQ( OrvexProgress::orvexFinishedFail, compile() );
  EXPECT_EQ( Kiv::String( "Orvex failed at stageRuleExpander on chip 7" ), rootStatus->kickMessage() );
  EXPECT_THAT( driver.log, ElementsAre() );
}

TEST_F( OrvexRootSmTest, ACancelCountsAsAKickAndEndsCancelled ) {
  build();
  kick();
  kick( OrvexKickRequest::orvexCancel );
  EXPECT_EQ( OrvexProgress::orvexRunning, rootStatus->kickProgress() );
  run();
  EXPECT_EQ( OrvexProgress::orvexCancelled, rootStatus->kickProgress() );
  EXPECT_EQ( 2U, rootStatus->kickCount() );
}

TEST_F( OrvexRootSmTest, APresentTimeIsNoKickAndARepeatedOneOnAnotherConfigIs ) {
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, compile() );
  rootConfig->orvexKickTimeIs( rootConfig->orvexKickTime() );
  EXPECT_EQ( 1U, rootStatus->kickCount() );
  auto const other = Kiv::make<RootConfig>( kChip );
  other->orvexKickTimeIs( rootConfig->orvexKickTime() );
  root->rootConfigIs( other );
  EXPECT_EQ( 2U, rootStatus->kickCount() );
  run();
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, rootStatus->kickProgress() );
}

TEST_F( OrvexRootSmTest, OfTwoKicksInARowTheSecondIsReported ) {
  build();
  kick();
  kick();
  run();
  EXPECT_EQ( 2U, rootStatus->kickCount() );
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, rootStatus->kickProgress() );
}

}  // namespace
}  // namespace Orvex
