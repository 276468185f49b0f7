#pragma once

/// A line on the terminal that says how far the work is; it goes away with the object. Nowhere but on a terminal.

#include <fmt/format.h>

#include <string_view>

#include "Inputs.h"
#include "StandardStreams.h"

namespace Orvex::Cli {

class ProgressLine {
 public:
  explicit ProgressLine( ConsoleOptions const& options ) : on_( !options.quiet && standardErrorIsTerminal() ) {}
  ~ProgressLine() {
    if ( shown_ ) tell( "\r\033[K" );
  }
  ProgressLine( ProgressLine const& ) = delete;
  ProgressLine& operator=( ProgressLine const& ) = delete;

  /// Whether show() shows anything.
  bool isOn() const { return on_; }
  void show( std::string_view text ) {
    if ( !on_ ) return;
    shown_ = true;
    tell( fmt::format( "\r\033[K{}", text ) );
  }

 private:
  bool on_;
  bool shown_ = false;
};

}  // namespace Orvex::Cli
