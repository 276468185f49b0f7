#include "Orvex/OrvexLoaderSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orvex/TestLoading.h"
#include "orvex/TestStages.h"

namespace Orvex {
namespace {

using Test::Behaviour;
using Test::Loading;
using Test::TestDriver;
using Test::TraceLines;
using testing::ElementsAre;
using testing::HasSubstr;

TEST( LoaderSm, ARefusalInAnyStatusBringsTheOldSnapshotBackAndGivesResourcesBack ) {
  for ( std::size_t status = 0; status != TestDriver::kStatuses; ++status ) {
    SCOPED_TRACE( status );
    TraceLines const refusals( 0 );
    Loading loading( { { RequestState::acquire, status, Behaviour::saysFailed } } );
    EXPECT_EQ( StageStatusType::finishedFailed, loading.kick() );
    EXPECT_THAT( loading.driver.log, ElementsAre( "acquire", "revert" ) );
    EXPECT_EQ( loading.before, loading.driver.loaded );
    EXPECT_EQ( loading.before, loading.pdConfig->currPDData() );
    EXPECT_NE( loading.before, loading.status->lastFailedState().pdData );
    EXPECT_EQ( loading.config->kickTime(), loading.status->lastFailedState().responseId );
    EXPECT_THAT( refusals.lines, testing::Contains( HasSubstr( ": Failed resource acquisition" ) ) );
  }
}

TEST( LoaderSm, AHitfulAnswerInAnyStatusPutsTheBlanketPolicyInForceForTheLoad ) {
  for ( std::size_t status = 0; status != TestDriver::kStatuses; ++status )
    for ( std::uint32_t const parameter : { 0U, 1U, 2U } ) {
      Loading loading( { { RequestState::acquire, status, Behaviour::saysHitful } } );
      loading.parameters->hitfulUpdatePolicyIs( parameter );
      EXPECT_EQ( StageStatusType::finishedSuccess, loading.kick() );
      EXPECT_THAT( loading.driver.log,
                   ElementsAre( "acquire", parameter == 1 ? "permitAll" : "denyAll", "load", "doNotApply" ) );
      EXPECT_TRUE( loading.newSnapshotIsInForce() );
      EXPECT_EQ( GlobalAclControl::doNotApply, loading.driver.policy );
    }
}

TEST( LoaderSm, AsksOnlyTheStatusesOfTransformsThatAreOn ) {
  for ( std::size_t status = 0; status != TestDriver::kStatuses; ++status ) {
    Loading loading( { { RequestState::acquire, status, Behaviour::isSilent } }, false );
    bool const asked = status >= TestDriver::kTcpFlags;
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
  auto const snapshot = loading.driver.loaded;
  EXPECT_EQ( EncodedLabel( 5 ), snapshot->pdPrefixXformEntryColl().find( space )->entry().find( prefix )->value );
  EXPECT_EQ( EncodedLabel( 7 ), snapshot->pdProtocolXformEntryColl()->entry().find( RangeSetElem( 6, 17 ) )->value );
  EXPECT_EQ( EncodedLabel( 9 ), snapshot->pdPortComboEntryColl()->entry().find( pair )->value );
  EXPECT_TRUE( snapshot->pdV4PrefixComboEntryColl()->entry().empty() );
  EXPECT_EQ( loading.config->ruleExpanderLoaderInfo(), snapshot->pdAclColl() );
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
