#include <gtest/gtest.h>

#include "Kiv/System.h"
#include "Orvex/OrvexRootSm.h"
#include "chip/BuiltInProfiles.h"
#include "chip/SnapshotReader.h"
#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "orvex/TestStages.h"
#include "pipeline/ProvedCompile.h"
#include "policy/AclConfigBuilder.h"
#include "policy/Normalise.h"

/// What is loaded has been proved, and what is not proved is not loaded.

namespace Orvex::Host::Test {

namespace {

constexpr Brae::ChipId kChip( 5 );

PDAclKey const kEdge( Vell::AddressFamily::ipv4, "ipv4/edge" );

Policy policyOf( std::vector<Rule> rules ) { return normalised( { { acl( "ipv4 edge", std::move( rules ) ) } } ); }

Policy firstVersion() { return policyOf( { rule( 10, "source 10.0.0.0/8; destination 30.0.0.0/8" ) } ); }
Policy secondVersion() {
  return policyOf( { rule( 10, "source 10.0.0.0/8; destination 30.0.0.0/8" ),
                     rule( 20, "source 10.0.0.0/8 50.0.0.0/8 60.0.0.0/8 70.0.0.0/8" ) } );
}

/// A host that breaks the rules: it edits the configuration in place, and kicks one root twice.
class WarmHost {
 public:
  explicit WarmHost( bool proves ) : proves_( proves ) {
    buildAclConfig( firstVersion(), *config_ );
    root_ = orvexRootSmFactory( kChip, chip_.hwCapability(), rootConfig_, rootStatus_, config_,
                                Kiv::make<Brae::ParamConfig>(), chip_.pdConfig(), chip_.pdStatus() );
  }

  OrvexProgress kick( Policy const& policy ) {
    ChipVersion version{ defaultActionsOf( policy ), {} };
    if ( proves_ )
      version.objection = [this, policy]( PDData const& snapshot ) -> std::optional<std::string> {
        proof_ = Verify::prove( policy, snapshot, shapeOf( chip_.profile() ), defaultActionsOf( policy ) );
        return proof_.isProved() ? std::nullopt : std::optional<std::string>( "not proved" );
      };
    chip_.versionIs( version );
    rootConfig_->orvexKickTimeIs( Kiv::System::currentTime() );
    auto const wheel = Brae::TimerWheel::ofThisThread();
    while ( wheel->due() || chip_.serve() )
      while ( wheel->due() ) wheel->service();
    return rootStatus_->kickProgress();
  }
  void editToSecondVersion() {
    auto const added = config_->aclIs( "ipv4/edge" )->ruleByNameIs( "20" );
    for ( char const* const text : { "10.0.0.0/8", "50.0.0.0/8", "60.0.0.0/8", "70.0.0.0/8" } )
      added->ruleFilterIs()->sourceIs()->addrIs( prefix( text ) );
    config_->aclIs( "ipv4/edge" )->ruleByIdIs( AceIndex( 20 ), added );
  }
  std::optional<std::uint32_t> ruleOf( char const* packetText ) const {
    return chip_.lookUp( kEdge, packet( packetText ) ).rule;
  }

  Verify::Proof const& proof() const { return proof_; }

