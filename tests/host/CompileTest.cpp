#include "pipeline/Compile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RandomPolicy.h"
#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "host/TestChips.h"
#include "packets/BoundaryPackets.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"
#include "verify/Interpreter.h"
#include "verify/LookUp.h"

namespace Orvex::Host::Test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Verify::Verdict;

namespace {

constexpr Brae::ChipId kChip( 5 );
using Stage = OrvexActiveStage;

Policy policyOf( std::vector<Acl> acls ) { return normalised( { std::move( acls ) } ); }

PDAclKey keyOf( Acl const& acl ) { return { acl.family, libraryAclName( acl.family, acl.name ) }; }

/// Two versions that answer differently to a packet to port 80, and to one to port 1.
Policy webVersion() { return policyOf( { acl( "ipv4 edge", { rule( 10, "dport 80" ) } ) } ); }
Policy mailVersion() { return policyOf( { acl( "ipv4 edge permit", { rule( 11, "dport 25 80" ) } ) } ); }

Verdict verdict( SoftwareChip const& chip, char const* packetText ) {
  return chip.lookUp( PDAclKey( Vell::AddressFamily::ipv4, "ipv4/edge" ), packet( packetText ) );
}
Verdict atPort( SoftwareChip const& chip, char const* port ) {
  return verdict( chip, ( std::string( "10.0.0.1 10.0.0.2; dport " ) + port ).c_str() );
}

Verdict deniedByDefault() { return { std::nullopt, actionOf( DefaultAction::deny ) }; }
Verdict permittedByDefault() { return { std::nullopt, actionOf( DefaultAction::permit ) }; }

void expectWebVersionInForce( SoftwareChip const& chip ) {
  EXPECT_EQ( 10U, atPort( chip, "80" ).rule );
  EXPECT_EQ( deniedByDefault(), atPort( chip, "1" ) );
  EXPECT_EQ( GlobalAclControl::doNotApply, chip.policyInForce() );
  EXPECT_EQ( GlobalAclControl::doNotApply, chip.pdConfig()->globalAclControl() );
  EXPECT_EQ( 0U, chip.pdStatus()->notifiees() ) << "a loader is left";
}

/// A chip that has the first version.
struct WebChip : SoftwareChip {
  explicit WebChip( ChipProfile profile = plainChip() ) : SoftwareChip( kChip, std::move( profile ) ) {
    EXPECT_EQ( CompileOutcome::loaded, compile( webVersion(), *this ).outcome );
  }
};

/// Room for one version, and not for two.
ChipProfile narrowChip() {
  ChipProfile profile = plainChip();
  profile.capacities[Resource::ruleEntries] = 2;
  return profile;
}

/// A driver that does not answer one kind of request.
class SilentChip : public WebChip {
 public:
  SilentChip( ChipProfile profile, RequestState silentAt ) : WebChip( std::move( profile ) ), silentAt_( silentAt ) {}

  bool silent = false;

  bool serve() override {
    if ( silent && pdConfig()->pdResourceConfig().requestState == silentAt_ ) return false;
    return SoftwareChip::serve();
  }

 private:
  RequestState silentAt_;
};

}  // namespace

// What is in force

TEST( Compile, TheChipDecidesAsTheInterpreterOnEveryShape ) {
  for ( ChipProfile const& profile : chipShapes() )
    for ( std::uint64_t seed = 1; seed != 41; ++seed ) {
      SCOPED_TRACE( profile.name + ", seed " + std::to_string( seed ) );
      Random random( seed );
      Policy const policy = randomPolicy( random );
      SoftwareChip chip( kChip, profile );
      auto const result = compile( policy, chip );
      ASSERT_EQ( CompileOutcome::loaded, result.outcome ) << result.message;
      for ( Acl const& acl : policy.acls ) {
        BoundaryPackets packets( random, acl );
        for ( int i = 0; i != 100; ++i ) {
          auto const packet = packets.next();
          Verdict const want = interpret( acl, packet );
          ASSERT_EQ( want, chip.lookUp( keyOf( acl ), packet ) ) << textOf( acl ) << textOf( packet );
          ASSERT_EQ( want, Verify::lookUp( *result.snapshot, shapeOf( profile ), keyOf( acl ).aclName,
                                           actionOf( acl.defaultAction ), packet ) );
        }
      }
    }
}

