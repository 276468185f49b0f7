#include "chip/SnapshotJson.h"

#include <gtest/gtest.h>

#include "chip/SoftwareChip.h"
#include "host/PolicyNotation.h"
#include "host/TestChips.h"
#include "pipeline/Compile.h"
#include "policy/Normalise.h"

namespace Orvex::Host::Test {

TEST( SnapshotJson, HasEveryTableThatIsOnAndEveryRuleOfThePolicy ) {
  ChipProfile profile = plainChip();
  profile.ranges[Field::dport] = { 4, 15 };
  profile.ranges[Field::sport] = { 4, 0 };
  profile.combo( ComboLabelSetType::srcDstL4Port ) = { 3, 0 };
  Rule named = rule( 10, "source 10.0.0.0/8; dport 80" );
  named.name = "a \"b\"\\\xC3\xA9";
  named.action = OrvexActionValue( false, true, Vell::DscpValue( 46 ), true, OrvexTrafficClass(), false, true );
  std::string const want = R"({"schema": "orvex.snapshot/1", "chip": 3,
"prefixTables": [
{"family": "ipv4", "side": "src", "invalid": 0, "entries": [
{"prefix": "0.0.0.0/0", "label": 0},
{"prefix": "10.0.0.0/8", "label": 1}]},
{"family": "ipv4", "side": "dst", "invalid": 0, "entries": []},
{"family": "ipv6", "side": "src", "invalid": 0, "entries": []},
{"family": "ipv6", "side": "dst", "invalid": 0, "entries": []}],
"rangeTables": [
{"field": "srcPort", "invalid": 0, "entries": [
{"first": 7, "last": 9, "label": 1}]},
{"field": "dstPort", "invalid": 15, "entries": [
{"first": 80, "last": 80, "label": 0}]}],
"comboTables": [
{"type": "srcDstL4Port", "invalid": 0, "entries": [
{"srcLabel": 1, "dstLabel": 0, "label": 1}]}],
"acls": [
{"name": "edge", "family": "ipv4", "default": "deny", "rules": [
{"index": 10, "name": "a \"b\"\\é", "action": {"drop": false, "log": true, "dscp": 46, "tc": null, "sflow": true}, "entries": [
{"source": [1, 65535], "dport": [0, 15], "headFragment": [1, 1]}]},
{"index": 11, "name": "11", "action": {"drop": true, "log": false, "dscp": null, "tc": null, "sflow": false}, "entries": [
{"portCombo": [1, 7], "proto": [6, 255], "headFragment": [1, 1]}]},
{"index": 12, "name": "12", "action": {"drop": false, "log": false, "dscp": null, "tc": null, "sflow": false}, "entries": []},
{"index": 13, "name": "13", "action": {"drop": true, "log": false, "dscp": null, "tc": null, "sflow": false}, "entries": [
{}]}]},
{"name": "edge", "family": "ipv6", "default": "permit", "rules": []}]}
)";
  Policy const policy = normalised(
      { { acl( "ipv6 edge permit", {} ), acl( "ipv4 edge", { named, rule( 11, "sport 7-9; dport 80; proto 6" ),
                                                             rule( 12, "source !0.0.0.0/0" ), rule( 13, "" ) } ) } } );
  SoftwareChip chip( Brae::ChipId( 3 ), profile );
  auto const result = compile( policy, chip );
  ASSERT_EQ( CompileOutcome::loaded, result.outcome ) << result.message;
  std::string text;
  writeSnapshotJson( *result.snapshot, policy, shapeOf( profile ), Brae::ChipId( 3 ),
                     [&]( std::string_view piece ) { text += piece; } );
  EXPECT_EQ( want, text );
}

}  // namespace Orvex::Host::Test
