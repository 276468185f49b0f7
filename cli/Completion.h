#pragma once

/// Scripts that complete the command's words in a shell. They are made by a walk through the command line's own
/// subcommands and options, so that they cannot fall behind it:
///
///     source <( orvex completion bash )

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "Kiv/Enumeration.h"

namespace CLI {
class App;
}  // namespace CLI

namespace Orvex::Cli {

enum class Shell : std::uint32_t { bash, zsh, fish };

inline constexpr std::array<std::string_view, 3> kShellNames = { "bash", "zsh", "fish" };
static_assert( kShellNames.size() == Kiv::enumValue( Shell::fish ) + 1 );
constexpr std::span<std::string_view const> enumNames( Shell ) { return kShellNames; }

/// Subcommands, options, and the values of options that have a few; anything else is completed as a file's name.
std::string completionScript( CLI::App const& app, Shell shell );

}  // namespace Orvex::Cli