TEST( Compile, ASecondVersionThatFitsOnlyAloneIsLoadedUnderTheBlanketPolicy ) {
  for ( HitfulPolicy const policy : { HitfulPolicy::deny, HitfulPolicy::permit } ) {
    ChipProfile profile = narrowChip();
    profile.hitfulPolicy = policy;
    WebChip chip( profile );
    std::vector<Verdict> duringLoad;
    CompileOptions options;
    options.cancelled = [&] {
      if ( chip.policyInForce() != GlobalAclControl::doNotApply ) duringLoad.push_back( atPort( chip, "80" ) );
      return false;
    };
    auto const result = compile( mailVersion(), chip, options );
    EXPECT_EQ( CompileOutcome::loaded, result.outcome );
    EXPECT_TRUE( result.hitful );
    EXPECT_THAT( duringLoad, testing::AllOf( testing::Not( IsEmpty() ),
                                             testing::Each( policy == HitfulPolicy::permit ? permittedByDefault()
                                                                                           : deniedByDefault() ) ) );
    EXPECT_EQ( permittedByDefault(), atPort( chip, "1" ) );
  }
}

// What is refused leaves the old table and its defaults in force

TEST( Compile, AVersionThatDoesNotFitIsRefusedWithWhatItWouldTake ) {
  ChipProfile profile = plainChip();
  profile.capacities[Resource::ruleEntries] = 7;
  profile.capacities[Resource::ipv4PrefixEntries] = 2;
  WebChip chip( profile );
  auto const tooLarge =
      policyOf( { acl( "ipv4 edge permit", { rule( 10, "dport 1 6 8 31" ), rule( 11, "dport 80-81" ), rule( 12, "" ),
                                             rule( 13, "source 10.0.0.0/8 11.0.0.0/8 12.0.0.0/8; dport 8 15" ) } ) } );
  auto const result = compile( tooLarge, chip );
  EXPECT_EQ( CompileOutcome::refused, result.outcome );
  EXPECT_EQ( Stage::stageLoader, result.stage );
  EXPECT_EQ(
      "it does not fit chip plain; ruleEntries: there are 7, it would take 8; most cost ipv4 ACL edge, rule 10 (4); "
      "ipv4 ACL edge, rule 13 (2); ipv4 ACL edge, rule 11 (1); ipv4 ACL edge, rule 12 (1); ipv4PrefixEntries: "
      "there are 2, it would take 3; most cost ipv4 source of ipv4 ACL edge, rule 13 (3)",
      result.message );
  EXPECT_EQ( 8U, result.use[Resource::ruleEntries] );
  expectWebVersionInForce( chip );
  EXPECT_EQ( CompileOutcome::loaded, compile( mailVersion(), chip ).outcome ) << "the chip takes the next one";
}

TEST( Compile, AVersionThatIsNotProvedIsRefusedWithTheReason ) {
  WebChip chip;
  auto const inForce = chip.pdConfig()->currPDData();
  CompileOptions options;
  PDData const* asked = nullptr;
  options.objection = [&]( PDData const& snapshot ) {
    asked = &snapshot;
    return std::optional<std::string>( "not equal to the policy" );
  };
  auto const result = compile( mailVersion(), chip, options );
  EXPECT_EQ( CompileOutcome::refused, result.outcome );
  EXPECT_EQ( "not equal to the policy", result.message );
  EXPECT_EQ( result.snapshot.get(), asked );
  EXPECT_EQ( inForce, chip.pdConfig()->currPDData() );
  expectWebVersionInForce( chip );
}

// Failing stages

TEST( Compile, TooManyLabelsAreToldWithTheListsThatHaveMost ) {
  ChipProfile profile = plainChip();
  profile.prefix( kPrefixSpaces[1] ).widthBits = 2;
  WebChip chip( profile );
  std::vector<Rule> const rules = { rule( 10, "destination 10.0.0.0/8 12.0.0.0/8" ),
                                    rule( 20, "destination 10.1.0.0/16" ), rule( 30, "destination 11.0.0.0/8" ),
                                    rule( 40, "destination 13.0.0.0/8" ) };
  auto const result = compile( policyOf( { acl( "ipv4 edge permit", rules ) } ), chip );
  EXPECT_EQ( CompileOutcome::failed, result.outcome );
  EXPECT_EQ( Stage::stagePrefixXform, result.stage );
  EXPECT_EQ(
      "ipv4 destination needs 4 labels, and 2 bits have 3; most cost ipv4 destination of ipv4 ACL edge, rule 10 (2); "
      "ipv4 destination of ipv4 ACL edge, rule 20 (1); ipv4 destination of ipv4 ACL edge, rule 30 (1); ipv4 "
      "destination "
      "of ipv4 ACL edge, rule 40 (1)",
      result.message );
  expectWebVersionInForce( chip );
}

