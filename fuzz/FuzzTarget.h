#pragma once

/// What fuzz targets are made of.
///
/// A target is a file with one function, oneInput(), which takes any bytes and requires what is promised of them. The same
/// file makes two programs: one with libFuzzer, which looks for bytes that break a promise (scripts/fuzz.sh), and one that
/// runs the committed corpus once, which every build has as a test (Replay.cpp).

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Orvex::Fuzz {

/// Defined by each target. Fails with: found(), an exception, or whatever a sanitizer sees.
void oneInput( std::string_view input );

/// A promise is broken: says which, and ends the process so that the input is kept.
[[noreturn]] void found( std::string_view problem );

inline void require( bool holds, std::string_view problem ) {
  if ( !holds ) found( problem );
}

}  // namespace Orvex::Fuzz

/// What libFuzzer calls, and the replay of a corpus.
// NOLINTNEXTLINE(readability-identifier-naming): libFuzzer has named it.
extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const* data, std::size_t size );
