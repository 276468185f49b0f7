#include "Orvex/OrvexLoaderSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <optional>

#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::TraceLines;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr Brae::ChipId kChip( 3 );

/// How a driver deals with one status of one request.
enum class Behaviour : std::uint8_t { answers, isSilent, repeatsAnOlderId, refuses, isHitful, answersTwice };

struct Fault {
  RequestState request = RequestState::acquire;
  std::size_t status = 0;
  Behaviour behaviour = Behaviour::answers;
};

/// A driver that answers from a queue and honours its contract but for its faults. It knows what the chip does.
class ScriptedDriver {
 public:
  ScriptedDriver( Kiv::Ptr<PDConfig> const& config, Kiv::Ptr<PDStatus> const& status )
      : config_( config ), status_( status ), reactor_( Kiv::make<Reactor>() ) {
    for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
      add( [this, type]( auto const& answer ) {
        status_->comboEntryStatusIs( static_cast<ComboLabelSetType>( type ), answer );
      } );
    for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
      add( [this, type]( auto const& answer ) {
        status_->rangeEntryStatusIs( static_cast<RangeSetType>( type ), answer );
      } );
    add( [this]( auto const& answer ) { status_->pdTcpFlagsXformEntryStatusIs( answer ); } );
    for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
      for ( bool const src : { true, false } ) {
        PrefixXformKey const key( af, src );
        status_->pdPrefixXformEntryStatusIs( key, {} );
        add( [this, key]( auto const& answer ) { status_->pdPrefixXformEntryStatusIs( key, answer ); } );
      }
    add( [this]( auto const& answer ) { status_->pdAclRuleIpv4EntryStatusIs( answer ); } );
    add( [this]( auto const& answer ) { status_->pdAclRuleIpv6EntryStatusIs( answer ); } );
    reactor_->driver = this;
    reactor_->notifierIs( config );
    reactor_->hasNotificationActiveIs( true );
  }

  static constexpr std::size_t kStatuses = 18;
  static constexpr std::size_t kTcpFlags = 11;

  std::vector<Fault> faults;
  std::vector<std::string> log;
  Kiv::Ptr<PDData> inForce;
  GlobalAclControl policy = GlobalAclControl::doNotApply;

  void run() {
    while ( !queue_.empty() ) {
      auto const next = std::move( queue_.front() );
      queue_.pop_front();
      next();
    }
  }

 private:
  class Reactor : public PDConfig::NotifieeConst {
   public:
    void onPdResourceConfig() override { driver->handleRequest(); }
    void onGlobalAclControl() override { driver->handlePolicy(); }
    ScriptedDriver* driver = nullptr;
  };

  void add( std::function<void( ResourceStatus const& )> setter ) { setters_.push_back( std::move( setter ) ); }

  Behaviour behaviour( RequestState request, std::size_t status ) const {
    for ( Fault const& fault : faults )
      if ( fault.request == request && fault.status == status ) return fault.behaviour;
    return Behaviour::answers;
  }

  void handleRequest() {
    ResourceConfig const request = config_->pdResourceConfig();
    log.emplace_back( Kiv::stringValue( request.requestState ) );
    for ( std::size_t status = 0; status != setters_.size(); ++status )
      queue_.emplace_back( [this, request, status] { answer( request, status ); } );
  }
  void handlePolicy() {
    log.emplace_back( Kiv::stringValue( config_->globalAclControl() ) );
    queue_.emplace_back( [this, control = config_->globalAclControl()] {
      policy = control;
      status_->globalAclControlIs( control );
    } );
  }
  void answer( ResourceConfig const& request, std::size_t status ) {
    auto const normal = request.requestState == RequestState::acquire ? ResponseState::hitless
                        : request.requestState == RequestState::load  ? ResponseState::loaded
                                                                      : ResponseState::reverted;
    if ( request.requestState == RequestState::load && status == 0 ) inForce = config_->currPDData();
    switch ( behaviour( request.requestState, status ) ) {
      case Behaviour::answersTwice:
        setters_[status]( { request.requestId, normal } );
        [[fallthrough]];
      case Behaviour::answers:
        return setters_[status]( { request.requestId, normal } );
      case Behaviour::isSilent:
        return;
      case Behaviour::repeatsAnOlderId:
        return setters_[status]( { request.requestId - 1, normal } );
      case Behaviour::refuses:
        return setters_[status]( { request.requestId, ResponseState::failed } );
      case Behaviour::isHitful:
        return setters_[status]( { request.requestId, ResponseState::hitful } );
    }
  }

  Kiv::Ptr<PDConfig> config_;
  Kiv::Ptr<PDStatus> status_;
  Kiv::Ptr<Reactor> reactor_;
  std::vector<std::function<void( ResourceStatus const& )>> setters_;
  std::deque<std::function<void()>> queue_;
};