// The stage controller takes the first member that is not plainly successful for the whole stage, so that a failure can
// stand behind a member that is off. Nothing of what comes behind the failure may run.
TEST( Compile, AFailureBehindAMemberThatIsOffIsFound ) {
  for ( Field const field : kFields ) {
    ChipProfile profile = plainChip();
    profile.ranges[field].widthBits = 1;
    SoftwareChip chip( kChip, profile );
    std::string const name( Kiv::stringValue( field ) );
    auto const result =
        compile( policyOf( { acl( "ipv4 edge", { rule( 10, name + " 1" ), rule( 20, name + " 4" ) } ) } ), chip );
    EXPECT_EQ( CompileOutcome::failed, result.outcome );
    EXPECT_EQ( Stage::stageRangeSplit, result.stage );
    EXPECT_THAT( result.message, HasSubstr( name + " needs 2 labels, and 1 bits have 1" ) );
  }
  struct {
    ComboLabelSetType type;
    char const* acl;
    char const* first;
    char const* second;
  } const combos[] = {
      { ComboLabelSetType::ipv4SrcDstPrefix, "ipv4 edge", "source 10.0.0.0/8; destination 10.0.0.0/8",
        "source 11.0.0.0/8; destination 11.0.0.0/8" },
      { ComboLabelSetType::ipv6SrcDstPrefix, "ipv6 edge", "source 2001:db8::/32; destination 2001:db8::/32",
        "source 2001:db9::/32; destination 2001:db9::/32" },
      { ComboLabelSetType::srcDstL4Port, "ipv4 edge", "sport 1; dport 1", "sport 4; dport 4" } };
  for ( auto const& each : combos ) {
    ChipProfile profile = chipShapes()[1];
    profile.combo( each.type ).widthBits = 1;
    SoftwareChip chip( kChip, profile );
    auto const result =
        compile( policyOf( { acl( each.acl, { rule( 10, each.first ), rule( 20, each.second ) } ) } ), chip );
    EXPECT_EQ( CompileOutcome::failed, result.outcome );
    EXPECT_EQ( Stage::stageComboLabelSplit, result.stage );
    EXPECT_THAT( result.message, HasSubstr( tableText( each.type ) + " needs 2 labels, and 1 bits have 1" ) );
  }
}

TEST( Compile, ARunawayProductIsToldWithTheRulesThatCostMost ) {
  SoftwareChip chip( kChip, narrowChip() );
  auto const result = compile(
      policyOf( { acl( "ipv4 edge", { rule( 10, "ttl 9" ), rule( 20, "dport 1 6 8; ttl 1 6 8" ) } ) } ), chip );
  EXPECT_EQ( CompileOutcome::failed, result.outcome );
  EXPECT_EQ( Stage::stageRuleExpander, result.stage );
  EXPECT_EQ(
      "the rules take at least 9 entries; 8 are allowed over all ACLs; most cost ipv4 ACL edge, rule 20 (9); ipv4 "
      "ACL edge, rule 10 (1)",
      result.message );
  EXPECT_THAT( result.trace, IsEmpty() );  // the expander has not begun
}

// Silence, cancels

TEST( Compile, ASilentDriverIsGivenUpAndServesTheNextVersion ) {
  struct {
    RequestState at;
    bool hitful;  // a load under the blanket policy, which must not stay
  } const cases[] = { { RequestState::acquire, false },
                      { RequestState::load, false },
                      { RequestState::load, true },
                      { RequestState::revert, false } };
  for ( auto const [at, hitful] : cases ) {
    SCOPED_TRACE( testing::Message() << Kiv::stringValue( at ) << " hitful " << hitful );
    SilentChip chip( hitful ? narrowChip() : plainChip(), at );
    auto const inForce = chip.pdConfig()->currPDData();
    chip.silent = true;
    CompileOptions options;
    options.driverTimeout = std::chrono::milliseconds( 20 );
    if ( at == RequestState::revert )
      options.objection = []( PDData const& ) { return std::optional<std::string>( "no" ); };
    auto const result = compile( mailVersion(), chip, options );
    EXPECT_EQ( CompileOutcome::driverSilent, result.outcome );
    EXPECT_EQ( Stage::stageLoader, result.stage );
    EXPECT_EQ( hitful, result.hitful );
    EXPECT_EQ( inForce, chip.pdConfig()->currPDData() );
    expectWebVersionInForce( chip );
    chip.silent = false;
    EXPECT_FALSE( chip.serve() ) << "an old request is left";
    EXPECT_EQ( CompileOutcome::loaded, compile( mailVersion(), chip ).outcome );
    EXPECT_EQ( permittedByDefault(), atPort( chip, "1" ) );
  }
}

