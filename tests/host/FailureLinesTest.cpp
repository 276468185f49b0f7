#include "pipeline/FailureLines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Orvex::Host::Test {

using testing::ElementsAre;

namespace {

Kiv::TraceHandle handle( "FailureLinesTest" );

}  // namespace

TEST( FailureLines, CollectWhatFailsAndLeaveTheRestToTheHost ) {
  std::vector<std::string> onward;
  traceSinkIs( [&]( Kiv::TraceLine const& line ) { onward.emplace_back( line.text ); } );
  handle.enabledIs( 1, true );
  handle.trace( 0, "before" );
  {
    FailureLines const outer;
    handle.trace( 0, "a ", 1 );
    handle.trace( 1, "progress" );
    {
      FailureLines const inner;
      handle.trace( 0, "b" );
      EXPECT_THAT( inner.lines(), ElementsAre( "b" ) );
    }
    handle.trace( 0, "c" );
    EXPECT_THAT( outer.lines(), ElementsAre( "a 1", "c" ) );
  }
  handle.trace( 0, "after" );
  EXPECT_THAT( onward, ElementsAre( "before", "progress", "after" ) );
  handle.enabledIs( 1, false );
  traceSinkIs( nullptr );
}

// Another sink was set in between, and the lines went there from then on.
TEST( FailureLines, CollectAlsoAfterAnotherSinkWasSet ) {
  { FailureLines const earlier; }
  Kiv::Trace::sinkIs( nullptr );
  FailureLines const lines;
  handle.trace( 0, "a" );
  EXPECT_THAT( lines.lines(), ElementsAre( "a" ) );
}

}  // namespace Orvex::Host::Test
