#pragma once

/// The byte hash, written down as it is defined: what the product's hashes are held against.

#include <cstdint>

namespace Orvex::Test {

/// The state of a byte hash, before its last step.
class LiteralHash {
 public:
  LiteralHash& feed( std::uint64_t value, unsigned bytes ) {
    for ( ; bytes != 0; --bytes, value >>= 8 ) {
      h = h + static_cast<std::uint8_t>( value );
      h = h + ( h << 10 );
      h = h ^ ( h >> 6 );
    }
    return *this;
  }
  LiteralHash& exclusiveOr( std::uint32_t word ) {
    h = h ^ word;
    return *this;
  }
  std::uint32_t result() const {
    std::uint32_t r = h;
    r = r + ( r << 3 );
    r = r ^ ( r >> 11 );
    r = r + ( r << 15 );
    return r;
  }

 private:
  std::uint32_t h = 0;
};

}  // namespace Orvex::Test
