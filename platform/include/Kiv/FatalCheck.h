#pragma once

/// Checks of invariants: a failed one prints the expression's text with its place and stops the process.
///
///     KIV_CHECK( first <= last );
///     Kiv::fatalUnless( known, "false && \"unknown stage\"" );   // where the text is fixed
///
/// Not for input: a value out of range raises an exception, and a stage that cannot do its work ends with a status.

#include <string_view>

namespace Kiv {

/// Prints "FILE:LINE: FUNCTION: fatal check failed: TEXT" to standard error and aborts.
[[noreturn]] void fatal( std::string_view text, char const* file = __builtin_FILE(), int line = __builtin_LINE(),
                         char const* function = __builtin_FUNCTION() ) noexcept;

inline void fatalUnless( bool condition, std::string_view text, char const* file = __builtin_FILE(),
                         int line = __builtin_LINE(), char const* function = __builtin_FUNCTION() ) noexcept {
  if ( !condition ) [[unlikely]]
    fatal( text, file, line, function );
}

}  // namespace Kiv

#define KIV_CHECK( ... ) ::Kiv::fatalUnless( static_cast<bool>( __VA_ARGS__ ), #__VA_ARGS__ )
