/// Policies as ACL text.

#include "PolicyChecks.h"
#include "Reading.h"
#include "policy/AclTextReader.h"

namespace Orvex::Fuzz {

namespace {

/// A file of this name has no neighbours, so that relative includes find nothing.
constexpr char const* kName = "/dev/null/input.acl";

/// Whether a line may include a file by an absolute path: that would read whatever this machine has there.
bool mayReadFiles( std::string_view input ) {
  for ( std::size_t at = input.find( "include" ); at != std::string_view::npos; at = input.find( "include", at + 1 ) ) {
    std::string_view const rest = input.substr( at );
    if ( rest.substr( 0, rest.find( '\n' ) ).find( '/' ) != std::string_view::npos ) return true;
  }
  return false;
}

}  // namespace

void oneInput( std::string_view input ) {
  if ( mayReadFiles( input ) ) return;
  Reading reading( input, kName );
  auto const located = Host::readAclText( { reading.file() }, reading.diagnostics() );
  reading.check( located.has_value() );
  if ( located ) checkPolicy( *located );
}

}  // namespace Orvex::Fuzz
