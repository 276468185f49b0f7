#pragma once

/// What subcommands read and what they say while they do: policies in every format, chip profiles, messages.

#include <optional>
#include <string>

#include "Options.h"
#include "chip/ChipProfile.h"
#include "input/Diagnostics.h"
#include "output/NumberText.h"
#include "policy/PolicyPlaces.h"

namespace Orvex::Cli {

/// Reads all files of one format; the first file's content chooses when the options do not. None, with messages in
/// `diagnostics`, when a file is faulty.
std::optional<Host::LocatedPolicy> readPolicy( PolicyOptions const& options, Host::Diagnostics& diagnostics );

/// The built-in chip of that name, or the profile in that file. None, with messages.
std::optional<Host::ChipProfile> readChip( std::string const& nameOrFile, Host::Diagnostics& diagnostics );

/// Prints the messages to standard error. Quiet, it prints them only when there are errors.
void show( Host::Diagnostics const& diagnostics, ConsoleOptions const& options );

/// "orvex: error: TEXT" on standard error, for what stands in no file.
void showError( std::string const& text, ConsoleOptions const& options );
void showWarning( std::string const& text, ConsoleOptions const& options );

bool standardErrorIsTerminal();

using Host::counted;
using Host::grouped;

/// Of all ACLs.
std::uint64_t rulesIn( Host::Policy const& policy );

}  // namespace Orvex::Cli
