#pragma once

/// As much of UTF-8 (RFC 3629) as messages about text need: what is well formed, and how many characters stand in a
/// text. A byte that belongs to no well-formed character counts as one.

#include <cstddef>
#include <string_view>

namespace Orvex::Host {

/// The bytes of the character at the text's beginning; 0 when none is well formed there.
std::size_t utf8Length( std::string_view text ) noexcept;

/// The bytes before the first that is not ASCII. Most text has none, and this reads eight at a time.
std::size_t asciiLength( std::string_view text ) noexcept;

std::size_t countCodePoints( std::string_view text ) noexcept;

/// The text's first characters, or all that there are.
std::string_view firstCodePoints( std::string_view text, std::size_t count ) noexcept;

}  // namespace Orvex::Host
