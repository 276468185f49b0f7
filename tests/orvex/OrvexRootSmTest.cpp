#include "Orvex/OrvexRootSm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Kiv/Trace.h"
#include "orvex/TestChip.h"
#include "orvex/TestPolicy.h"

namespace Orvex {
namespace {

using Test::rule;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

class OrvexRootSmTest : public testing::Test, protected Test::TestChip {
 protected:
  Kiv::Ptr<AclConfig> acl = policy->aclIs( "edge" );
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

TEST_F( OrvexRootSmTest, EveryStageTracesAndDumpsWhatItDoes ) {
  EncodingAttr const on( 8, EncodedLabel( 0 ) );
  for ( std::uint32_t type = 0; type != Kiv::enumValue( RangeSetType::rangeSetMax ); ++type )
    capability->rangeEncodingAttrIs( static_cast<RangeSetType>( type ), on );
  for ( std::uint32_t type = 0; type != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++type )
    capability->comboEncodingAttrIs( static_cast<ComboLabelSetType>( type ), on );
  rule( *acl, 10, "web", "source 10.0.0.0/8 !10.1.0.0/16; destination 10.0.0.0/8; sport 80; dport 80 443" );
  rule( *acl, 20, "web again", "source 10.0.0.0/8 !10.1.0.0/16; destination 10.0.0.0/8; sport 80; dport 80 443" );
  std::vector<std::string> lines;
  Kiv::Trace::sinkIs( [&]( Kiv::TraceLine const& line ) { lines.emplace_back( line.text ); } );
  Kiv::Trace::levelIs( Kiv::TraceHandle::kMaxLevel );
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, compile() );
  Kiv::Trace::levelIs( 0 );
  Kiv::Trace::sinkIs( {} );
  for ( char const* const text :
        { "...Rule Name web", "...source Prefixes 10.0.0.0/8 10.1.0.0/16 except",
          "Creating rangeSet, key:", "Reusing rangeSet, key:", "*** PrefixSetLists updated ***",
          "Creating comboSet : Key: ", "*** Rule Expander Status ***",
          "Deduping filter with key: ", "Transited from stageLoader to stageInit" } )
    EXPECT_THAT( lines, Contains( HasSubstr( text ) ) );
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
  auto const other = Kiv::make<RootConfig>( rootConfig->chipId() );
  other->orvexKickTimeIs( rootConfig->orvexKickTime() );
  root->rootConfigIs( other );
  EXPECT_EQ( 2U, rootStatus->kickCount() );
  run();
  EXPECT_EQ( OrvexProgress::orvexFinishedSuccess, rootStatus->kickProgress() );
}

}  // namespace
}  // namespace Orvex
