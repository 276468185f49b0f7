#include "Kiv/FatalCheck.h"

#include <cstdio>
#include <cstdlib>

namespace Kiv {

void fatal( std::string_view text, char const* file, int line, char const* function ) noexcept {
  std::fprintf( stderr, "%s:%d: %s: fatal check failed: %.*s\n", file, line, function, static_cast<int>( text.size() ),
                text.data() );
  std::fflush( stderr );
  std::abort();
}

}  // namespace Kiv
