#include "chip/SoftwareChip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/PolicyNotation.h"
#include "host/TestChips.h"
#include "pipeline/Compile.h"
#include "policy/Normalise.h"

namespace Orvex::Host::Test {

using testing::ElementsAre;

namespace {

PDAclKey const kAcl( Vell::AddressFamily::ipv4, "ipv4/edge" );

/// Every change of the driver's status, in order, and where it came from.
class StatusLog : public PDStatus::NotifieeConst {
 public:
  explicit StatusLog( Kiv::Ptr<PDStatus const> const& status ) {
    notifierIs( status );
    hasNotificationActiveIs( true );
  }

  std::vector<std::string> answered;
  /// Of the last answer.
  ResourceStatus last;

  void onPdPrefixXformEntryStatus( PrefixXformKey space ) override {
    add( std::string( Kiv::stringValue( space.af() ) ) + ( space.src() ? " source" : " destination" ),
         *notifier()->pdPrefixXformEntryStatus().find( space ) );
  }
  void onComboEntryStatus( ComboLabelSetType type ) override {
    add( std::string( Kiv::stringValue( type ) ), notifier()->comboEntryStatus( type ) );
  }
  void onRangeEntryStatus( RangeSetType type ) override {
    add( std::string( Kiv::stringValue( type ) ), notifier()->rangeEntryStatus( type ) );
  }
  void onPdTcpFlagsXformEntryStatus() override { add( "tcpFlags", notifier()->pdTcpFlagsXformEntryStatus() ); }
  void onPdAclRuleIpv4EntryStatus() override { add( "ipv4 rules", notifier()->pdAclRuleIpv4EntryStatus() ); }
  void onPdAclRuleIpv6EntryStatus() override { add( "ipv6 rules", notifier()->pdAclRuleIpv6EntryStatus() ); }
  void onGlobalAclControl() override { answered.emplace_back( Kiv::stringValue( notifier()->globalAclControl() ) ); }

 private:
  void add( std::string what, ResourceStatus const& status ) {
    answered.push_back( std::move( what ) );
    last = status;
  }
};

/// A chip that is asked by hand.
class SoftwareChipTest : public testing::Test {
 protected:
  void request( double id, RequestState state ) { chip.pdConfig()->pdResourceConfigIs( { id, state } ); }
  /// The answer to a request for the snapshot.
  ResponseState answer( double id, RequestState state ) {
    request( id, state );
    EXPECT_TRUE( chip.serve() );
    EXPECT_FALSE( chip.serve() );
    EXPECT_EQ( id, log->last.responseId );
    return log->last.responseState;
  }
  /// Publishes a snapshot of one rule with so many entries.
  Kiv::Ptr<PDData> publish( std::uint32_t rule, std::uint16_t entries ) {
    auto const acls = Kiv::make<PDAclColl>();
    auto const built = acls->pdAclIs( kAcl )->ruleIs( AceIndex( rule ) );
    for ( std::uint16_t proto = 0; proto != entries; ++proto ) {
      PDAclFilter filter;
      filter.proto = { EncodedLabel( proto ), LabelMask( 0xFF ) };
      built->filterIs( filter );
    }
    auto const snapshot = Kiv::make<PDData>();
    snapshot->pdAclCollIs( acls );
    chip.pdConfig()->currPDDataIs( snapshot );
    return snapshot;
  }
  void announce( DefaultAction action = DefaultAction::deny ) { chip.versionIs( { { { kAcl, action } }, nullptr } ); }
  void load( double id, std::uint32_t rule, std::uint16_t entries, DefaultAction action = DefaultAction::deny ) {
    publish( rule, entries );
    announce( action );
    answer( id, RequestState::acquire );
    EXPECT_EQ( ResponseState::loaded, answer( id, RequestState::load ) );
  }
  Verify::Verdict verdict( char const* text ) const { return chip.lookUp( kAcl, packet( text ) ); }

  static ChipProfile profile() {
    ChipProfile chip = chipShapes()[3];
    chip.capacities[Resource::ruleEntries] = 10;
    return chip;
  }

