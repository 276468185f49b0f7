#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "Kiv/StateMachine.h"
#include "orvex/TestChip.h"
#include "orvex/TestPolicy.h"

/// A host that kicks or cancels in the middle of a run, inside every notification that it can get.

namespace Orvex {
namespace {

using Test::rule;
using Test::TestChip;

/// Does something at the n-th notification of a chip, and counts all.
class Interruption : public Kiv::StateMachine {
 public:
  Interruption( TestChip& chip, std::size_t at, std::function<void()> action )
      : at_( at ), action_( std::move( action ) ) {
    watch<OfRoot>( chip.rootStatus );
    watch<OfConfig>( chip.pdConfig );
    watch<OfStatus>( chip.pdStatus );
    watch<OfStage>( chip.root->stageControllerStatus() );
    auto const stages = chip.root->stageSmStatus();
    for ( auto const& stage : { stages->aggregatorStatus(), stages->ruleExpanderStatus(), stages->loaderStatus() } )
      watch<OfStage>( stage );
    watchMembers( stages->prefixXformStatus() );
    watchMembers( stages->rangeSplitStatus() );
    watchMembers( stages->comboLabelResolverStatus() );
    watchMembers( stages->comboLabelSplitStatus() );
    watchMembers( stages->prefixEncoderStatus() );
    watchMembers( stages->rangeEncoderStatus() );
    watchMembers( stages->comboLabelEncoderStatus() );
    hasNotificationActiveIs( true );
  }

  std::size_t count() const { return count_; }
  /// What the notification was about.
  char const* where() const { return where_; }

 private:
  class OfRoot : public Kiv::Reactor<RootStatus::NotifieeConst, Interruption> {
   public:
    using Reactor::Reactor;
    void onKickCount() override { owner()->count( "kickCount" ); }
    void onKickTime() override { owner()->count( "kickTime" ); }
    void onKickProgress() override { owner()->count( "kickProgress" ); }
    void onKickMessage() override { owner()->count( "kickMessage" ); }
  };
  class OfConfig : public Kiv::Reactor<PDConfig::NotifieeConst, Interruption> {
   public:
    using Reactor::Reactor;
    void onPrevPDData() override { owner()->count( "prevPDData" ); }
    void onCurrPDData() override { owner()->count( "currPDData" ); }
    void onPdResourceConfig() override { owner()->count( "request" ); }
    void onGlobalAclControl() override { owner()->count( "policy" ); }
  };
  class OfStatus : public Kiv::Reactor<PDStatus::NotifieeConst, Interruption> {
   public:
    using Reactor::Reactor;
    void onPdPrefixXformEntryStatus( PrefixXformKey ) override { owner()->count( "prefix answer" ); }
    void onPdTcpFlagsXformEntryStatus() override { owner()->count( "flags answer" ); }
    void onPdAclRuleIpv4EntryStatus() override { owner()->count( "IPv4 answer" ); }
    void onPdAclRuleIpv6EntryStatus() override { owner()->count( "IPv6 answer" ); }
    void onGlobalAclControl() override { owner()->count( "policy confirmed" ); }
  };
  class OfStage : public Kiv::Reactor<StageStatus::NotifieeConst, Interruption> {
   public:
    using Reactor::Reactor;
    void onKickTime() override { owner()->count( "stage kickTime" ); }
    void onStatus() override { owner()->count( "stage status" ); }
  };

  template <class Reactor, class Notifier>
  void watch( Kiv::Ptr<Notifier> const& notifier ) {
    auto const reactor = Kiv::make<Reactor>( this );
    reactor->notifierIs( notifier );
    reactors_.push_back( reactor );
  }
  template <class Members>
  void watchMembers( Members const& members ) {
    for ( auto at = members.begin(); at; ++at ) watch<OfStage>( at.value() );
  }
  void count( char const* what ) {
    if ( count_++ != at_ ) return;
    where_ = what;
    action_();
  }

  std::size_t at_;
  std::size_t count_ = 0;
  std::function<void()> action_;
  std::vector<Kiv::Ptr<Kiv::NotifieeConst>> reactors_;
  char const* where_ = "";
};

void fillPolicy( TestChip& chip, bool allOn ) {
  auto const acl = chip.policy->aclIs( "edge" );
  rule( *acl, 10, "web", "source 10.0.0.0/8; destination 20.0.0.0/8; dport 80 443" );
  rule( *acl, 20, "rest", "source 10.1.0.0/16" );
  if ( !allOn ) return;
  EncodingAttr const on( 8, EncodedLabel( 0 ) );
  for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
    chip.capability->comboEncodingAttrIs( static_cast<ComboLabelSetType>( type ), on );
  for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
    chip.capability->rangeEncodingAttrIs( static_cast<RangeSetType>( type ), on );
}

/// Runs a kick that is interrupted at each of its notifications in turn, and then what the check says.
void interruptEverywhere( ResponseState toAcquire, std::function<void( TestChip& )> const& interrupt,
                          std::function<void( TestChip&, char const* at )> const& check ) {
  for ( bool const allOn : { false, true } ) {
    std::size_t at = 0;
    for ( bool interrupted = true; interrupted; ++at ) {
      SCOPED_TRACE( at );
      TestChip chip;
      chip.driver.toAcquire = toAcquire;
      fillPolicy( chip, allOn );
      chip.build();
      auto const interruption = Kiv::make<Interruption>( chip, at, [&] { interrupt( chip ); } );
      chip.kick();
      chip.run();
      interrupted = interruption->count() > at;
      if ( interrupted ) check( chip, interruption->where() );
      if ( testing::Test::HasFailure() ) return;
    }
    EXPECT_GT( at, 60U );
  }
}

void expectLoaded( TestChip& chip, char const* at ) {
  ASSERT_EQ( OrvexProgress::orvexFinishedSuccess, chip.rootStatus->kickProgress() ) << at;
  ASSERT_EQ( chip.rootConfig->orvexKickTime(), chip.rootStatus->kickTime() ) << at;
  ASSERT_TRUE( chip.driver.loaded != nullptr && chip.driver.loaded == chip.pdConfig->currPDData() ) << at;
}

TEST( OrvexRootInterruptions, ASecondKickAnywhereEndsInItsOwnSuccess ) {
  interruptEverywhere(
      ResponseState::hitless, []( TestChip& chip ) { chip.kick(); }, expectLoaded );
}

TEST( OrvexRootInterruptions, ACancelAnywhereEndsCancelledAndTheNextKickSucceeds ) {
  for ( auto const toAcquire : { ResponseState::hitless, ResponseState::hitful } )
    interruptEverywhere(
        toAcquire, []( TestChip& chip ) { chip.kick( OrvexKickRequest::orvexCancel ); },
        []( TestChip& chip, char const* at ) {
          ASSERT_EQ( OrvexProgress::orvexCancelled, chip.rootStatus->kickProgress() ) << at;
          ASSERT_EQ( GlobalAclControl::doNotApply, chip.driver.policy ) << "a load that had begun has gone on";
          chip.kick();
          chip.run();
          expectLoaded( chip, at );
        } );
}

TEST( OrvexRootInterruptions, ACancelAndAKickInOneNotificationAreAKick ) {
  interruptEverywhere(
      ResponseState::hitless,
      []( TestChip& chip ) {
        chip.kick( OrvexKickRequest::orvexCancel );
        chip.kick();
      },
      expectLoaded );
}

}  // namespace
}  // namespace Orvex