/// A loader with its driver, after one update that went well.
struct Loading {
  explicit Loading( std::vector<Fault> const& faults = {}, bool everythingOn = true ) {
    for ( auto const af : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } )
      for ( bool const src : { true, false } ) config->prefixXformLoaderInfoIs( PrefixXformKey( af, src ) );
    config->ruleExpanderLoaderInfoIs();
    EncodingAttr const on( everythingOn ? 8 : 0, EncodedLabel( 0 ) );
    for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
      capability->comboEncodingAttrIs( static_cast<ComboLabelSetType>( type ), on );
    for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
      capability->rangeEncodingAttrIs( static_cast<RangeSetType>( type ), on );
    loader = Kiv::make<LoaderSm>( kChip, config, status, pdConfig, pdStatus, capability, parameters );
    loader->hasNotificationActiveIs( true );
    kick();
    EXPECT_EQ( StageStatusType::finishedSuccess, status->status() );
    driver.log.clear();
    driver.faults = faults;
    before = driver.inForce;
  }
  StageStatusType kick() {
    config->kickTimeIs( config->kickTime() + 10 );
    driver.run();
    return status->status();
  }
  bool newSnapshotIsInForce() const { return driver.inForce != before && driver.inForce == pdConfig->currPDData(); }

  Kiv::Ptr<LoaderConfig> config = Kiv::make<LoaderConfig>();
  Kiv::Ptr<LoaderStatus> status = Kiv::make<LoaderStatus>();
  Kiv::Ptr<PDConfig> pdConfig = Kiv::make<PDConfig>( kChip );
  Kiv::Ptr<PDStatus> pdStatus = Kiv::make<PDStatus>( kChip );
  Kiv::Ptr<ChipHwCapability> capability = Kiv::make<ChipHwCapability>( kChip );
  Kiv::Ptr<Brae::ParamConfig> parameters = Kiv::make<Brae::ParamConfig>();
  ScriptedDriver driver{ pdConfig, pdStatus };
  Kiv::Ptr<PDData> before;
  Kiv::Ptr<LoaderSm> loader;
};

TEST( LoaderSm, AnsweredInAnyStatusTwiceTheUpdateIsLoadedOnce ) {
  for ( std::size_t status = 0; status != ScriptedDriver::kStatuses; ++status )
    for ( auto const request : { RequestState::acquire, RequestState::load } ) {
      Loading loading( { { request, status, Behaviour::answersTwice } } );
      EXPECT_EQ( StageStatusType::finishedSuccess, loading.kick() );
      EXPECT_TRUE( loading.newSnapshotIsInForce() );
      EXPECT_THAT( loading.driver.log, ElementsAre( "acquire", "load" ) );
    }
}

TEST( LoaderSm, WithoutAnAnswerOfTheRequestNothingIsReported ) {
  for ( std::size_t status = 0; status != ScriptedDriver::kStatuses; ++status )
    for ( auto const behaviour : { Behaviour::isSilent, Behaviour::repeatsAnOlderId } ) {
      SCOPED_TRACE( status );
      Loading acquiring( { { RequestState::acquire, status, behaviour } } );
      EXPECT_EQ( StageStatusType::inProgress, acquiring.kick() );
      EXPECT_THAT( acquiring.driver.log, ElementsAre( "acquire" ) );
      EXPECT_EQ( acquiring.before, acquiring.driver.inForce );

      Loading loading( { { RequestState::load, status, behaviour } } );
      EXPECT_EQ( StageStatusType::inProgress, loading.kick() );
      EXPECT_TRUE( loading.newSnapshotIsInForce() );

      Loading reverting(
          { { RequestState::acquire, 0, Behaviour::refuses }, { RequestState::revert, status, behaviour } } );
      TraceLines const refusals( 0 );
      EXPECT_EQ( StageStatusType::inProgress, reverting.kick() );
      EXPECT_EQ( reverting.before, reverting.driver.inForce );

      // A new kick begins anew.
      for ( Loading* const each : { &acquiring, &loading, &reverting } ) {
        each->driver.faults.clear();
        EXPECT_EQ( StageStatusType::finishedSuccess, each->kick() );
        EXPECT_TRUE( each->newSnapshotIsInForce() );
      }
    }
}

TEST( LoaderSm, ARefusalInAnyStatusBringsTheOldSnapshotBackAndGivesResourcesBack ) {
  for ( std::size_t status = 0; status != ScriptedDriver::kStatuses; ++status ) {
    SCOPED_TRACE( status );
    TraceLines const refusals( 0 );
    Loading loading( { { RequestState::acquire, status, Behaviour::refuses } } );
    EXPECT_EQ( StageStatusType::finishedFailed, loading.kick() );
    EXPECT_THAT( loading.driver.log, ElementsAre( "acquire", "revert" ) );
    EXPECT_EQ( loading.before, loading.driver.inForce );
    EXPECT_EQ( loading.before, loading.pdConfig->currPDData() );
    EXPECT_NE( loading.before, loading.status->lastFailedState().pdData );
    EXPECT_EQ( loading.config->kickTime(), loading.status->lastFailedState().responseId );
    EXPECT_THAT( refusals.lines, testing::Contains( HasSubstr( ": Failed resource acquisition" ) ) );
  }
}

