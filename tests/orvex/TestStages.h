#pragma once

/// Stand-ins for the pipeline's stages, and a place that holds what they and the controller trace.

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Kiv/Trace.h"
#include "Orvex/OrvexStageSm.h"

namespace Orvex::Test {

/// A stage that logs its name and ends each kick at once with the result set, or not at all with "inProgress".
class TestStage : public StageSm {
 public:
  TestStage( std::string name, std::vector<std::string>& log )
      : StageSm( Brae::ChipId( 1 ), Kiv::make<StageConfig>(), Kiv::make<StageStatus>() ),
        name_( std::move( name ) ),
        log_( log ) {}

  StageStatusType result = StageStatusType::finishedSuccess;
  std::function<void()> react;

  /// The test's own hold on what the stage reads only.
  Kiv::Ptr<StageConfig> kicker() const { return Kiv::Ptr<StageConfig>( const_cast<StageConfig*>( config().get() ) ); }

 protected:
  void doStartKick() override {
    log_.push_back( name_ );
    if ( react ) std::exchange( react, nullptr )();
    if ( result != StageStatusType::inProgress ) doSetStatus( result );
  }

 private:
  std::string name_;
  std::vector<std::string>& log_;
};

/// Collects the lines of one level while it lives.
class TraceLines {
 public:
  explicit TraceLines( unsigned level ) {
    Kiv::Trace::levelIs( level );
    Kiv::Trace::sinkIs( [this, level]( Kiv::TraceLine const& line ) {
      if ( line.place.level == level ) lines.emplace_back( line.text );
    } );
  }
  ~TraceLines() {
    Kiv::Trace::sinkIs( {} );
    Kiv::Trace::levelIs( 0 );
  }
  TraceLines( TraceLines const& ) = delete;
  TraceLines& operator=( TraceLines const& ) = delete;

  std::vector<std::string> lines;
};

}  // namespace Orvex::Test
