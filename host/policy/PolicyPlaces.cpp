#include "policy/PolicyPlaces.h"

namespace Orvex::Host {

Place PolicyPlaces::placeOf( Vell::AddressFamily family, std::string const& acl,
                             std::optional<std::uint32_t> rule ) const {
  auto const places = acls_.find( std::pair( family, acl ) );
  if ( places == acls_.end() ) return {};
  if ( !rule ) return places->second.acl;
  auto const found = places->second.rules.find( *rule );
  return found == places->second.rules.end() ? places->second.acl : found->second;
}

}  // namespace Orvex::Host