TEST( LoaderSm, AHitfulAnswerInAnyStatusPutsTheBlanketPolicyInForceForTheLoad ) {
  for ( std::size_t status = 0; status != ScriptedDriver::kStatuses; ++status )
    for ( std::uint32_t const parameter : { 0U, 1U, 2U } ) {
      Loading loading( { { RequestState::acquire, status, Behaviour::isHitful } } );
      loading.parameters->hitfulUpdatePolicyIs( parameter );
      EXPECT_EQ( StageStatusType::finishedSuccess, loading.kick() );
      EXPECT_THAT( loading.driver.log,
                   ElementsAre( "acquire", parameter == 1 ? "permitAll" : "denyAll", "load", "doNotApply" ) );
      EXPECT_TRUE( loading.newSnapshotIsInForce() );
      EXPECT_EQ( GlobalAclControl::doNotApply, loading.driver.policy );
    }
}

TEST( LoaderSm, AsksOnlyTheStatusesOfTransformsThatAreOn ) {
  for ( std::size_t status = 0; status != ScriptedDriver::kStatuses; ++status ) {
    Loading loading( { { RequestState::acquire, status, Behaviour::isSilent } }, false );
    bool const asked = status >= ScriptedDriver::kTcpFlags;
    EXPECT_EQ( asked ? StageStatusType::inProgress : StageStatusType::finishedSuccess, loading.kick() ) << status;
  }
}

TEST( LoaderSm, CopiesTheLabelTablesAndSharesTheRules ) {
  Loading loading;
  PrefixXformKey const space( Vell::AddressFamily::ipv4, true );
  Vell::IpGenPrefix const prefix( 0x0A000000U, 8 );
  loading.config->prefixXformLoaderInfoIs( space )->prefixToLabelMapIs( prefix, EncodedLabel( 5 ) );
  loading.config->rangeSplitLoaderInfoIs( RangeSetType::proto )
      ->rangeToEncodedLabelMapIs( RangeSetElem( 6, 17 ), EncodedLabel( 7 ) );
  EncodedComboLabel const pair( EncodedLabel( 1 ), EncodedLabel( 2 ) );
  loading.config->comboLabelLoaderInfoIs( ComboLabelSetType::srcDstL4Port )
      ->encComboToEncodedLabelMapIs( pair, EncodedLabel( 9 ) );
  ASSERT_EQ( StageStatusType::finishedSuccess, loading.kick() );
  loading.config->prefixXformLoaderInfoIs( space )->prefixToLabelMapDelAll();
  auto const snapshot = loading.driver.inForce;
  EXPECT_EQ( EncodedLabel( 5 ), snapshot->pdPrefixXformEntryColl().find( space )->entry().find( prefix )->value );
  EXPECT_EQ( EncodedLabel( 7 ), snapshot->pdProtocolXformEntryColl()->entry().find( RangeSetElem( 6, 17 ) )->value );
  EXPECT_EQ( EncodedLabel( 9 ), snapshot->pdPortComboEntryColl()->entry().find( pair )->value );
  EXPECT_TRUE( snapshot->pdV4PrefixComboEntryColl()->entry().empty() );
  EXPECT_EQ( loading.config->ruleExpanderLoaderInfo(), snapshot->pdAclColl() );
}

TEST( LoaderSmDeathTest, ARefusedLoadEndsTheProcess ) {
  Loading loading( { { RequestState::load, 17, Behaviour::refuses } } );
  EXPECT_DEATH( loading.kick(), "0 && \"Failed to load data into acquired resources\"" );
}

TEST( LoaderSmDeathTest, AnAnswerThatNothingWaitsForEndsTheProcess ) {
  Loading loading;
  EXPECT_DEATH( loading.pdStatus->pdSrcPortXformEntryStatusIs( { 0, ResponseState::loaded } );
                loading.pdStatus->pdSrcPortXformEntryStatusIs( { loading.config->kickTime(), ResponseState::loaded } ),
                "0 && \"reached invalid state for handleXformStatus\"" );
  EXPECT_DEATH( loading.pdStatus->globalAclControlIs( GlobalAclControl::denyAll ),
                "pdConfig\\(\\)->globalAclControl\\(\\) == pdStatus\\(\\)->globalAclControl\\(\\)" );
  EXPECT_DEATH( loading.pdConfig->globalAclControlIs( GlobalAclControl::denyAll ); loading.driver.faults.clear();
                loading.config->kickTimeIs( 1000 ); loading.pdStatus->globalAclControlIs( GlobalAclControl::denyAll ),
                                                    "0 && \"reached invalid state for handleGlobalAclControl\"" );
}

}  // namespace
}  // namespace Orvex
