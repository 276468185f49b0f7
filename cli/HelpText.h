#pragma once

/// What --help prints, for the eye and for the manual pages, which are made of it:
///
///     Usage: orvex chips [OPTION]... [NAME]
///     List the chips, or print one's profile.
///
///       NAME                          a chip, or a profile's file
///
///     Options:
///       -q, --quiet                   errors and results only
///           --colour always|auto|never
///                                     colour of messages
///
///     Exit status:
///       0                             done
///       ...
///
/// Subcommands follow the options, and a footer with examples the exit status. Options of a group stand among the others.

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace Orvex::Cli {

/// The values that the command line names for an option or positional; empty: any.
std::vector<std::string> choicesOf( CLI::Option const& option );

class HelpText : public CLI::FormatterBase {
 public:
  std::string make_help( CLI::App const* app, std::string name, CLI::AppFormatMode mode ) const override;
};

}  // namespace Orvex::Cli
