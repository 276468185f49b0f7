#pragma once

/// The free labels of an encoding space, by aligned blocks.
///
/// An allocator asks for the first place where so many labels are free, at a multiple of a power of two. A bitmap of labels
/// answers by trying one place after the other, and when most are taken it tries thousands for every key. So there is a
/// bitmap for each size of block, in which a bit says that the block is wholly free:
///
///     labels taken: 0, 5        size 1:  .1111.11
///                               size 2:  .1.1        (2-3 and 6-7)
///                               size 4:  ..
///
/// A search is then a look for the next bit in one of them.
///
/// Cost: taking labels costs their number; a search costs the words of the bitmap that it passes, 64 blocks each.

#include <cstdint>
#include <optional>
#include <vector>

namespace Orvex {

class FreeBlocks {
 public:
  /// 2^widthBits labels, all free. `widthBits` is 0 to 16.
  explicit FreeBlocks( std::uint32_t widthBits );

  std::uint32_t size() const { return std::uint32_t{ 1 } << widthBits_; }
  std::uint32_t freeCount() const { return freeCount_; }

  /// The first multiple of 2^alignBits, from `from` on, at which `count` labels are free.
  /// Requires: count is 1 to 2^alignBits, and `from` is a multiple of 2^alignBits.
  std::optional<std::uint32_t> find( std::uint32_t from, std::uint32_t alignBits, std::uint32_t count ) const;

  bool areFree( std::uint32_t first, std::uint32_t last ) const;
  /// Requires: the labels are free.
  void take( std::uint32_t first, std::uint32_t last );

 private:
  using Words = std::vector<std::uint64_t>;

  /// The first set bit of a level that is a multiple of 2^strideBits, from `from` on; that level's size when there is none.
  std::uint32_t nextFree( std::uint32_t level, std::uint32_t from, std::uint32_t strideBits ) const;

  std::uint32_t widthBits_;
  std::uint32_t freeCount_;
  std::vector<Words> levels_;  // by the binary logarithm of the block's size
};

}  // namespace Orvex
