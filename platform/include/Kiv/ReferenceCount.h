#pragma once

/// The intrusive reference count that objects and strings share, and the process-wide switch that makes it thread-safe.
///
/// Off (the default) a count is a plain load, add and store: one thread only. On, it is an atomic read-modify-write,
/// and strings, configuration and other objects may be shared between threads. Switch it on before a second thread
/// starts.

#include <atomic>
#include <cstdint>

namespace Kiv {

namespace Detail {
inline std::atomic<bool> threadSafePointers = false;
}

inline bool threadSafePointers() noexcept { return Detail::threadSafePointers.load( std::memory_order_relaxed ); }
inline void threadSafePointersIs( bool on ) noexcept {
  Detail::threadSafePointers.store( on, std::memory_order_relaxed );
}

class ReferenceCount {
 public:
  void increment() noexcept {
    if ( threadSafePointers() ) [[unlikely]]
      count_.fetch_add( 1, std::memory_order_relaxed );
    else
      count_.store( count_.load( std::memory_order_relaxed ) + 1, std::memory_order_relaxed );
  }

  /// True when this was the last reference; what other threads wrote through theirs is then visible here.
  bool decrement() noexcept {
    if ( threadSafePointers() ) [[unlikely]]
      return count_.fetch_sub( 1, std::memory_order_acq_rel ) == 1;
    std::uint32_t const left = count_.load( std::memory_order_relaxed ) - 1;
    count_.store( left, std::memory_order_relaxed );
    return left == 0;
  }

  std::uint32_t value() const noexcept { return count_.load( std::memory_order_relaxed ); }

 private:
  std::atomic<std::uint32_t> count_ = 0;
};

}  // namespace Kiv
