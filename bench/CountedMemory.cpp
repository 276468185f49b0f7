#include "CountedMemory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

std::size_t live = 0;
std::size_t peak = 0;

}  // namespace

// Out of line, as the compiler would otherwise see malloc() meet operator delete.
[[gnu::noinline]] void* operator new( std::size_t size ) {
  void* const memory = std::malloc( size );
  if ( memory == nullptr ) throw std::bad_alloc();
  live += malloc_usable_size( memory );
  peak = std::max( peak, live );
  return memory;
}
[[gnu::noinline]] void operator delete( void* memory ) noexcept {
  live -= malloc_usable_size( memory );
  std::free( memory );
}
[[gnu::noinline]] void operator delete( void* memory, std::size_t ) noexcept { operator delete( memory ); }

namespace Orvex::Bench {

std::size_t liveBytes() { return live; }
std::size_t peakBytes() { return peak; }
void peakBytesReset() { peak = live; }

}  // namespace Orvex::Bench