// Its answers have said "loaded", every one of them.
TEST( Compile, ALoadThatTheDriverConfirmsAndHasNotMadeIsNoSuccess ) {
  class LyingChip : public SoftwareChip {
   public:
    using SoftwareChip::SoftwareChip;
    double loadedRequest() const override { return 0; }
  };
  LyingChip chip( kChip, plainChip() );
  auto const result = compile( webVersion(), chip );
  EXPECT_EQ( CompileOutcome::refused, result.outcome );
  EXPECT_EQ( "the chip's driver has confirmed a load that it has not made", result.message );
  EXPECT_EQ( nullptr, chip.pdConfig()->currPDData() );
}

TEST( Compile, ACancelAtAnyStepLeavesTheChipWithOneOfTheTwoVersions ) {
  for ( int step = 0;; ++step ) {
    WebChip chip( narrowChip() );
    CompileOptions options;
    options.cancelled = [left = step]() mutable { return left-- == 0; };
    auto const result = compile( mailVersion(), chip, options );
    if ( result.outcome == CompileOutcome::loaded ) {
      EXPECT_EQ( 11U, atPort( chip, "80" ).rule );
      EXPECT_GT( step, 10 ) << "there are as many stages";
      break;
    }
    EXPECT_EQ( CompileOutcome::cancelled, result.outcome );
    expectWebVersionInForce( chip );
  }
}

TEST( Compile, AnExceptionOfTheHostTakesTheKickBack ) {
  WebChip chip;
  CompileOptions options;
  options.objection = []( PDData const& ) -> std::optional<std::string> { throw std::runtime_error( "no memory" ); };
  EXPECT_THROW( compile( mailVersion(), chip, options ), std::runtime_error );
  expectWebVersionInForce( chip );
  EXPECT_EQ( CompileOutcome::loaded, compile( mailVersion(), chip ).outcome );
}

// Figures

TEST( Compile, FiguresSayHowARulesEntriesComeAbout ) {
  ChipProfile profile = plainChip();
  profile.ranges[Field::dport] = { 6, 0 };
  SoftwareChip chip( kChip, profile );
  std::vector<Stage> begun;
  CompileOptions options;
  options.progress = [&]( Stage stage ) { begun.push_back( stage ); };
  auto const result = compile(
      policyOf(
          { acl( "ipv4 edge", { rule( 10, "dport 80-90" ), rule( 20, "ttl 1 4; established" ),
                                rule( 30, "dport 80-90" ), rule( 40, "" ), rule( 50, "source !10.0.0.0/8" ) } ) } ),
      chip, options );
  ASSERT_EQ( CompileOutcome::loaded, result.outcome );
  std::vector<std::string> rules;
  for ( RuleUse const& rule : result.rules )
    rules.push_back( std::to_string( rule.index ) + ": " + arithmeticOf( rule ) + ", kept " +
                     std::to_string( rule.entries ) );
  EXPECT_THAT( rules, ElementsAre( "10: 1 port = 1, kept 1", "20: 2 TTL x 2 established = 4, kept 4",
                                   "30: 1 port = 1, kept 0", "40: anything = 1, kept 1", "50: 0 source = 0, kept 0" ) );
  std::vector<std::string> labels;
  for ( LabelUse const& use : result.labels )
    labels.push_back( use.table + " " + std::to_string( use.needed ) + "/" + std::to_string( use.available ) );
  EXPECT_THAT( labels, ElementsAre( "ipv4 source 1/65535", "ipv4 destination 0/65535", "ipv6 source 0/65535",
                                    "ipv6 destination 0/65535", "dport 1/63" ) );
  EXPECT_EQ( 6U, result.use[Resource::ruleEntries] );
  EXPECT_EQ( 1U, result.use[Resource::rangeEntries] );
  EXPECT_EQ( 10U, begun.size() );
  EXPECT_EQ( Stage::stageAggregator, begun.front() );
  EXPECT_EQ( Stage::stageLoader, begun.back() );
  ASSERT_EQ( 11U, result.stages.size() );
  for ( std::size_t at = 0; at != result.stages.size(); ++at )
    EXPECT_EQ( static_cast<Stage>( at ), result.stages[at].stage );
}

}  // namespace Orvex::Host::Test
