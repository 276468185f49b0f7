#pragma once

/// One input as the text of a user's file, and what is promised of every reader of such files:
///
///  1. There is a result, or at least one error, and never both.
///  2. Each message stands at a place that the file has.
///  3. Messages are text that a terminal can be given: UTF-8, without control characters.

#include <memory>
#include <string>
#include <string_view>

#include "FuzzTarget.h"
#include "input/Diagnostics.h"
#include "input/SourceFile.h"

namespace Orvex::Fuzz {

class Reading {
 public:
  explicit Reading( std::string_view text, std::string name = "input" )
      : file_( Host::SourceFile::fromText( std::move( name ), std::string( text ), diagnostics_ ) ) {}

  std::shared_ptr<Host::SourceFile const> const& file() const { return file_; }
  Host::Diagnostics& diagnostics() { return diagnostics_; }

  /// To be called when the reader is done.
  void check( bool hasResult ) const;

 private:
  Host::Diagnostics diagnostics_;
  std::shared_ptr<Host::SourceFile const> file_;
};

}  // namespace Orvex::Fuzz
