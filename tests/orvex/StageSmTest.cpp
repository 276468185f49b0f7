#include "Orvex/OrvexStageSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Orvex {
namespace {
using testing::ElementsAre;
using testing::IsEmpty;

/// Logs each change of a status as the reader of that moment sees it.
class StatusLog : public StageStatus::NotifieeConst {
 public:
  explicit StatusLog( Kiv::Ptr<StageStatus const> const& status ) {
    hasNotificationActiveIs( true );
    notifierIs( status );
  }
  void onKickTime() override { add( "kickTime" ); }
  void onStatus() override { add( "status" ); }

  std::vector<std::string> lines;

 private:
  void add( char const* attribute ) {
    Kiv::TextStream line;
    line << attribute << ": " << notifier()->status() << " for " << notifier()->kickTime();
    lines.push_back( line.str() );
  }
};

class StageSmTest : public testing::Test {
 protected:
  Kiv::Ptr<StageConfig> config = Kiv::make<StageConfig>();
  Kiv::Ptr<StageStatus> status = Kiv::make<StageStatus>();
};

TEST_F( StageSmTest, AKickTimeIsInPlaceBeforeItsStatus ) {
  auto const stage = stageSmFactory( Brae::ChipId( 1 ), config, status );
  auto const log = Kiv::make<StatusLog>( status );
  config->kickTimeIs( 5 );
  stage->doSetStatus( StageStatusType::finishedSuccess );
  config->kickTimeIs( 5 );
  EXPECT_THAT( log->lines,
               ElementsAre( "kickTime: init for 5", "status: inProgress for 5", "status: finishedSuccess for 5" ) );
}

TEST_F( StageSmTest, BindingToAnotherConfigIsAKickAlsoWithTheSameTime ) {
  auto const stage = stageSmFactory( Brae::ChipId( 1 ), config, status );
  auto const other = Kiv::make<StageConfig>();
  auto const log = Kiv::make<StatusLog>( status );
  stage->configIs( config );
  stage->configDel();
  config->kickTimeIs( 1 );
  stage->doSetStatus( StageStatusType::finishedFailed );
  EXPECT_THAT( log->lines, IsEmpty() );
  stage->configIs( other );
  EXPECT_THAT( log->lines, ElementsAre( "status: inProgress for 0" ) );
  stage->hasNotificationActiveIs( false );
  stage->configIs( config );
  EXPECT_EQ( 1U, log->lines.size() );
}

TEST_F( StageSmTest, AStageMayBeDroppedByWhoeverHearsOfItsStatus ) {
  class Dropper : public StageStatus::NotifieeConst {
   public:
    explicit Dropper( Kiv::Ptr<StageSm>& dropped ) : stage( dropped ) { hasNotificationActiveIs( true ); }
    void onKickTime() override { stage = nullptr; }
    Kiv::Ptr<StageSm>& stage;
  };
  auto stage = stageSmFactory( Brae::ChipId( 1 ), config, status );
  auto const dropper = Kiv::make<Dropper>( stage );
  dropper->notifierIs( status );
  auto const other = Kiv::make<StageConfig>();
  other->kickTimeIs( 3 );
  stage->configIs( other );
  EXPECT_EQ( nullptr, stage );
  EXPECT_EQ( StageStatusType::inProgress, status->status() );
}

}  // namespace
}  // namespace Orvex
