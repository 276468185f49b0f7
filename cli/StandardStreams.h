#pragma once

/// The command's standard streams when they are closed, full or gone.

#include <string_view>

namespace Orvex::Cli {

/// Occupies the numbers of streams that the caller has closed, so that no file that is opened later takes one and is
/// written to by accident. Reading and writing them fails as before. Call it before anything is opened.
void occupyClosedStreams();

/// On standard error. A message that cannot be written is lost, and changes nothing else.
void tell( std::string_view text );

/// Writes what is left in the buffer of standard output.
/// Fails with: Host::OutputError when that, or an earlier write, has failed.
void endStandardOutput();

}  // namespace Orvex::Cli
