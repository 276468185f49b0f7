#pragma once

/// A bitmap of fixed size for allocators: a set bit is taken, a clear one free.
///
/// Ranges are inclusive at both ends and are treated a word of 64 bits at a time: the words at both ends are masked,
/// those between are whole. The number of set bits is kept with every change.
///
/// Bits outside the bitmap, and ranges whose first is above their last, are fatal checks, except where stated.
///
/// Invariants: (1) bits of the last word past the size are clear; (2) the kept count is the number of set bits.
/// Cost: O(1) for a bit and for the whole bitmap's counts; O(words in the range) for ranges. Sizes from 0 to 2^32 - 1.

#include <cstdint>
#include <vector>

#include "Kiv/Ptr.h"

namespace Brae {

class Bitmap : public Kiv::PtrInterface {
 public:
  std::uint32_t size() const noexcept { return size_; }

  bool bit( std::uint32_t position ) const;
  void setBit( std::uint32_t position ) { setBitsInRange( position, position ); }
  void clearBit( std::uint32_t position ) { clearBitsInRange( position, position ); }
  void setBitsInRange( std::uint32_t first, std::uint32_t last );
  void clearBitsInRange( std::uint32_t first, std::uint32_t last );

  /// The lowest clear bit from `first` to `last`; size() when there is none, so also when `first` is above `last`: a
  /// search that goes on behind the last bit ends.
  std::uint32_t findClearBitInRange( std::uint32_t first, std::uint32_t last ) const;

  std::uint32_t numBitsInSetState( bool state ) const noexcept { return state ? setBits_ : size_ - setBits_; }
  std::uint32_t numBitsInSetStateInRange( std::uint32_t first, std::uint32_t last, bool state = true ) const;

 private:
  friend Kiv::Ptr<Bitmap> bitmapFactory( std::uint32_t size );
  explicit Bitmap( std::uint32_t size );

  std::uint32_t size_;
  std::uint32_t setBits_ = 0;
  std::vector<std::uint64_t> words_;
};

/// A bitmap whose bits are all clear.
Kiv::Ptr<Bitmap> bitmapFactory( std::uint32_t size );

}  // namespace Brae
