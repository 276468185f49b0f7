#include "pipeline/FailureLines.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace Orvex::Host {

namespace {

thread_local FailureLines* ofThisThread = nullptr;

void printToStandardError( Kiv::TraceLine const& line ) {
  std::string text;
  for ( char const each : line.text ) text += static_cast<unsigned char>( each ) < ' ' ? '?' : each;
  std::fprintf( stderr, "%.*s level %u: %s\n", static_cast<int>( line.module.size() ), line.module.data(),
                line.place.level, text.c_str() );
}

}  // namespace

/// The process's one sink.
class TraceTap {
 public:
  static TraceTap& theOne() {
    static TraceTap& tap = *new TraceTap;  // never destroyed: the last destructors can trace
    return tap;
  }

  void install() {
    Kiv::Trace::sinkIs( [this]( Kiv::TraceLine const& line ) { take( line ); } );
  }

  void onwardIs( std::function<void( Kiv::TraceLine const& )> sink ) {
    install();
    std::lock_guard const lock( mutex_ );
    onward_ = std::move( sink );
  }

 private:
  void take( Kiv::TraceLine const& line ) {
    if ( line.place.level == 0 && ofThisThread ) {
      ofThisThread->lines_.emplace_back( line.text );
      return;
    }
    std::lock_guard const lock( mutex_ );
    if ( onward_ )
      onward_( line );
    else
      printToStandardError( line );
  }

  std::mutex mutex_;
  std::function<void( Kiv::TraceLine const& )> onward_;
};

void traceSinkIs( std::function<void( Kiv::TraceLine const& )> sink ) {
  TraceTap::theOne().onwardIs( std::move( sink ) );
}

FailureLines::FailureLines() : outer_( std::exchange( ofThisThread, this ) ) { TraceTap::theOne().install(); }

FailureLines::~FailureLines() { ofThisThread = outer_; }

}  // namespace Orvex::Host