 private:
  bool proves_;
  Verify::Proof proof_;
  SoftwareChip chip_{ kChip, *builtInProfile( "combined" ) };
  Kiv::Ptr<AclConfigColl> config_ = Kiv::make<AclConfigColl>( kChip );
  Kiv::Ptr<RootConfig> rootConfig_ = Kiv::make<RootConfig>( kChip );
  Kiv::Ptr<RootStatus> rootStatus_ = Kiv::make<RootStatus>( kChip );
  Kiv::Ptr<OrvexRootSm> root_;
};

constexpr char const* kPacket = "10.1.1.1 30.1.1.1";

}  // namespace

/// The second kick renumbers the labels of sources, and the stale table of pairs does not know the new ones.
TEST( ProvedLoad, AWarmKickThatLeavesAStaleTableIsRefusedByTheChip ) {
  WarmHost trusting( false );
  ASSERT_EQ( OrvexProgress::orvexFinishedSuccess, trusting.kick( firstVersion() ) );
  EXPECT_EQ( 10U, trusting.ruleOf( kPacket ) );
  trusting.editToSecondVersion();
  ASSERT_EQ( OrvexProgress::orvexFinishedSuccess, trusting.kick( secondVersion() ) );
  ASSERT_NE( 10U, trusting.ruleOf( kPacket ) ) << "the trap has gone";

  Orvex::Test::TraceLines const failures( 0 );
  WarmHost proving( true );
  ASSERT_EQ( OrvexProgress::orvexFinishedSuccess, proving.kick( firstVersion() ) );
  proving.editToSecondVersion();
  EXPECT_EQ( OrvexProgress::orvexFinishedFail, proving.kick( secondVersion() ) );
  EXPECT_EQ( Verify::Outcome::different, proving.proof().outcome );
  ASSERT_TRUE( proving.proof().witness );
  EXPECT_NE( proving.proof().witness->policy, proving.proof().witness->table );
  EXPECT_EQ( 10U, proving.ruleOf( kPacket ) ) << "the table of before is in force";
}

TEST( ProvedLoad, WithoutAProofNothingIsLoaded ) {
  SoftwareChip chip( kChip, *builtInProfile( "default" ) );
  auto const result = compileProved( firstVersion(), chip, {}, ProofMode::loadNothing );
  EXPECT_EQ( CompileOutcome::refused, result.compile.outcome );
  EXPECT_NE( nullptr, result.compile.snapshot );
  EXPECT_EQ( nullptr, chip.table() );
}

TEST( ProvedLoad, AFileThatIsNoSnapshotIsRefused ) {
  std::string const good =
      R"({"schema": "orvex.snapshot/1", "chip": 0,
"prefixTables": [{"family": "ipv4", "side": "src", "invalid": 0, "entries": [{"prefix": "10.0.0.0/8", "label": 1}]}],
"rangeTables": [{"field": "dstPort", "invalid": 0, "entries": [{"first": 1, "last": 9, "label": 1}]}],
"comboTables": [{"type": "srcDstL4Port", "invalid": 0, "entries": [{"srcLabel": 1, "dstLabel": 1, "label": 1}]}],
"acls": [{"name": "edge", "family": "ipv4", "default": "deny", "rules": [
{"index": 10, "name": "a", "action": {"drop": true, "log": false, "dscp": null, "tc": 7, "sflow": false}, "entries": [{"ttl": [1, 2]}]}]}]})";
  auto const problem = []( std::string const& text ) {
    Diagnostics diagnostics;
    auto const file = SourceFile::fromText( "s", text, diagnostics );
    return readSnapshot( *file, diagnostics ) ? std::string() : diagnostics.sorted().front().problem;
  };
  ASSERT_EQ( "", problem( good ) );
  struct {
    char const* what;
    char const* with;
    char const* want;
  } const faults[] = {
      { "snapshot/1", "snapshot/2", "this is no snapshot of version 1" },
      { "\"chip\"", "\"chop\"", "there is no \"chop\" here" },
      { "\"chip\": 0,", "", "\"chip\" is missing" },
      { "\"chip\": 0", "\"chip\": -1", "this is out of range" },
      { "ipv4", "ipv5", "there is no \"ipv5\" here" },
      { "10.0.0.0/8", "10.0.0.1/8", "\"10.0.0.1/8\" is no prefix of ipv4" },
      { "10.0.0.0/8", "2001:db8::/32", "\"2001:db8::/32\" is no prefix of ipv4" },
      { "\"label\": 1}", "\"label\": 65536}", "this is out of range" },
      { "\"label\": 1}]", "\"label\": 1}, {\"prefix\": \"10.0.0.0/8\", \"label\": 2}]", "this entry stands twice" },
      { "\"first\": 1", "\"first\": 10", "this range ends before it begins" },
      { "srcDstL4Port", "icmp", "there is no \"icmp\" here" },
      { "\"tc\": 7", "\"tc\": 8", "this is out of range" },
      { "\"drop\": true", "\"drop\": 1", "this is a number" },
      { "[1, 2]", "[1]", "this is no label and mask" },
      { "\"ttl\"", "\"tll\"", "an entry has no \"tll\"" },
      { "\"deny\"", "\"drop\"", "there is no \"drop\" here" },
      // What no policy has, and no writer writes: these were taken, or raised an exception without a place.
      { "\"index\": 10", "\"index\": 4294967294", "this is out of range" },
      { "\"index\": 10", "\"index\": 4294967295", "this is out of range" },
      { "\"edge\"", "\"\"", "no policy has this name" },
      { "\"edge\"", "\"a\\nb\"", "no policy has this name" },
      { "[1, 2]", "[1, 0]", "a mask of 0 looks at no bit" },
      { "{\"ttl\": [1, 2]}", "{}, {}", "this entry stands twice" },
  };
  for ( auto const& fault : faults ) {
    std::string text = good;
    text.replace( text.find( fault.what ), std::string( fault.what ).size(), fault.with );
    EXPECT_EQ( fault.want, problem( text ) ) << fault.with;
  }
}

}  // namespace Orvex::Host::Test
