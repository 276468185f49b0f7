#pragma once

/// Names one chip of the host. Its text is its number.

#include <compare>
#include <cstdint>
#include <ostream>

#include "Kiv/Hash.h"
#include "Kiv/Value.h"

namespace Brae {

class ChipId {
 public:
  constexpr ChipId() noexcept = default;
  explicit constexpr ChipId( std::uint32_t value ) noexcept : value_( value ) {}

  constexpr std::uint32_t value() const noexcept { return value_; }

  constexpr std::uint32_t hash() const noexcept { return Kiv::hashOf( value_ ); }
  constexpr bool operator==( ChipId const& ) const noexcept = default;
  constexpr std::strong_ordering operator<=>( ChipId const& ) const noexcept = default;

  static ChipId read( Kiv::TextReader& reader ) { return ChipId( Kiv::readValue<std::uint32_t>( reader ) ); }

 private:
  std::uint32_t value_ = 0;
};

inline std::ostream& operator<<( std::ostream& out, ChipId const& chip ) {
  Kiv::Detail::printField( out, chip.value() );
  return out;
}

}  // namespace Brae
