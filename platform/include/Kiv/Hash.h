#pragma once

/// Hashes of value types: 32 bits, the same on every machine and in every run.
///
///     std::uint32_t hash() const { return Kiv::IncrementalHash().add( first_ ).add( last_ ).result(); }
///
/// Hashes of sets are sums of their members' hashes, so a member's hash must be mixed strongly: sequential keys must
/// not give sequential hashes. Enumerations are the exception, and hash to their value.

#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>

namespace Kiv {

/// Mixes the fields of a value in order.
class IncrementalHash {
 public:
  template <class Integer>
  requires std::integral<Integer> || std::is_enum_v<Integer>
  constexpr IncrementalHash& add( Integer field ) noexcept {
    state_ = ( state_ ^ static_cast<std::uint64_t>( field ) ) * 0x9E3779B97F4A7C15U;
    state_ ^= state_ >> 32;
    return *this;
  }

  constexpr IncrementalHash& add( std::string_view bytes ) noexcept {
    for ( char const byte : bytes ) add( static_cast<unsigned char>( byte ) );
    return add( bytes.size() );
  }

  /// The upper half of the 64-bit finaliser of MurmurHash3 (Appleby, public domain).
  constexpr std::uint32_t result() const noexcept {
    std::uint64_t mixed = state_;
    mixed = ( mixed ^ ( mixed >> 33 ) ) * 0xFF51AFD7ED558CCDU;
    mixed = ( mixed ^ ( mixed >> 33 ) ) * 0xC4CEB9FE1A85EC53U;
    return static_cast<std::uint32_t>( ( mixed ^ ( mixed >> 33 ) ) >> 32 );
  }

 private:
  std::uint64_t state_ = 0x2545F4914F6CDD1DU;
};

/// Hash of any key: an enumeration's value, an integer's mix, or the type's own hash().
template <class Key>
constexpr std::uint32_t hashOf( Key const& key ) noexcept {
  if constexpr ( std::is_enum_v<Key> )
    return static_cast<std::uint32_t>( key );
  else if constexpr ( std::integral<Key> )
    return IncrementalHash().add( key ).result();
  else
    return key.hash();
}

/// The bits of a word in opposite order: bit 0 becomes bit 31.
constexpr std::uint32_t bitReverse( std::uint32_t word ) noexcept {
  word = ( ( word >> 1 ) & 0x55555555U ) | ( ( word & 0x55555555U ) << 1 );
  word = ( ( word >> 2 ) & 0x33333333U ) | ( ( word & 0x33333333U ) << 2 );
  word = ( ( word >> 4 ) & 0x0F0F0F0FU ) | ( ( word & 0x0F0F0F0FU ) << 4 );
  return __builtin_bswap32( word );
}

}  // namespace Kiv
