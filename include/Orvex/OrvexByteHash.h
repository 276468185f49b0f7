#pragma once

/// The one-at-a-time byte hash: what sets, filters and working sets are fingerprinted with.
///
/// 32 bits, byte after byte, integers least significant byte first. A value is fed in a fixed order; a set, whose order is
/// nobody's business, as the sum of its members' hashes. After B. Jenkins, "Hash functions", Dr. Dobb's Journal, 1997.

#include <concepts>
#include <cstdint>

namespace Orvex {

class ByteHash {
 public:
  template <std::unsigned_integral Integer>
  constexpr ByteHash& feed( Integer value ) noexcept {
    for ( unsigned byte = 0; byte != sizeof( Integer ); ++byte )
      step( static_cast<std::uint32_t>( value >> ( 8 * byte ) & 0xFFU ) );
    return *this;
  }

  /// Mixes a word into the state as it is.
  constexpr ByteHash& combine( std::uint32_t word ) noexcept {
    state_ ^= word;
    return *this;
  }

  constexpr std::uint32_t result() const noexcept {
    std::uint32_t final = state_;
    final += final << 3;
    final ^= final >> 11;
    final += final << 15;
    return final;
  }

 private:
  constexpr void step( std::uint32_t byte ) noexcept {
    state_ += byte;
    state_ += state_ << 10;
    state_ ^= state_ >> 6;
  }

  std::uint32_t state_ = 0;
};

}  // namespace Orvex
