#include "FuzzTarget.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace Orvex::Fuzz {

void found( std::string_view problem ) {
  (void)std::fprintf( stderr, "found: %.*s\n", static_cast<int>( problem.size() ), problem.data() );
  std::abort();
}

}  // namespace Orvex::Fuzz

extern "C" int LLVMFuzzerTestOneInput( std::uint8_t const* data, std::size_t size ) {
  Orvex::Fuzz::oneInput( { reinterpret_cast<char const*>( data ), size } );
  return 0;
}
