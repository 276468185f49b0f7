#include "policy/PolicyPlaces.h"

#include <algorithm>

namespace Orvex::Host {

namespace {

bool byIndex( PolicyPlaces::OfRule const& a, PolicyPlaces::OfRule const& b ) { return a.index < b.index; }

}  // namespace

void PolicyPlaces::aclIs( Vell::AddressFamily family, std::string name, OfAcl places ) {
  if ( !std::is_sorted( places.rules.begin(), places.rules.end(), byIndex ) )
    std::stable_sort( places.rules.begin(), places.rules.end(), byIndex );
  acls_.insert_or_assign( std::pair( family, std::move( name ) ), std::move( places ) );
}

Place PolicyPlaces::placeOf( Vell::AddressFamily family, std::string const& acl,
                             std::optional<std::uint32_t> rule ) const {
  auto const places = acls_.find( std::pair( family, acl ) );
  if ( places == acls_.end() ) return {};
  if ( !rule ) return places->second.acl;
  OfRule const* const found = this->rule( family, acl, *rule );
  return found ? found->place : places->second.acl;
}

PolicyPlaces::OfRule const* PolicyPlaces::rule( Vell::AddressFamily family, std::string const& acl,
                                                std::uint32_t index ) const {
  auto const places = acls_.find( std::pair( family, acl ) );
  if ( places == acls_.end() ) return nullptr;
  std::vector<OfRule> const& rules = places->second.rules;
  auto const found = std::lower_bound( rules.begin(), rules.end(), OfRule{ index, {} }, byIndex );
  return found == rules.end() || found->index != index ? nullptr : &*found;
}

std::optional<LocatedPolicy> normalised( LocatedPolicy located, Diagnostics& diagnostics ) {
  if ( diagnostics.failed() ) return std::nullopt;
  try {
    located.policy = normalised( std::move( located.policy ) );
  } catch ( PolicyError const& error ) {
    diagnostics.error( located.places.placeOf( error.place() ), error.problem(), error.remedy() );
    return std::nullopt;
  }
  return located;
}

}  // namespace Orvex::Host
