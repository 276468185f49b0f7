#include "Kiv/Ptr.h"

#include <vector>

namespace Kiv {

namespace {

/// Destructors that may be on the stack at once; objects released deeper than this wait for the outermost one.
constexpr unsigned kMaxNesting = 64;

/// Trivially destructible, so that objects released while a thread ends still find it.
struct Unwinding {
  unsigned nesting = 0;
  std::vector<PtrInterface const*>* waiting = nullptr;
};

constinit thread_local Unwinding unwinding;

}  // namespace

void PtrInterface::destroy() const noexcept {
  references_.increment();  // or a Ptr that comes and goes from here on would destroy it again
  const_cast<PtrInterface*>( this )->handleLastReferenceGone();

  Unwinding& state = unwinding;
  if ( state.nesting == kMaxNesting ) {
    if ( !state.waiting ) state.waiting = new std::vector<PtrInterface const*>;
    state.waiting->push_back( this );
    return;
  }

  ++state.nesting;
  delete this;
  if ( state.nesting == 1 && state.waiting ) {
    while ( !state.waiting->empty() ) {
      PtrInterface const* const next = state.waiting->back();
      state.waiting->pop_back();
      delete next;
    }
    delete std::exchange( state.waiting, nullptr );
  }
  --state.nesting;
}

}  // namespace Kiv