  SoftwareChip chip{ Brae::ChipId( 2 ), profile() };
  Kiv::Ptr<StatusLog> log = Kiv::make<StatusLog>( chip.pdStatus() );
};

}  // namespace

TEST_F( SoftwareChipTest, EveryStatusIsAnsweredOnceThoseOfOffTablesFirstAndIpv6RulesLast ) {
  std::string const want =
      " ipv4SrcDstPrefix, srcDstL4Port, srcPort, icmp, proto, length, fragment, dscp, tcpFlags, ipv6SrcDstPrefix, "
      "dstPort, "
      "ttl, ipv4 source, ipv4 destination, ipv6 source, ipv6 destination, ipv4 rules, ipv6 rules,";
  publish( 10, 1 );
  announce();
  request( 1.25, RequestState::acquire );
  EXPECT_THAT( log->answered, ElementsAre() ) << "not inside the notification";
  for ( auto const& [state, response] : { std::pair( RequestState::acquire, ResponseState::hitless ),
                                          std::pair( RequestState::load, ResponseState::loaded ),
                                          std::pair( RequestState::revert, ResponseState::reverted ) } ) {
    log->answered.clear();
    request( 1.25, state );
    while ( chip.serve() ) {
    }
    std::string have;
    for ( std::string const& each : log->answered ) have += " " + each + ",";
    EXPECT_EQ( want, have ) << Kiv::stringValue( state );
    EXPECT_EQ( ResourceStatus( 1.25, response ), log->last );
  }
  chip.pdConfig()->globalAclControlIs( GlobalAclControl::denyAll );
  log->answered.clear();
  chip.serve();
  EXPECT_THAT( log->answered, ElementsAre( "denyAll" ) );
}

TEST_F( SoftwareChipTest, AnAcquisitionIsHitlessHitfulOrFailedByWhatFits ) {
  struct {
    std::uint16_t inForce;
    std::uint16_t next;
    ResponseState want;
  } const cases[] = { { 4, 6, ResponseState::hitless },  { 4, 7, ResponseState::hitful },
                      { 0, 10, ResponseState::hitless }, { 10, 0, ResponseState::hitless },
                      { 10, 1, ResponseState::hitful },  { 1, 10, ResponseState::hitful },
                      { 0, 11, ResponseState::failed },  { 10, 11, ResponseState::failed } };
  double id = 1;
  for ( auto const& [inForce, next, want] : cases ) {
    chip.requestsDelAll();
    load( ++id, 10, 0 );
    load( ++id, 10, inForce );
    publish( 20, next );
    announce();
    EXPECT_EQ( want, answer( ++id, RequestState::acquire ) ) << inForce << ", then " << next;
    EXPECT_EQ( want == ResponseState::failed, chip.refusal().has_value() );
  }
}

TEST_F( SoftwareChipTest, EveryResourceIsCounted ) {
  ChipProfile profile = chipShapes()[3];
  for ( Resource const resource : kResources ) profile.capacities[resource] = 1;
  SoftwareChip const small( Brae::ChipId( 2 ), profile );
  auto const snapshot = publish( 10, 2 );
  for ( PrefixXformKey const space : kPrefixSpaces ) {
    auto const table = snapshot->pdPrefixXformEntryCollIs( space );
    table->entryIs( { Vell::IpGenPrefix::defaultRoute( space.af() ), EncodedLabel( 1 ) } );
  }
  for ( Field const field : kFields )
    snapshot->rangeEntryColl( rangeTableOf( field ) )->entryIs( { RangeSetElem( 1, 2 ), EncodedLabel( 1 ) } );
  for ( ComboLabelSetType const type : kCombos )
    for ( std::uint16_t label = 0; label != 3; ++label )
      snapshot->comboEntryColl( type )->entryIs(
          { EncodedComboLabel( EncodedLabel( label ), EncodedLabel( 1 ) ), EncodedLabel( 1 ) } );
  std::vector<std::string> texts;
  for ( Shortage const& shortage : shortagesOf( profile, *snapshot ) ) texts.push_back( textOf( shortage ) );
  // Two fields and one combination are on.
  EXPECT_THAT(
      texts,
      ElementsAre( "ruleEntries: there are 1, it would take 2; most cost ipv4 ACL edge, rule 10 (2)",
                   "ipv4PrefixEntries: there are 1, it would take 2", "ipv6PrefixEntries: there are 1, it would take 2",
                   "rangeEntries: there are 1, it would take 2", "comboEntries: there are 1, it would take 3" ) );
}

TEST_F( SoftwareChipTest, WhatIsLoadedIsACopyWithTheDefaultsAnnounced ) {
  load( 1, 10, 3, DefaultAction::permit );
  chip.pdConfig()->currPDData()->pdAclColl()->pdAcl().find( kAcl )->ruleDelAll();
  EXPECT_EQ( 10U, verdict( "10.0.0.1 10.0.0.2; proto 2" ).rule );
  EXPECT_FALSE( verdict( "10.0.0.1 10.0.0.2; proto 3" ).action.dropEnabled );
  EXPECT_EQ( 3U, chip.use()[Resource::ruleEntries] );
}

TEST_F( SoftwareChipTest, OnlyWhatWasAcquiredIsLoaded ) {
  load( 1, 10, 3 );
  auto const expectNoAnswer = [&]( double id ) {
    log->answered.clear();
    request( id, RequestState::load );
    chip.serve();
    EXPECT_THAT( log->answered, ElementsAre() );
    EXPECT_EQ( 10U, verdict( "10.0.0.1 10.0.0.2; proto 2" ).rule );
  };
  publish( 20, 3 );
  announce();
  expectNoAnswer( 2 );
  answer( 3, RequestState::acquire );
  expectNoAnswer( 4 );
  publish( 30, 3 );
  expectNoAnswer( 3 );
}

TEST_F( SoftwareChipTest, ARevertDropsTheReservationAndTheAnnouncement ) {
  load( 1, 10, 3 );
  publish( 20, 3 );
  announce( DefaultAction::permit );
  answer( 2, RequestState::acquire );
  EXPECT_EQ( ResponseState::reverted, answer( 2, RequestState::revert ) );
  EXPECT_EQ( 10U, verdict( "10.0.0.1 10.0.0.2; proto 2" ).rule );
  EXPECT_TRUE( verdict( "10.0.0.1 10.0.0.2; proto 9" ).action.dropEnabled );
  EXPECT_EQ( ResponseState::failed, answer( 3, RequestState::acquire ) ) << "nothing is announced any more";
  EXPECT_EQ( "no version has been announced", chip.refusal()->reason );
}

TEST_F( SoftwareChipTest, ABlanketPolicyDecidesEveryPacketOfAChipThatHasATable ) {
  auto const isDropped = [&]( GlobalAclControl policy, char const* text ) {
    chip.pdConfig()->globalAclControlIs( policy );
    chip.serve();
    return verdict( text ).action.dropEnabled;
  };
  EXPECT_TRUE( isDropped( GlobalAclControl::permitAll, "10.0.0.1 10.0.0.2" ) ) << "nothing is loaded";
  isDropped( GlobalAclControl::doNotApply, "10.0.0.1 10.0.0.2" );
  load( 1, 10, 1 );
  EXPECT_TRUE( isDropped( GlobalAclControl::denyAll, "10.0.0.1 10.0.0.2; proto 0" ) );
  EXPECT_FALSE( isDropped( GlobalAclControl::permitAll, "10.0.0.1 10.0.0.2; proto 1" ) );
  EXPECT_FALSE( isDropped( GlobalAclControl::doNotApply, "10.0.0.1 10.0.0.2; proto 0" ) );
  EXPECT_TRUE( isDropped( GlobalAclControl::doNotApply, "10.0.0.1 10.0.0.2; proto 1" ) );
}

TEST_F( SoftwareChipTest, RulesAndEntriesCountTheirPackets ) {
  load( 1, 10, 3 );
  for ( char const* const proto : { "0", "1", "1", "7", "0", "1" } )
    verdict( ( std::string( "10.0.0.1 10.0.0.2; proto " ) + proto ).c_str() );
  auto const* const acl = chip.table()->acl( kAcl );
  EXPECT_THAT( acl->hits(), ElementsAre( RuleHits{ 10, 5, { 2, 3, 0 } } ) );
  EXPECT_EQ( 1U, acl->misses() );
  EXPECT_THROW( verdict( "::1 ::2" ), Verify::QuestionError );
}

}  // namespace Orvex::Host::Test
