#pragma once

/// Work in a process of its own, whose end is a result like any other: a broken invariant stops the child and not the tool.

#include <cstdint>
#include <functional>
#include <string>

namespace Orvex::Soak {

enum class ApartEnding : std::uint8_t {
  returned,
  threw,    // the text ends with what was thrown
  stopped,  // a fatal check
  hung,     // it took longer than it may
  crashed
};

struct ApartResult {
  ApartEnding ending;
  /// All that the child wrote to standard error.
  std::string text;
};

/// Forks. Other threads of the caller hold no locks that `work` needs, when all that they do is to call this.
/// Fails with: std::system_error when there can be no child.
ApartResult runApart( std::function<void()> const& work, unsigned seconds );

}  // namespace Orvex::Soak
