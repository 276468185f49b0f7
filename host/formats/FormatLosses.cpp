#include "formats/FormatLosses.h"

#include <optional>

#include "Kiv/Value.h"

namespace Orvex::Host {

FormatLosses::OfAcl& FormatLosses::lossesOf( std::string_view what, Acl const& acl ) {
  auto const known = kinds_.find( what );
  std::vector<OfAcl>& acls = known != kinds_.end() ? known->second : kinds_[std::string( what )];
  if ( acls.empty() || acls.back().acl != &acl ) acls.push_back( { &acl, {} } );
  return acls.back();
}

void FormatLosses::add( std::string_view what, Acl const& acl ) { lossesOf( what, acl ); }

void FormatLosses::add( std::string_view what, Acl const& acl, Rule const& rule ) {
  auto& rules = lossesOf( what, acl ).rules;
  if ( rules.empty() || rules.back() != &rule ) rules.push_back( &rule );  // source and destination may lose the same
}

void FormatLosses::report( PolicyPlaces const& places, Diagnostics& diagnostics ) const {
  for ( auto const& [what, acls] : kinds_ ) {
    std::string text = std::string( format_ ) + " " + what + ":";
    for ( OfAcl const& each : acls ) {
      text += ( text.back() == ':' ? " " : "; " ) + std::string( Kiv::stringValue( each.acl->family ) ) + " " +
              each.acl->name;
      for ( Rule const* const rule : each.rules )
        text += ( rule == each.rules.front() ? " " : ", " ) + std::to_string( rule->index );
    }
    Acl const& first = *acls.front().acl;
    std::optional<std::uint32_t> rule;
    if ( !acls.front().rules.empty() ) rule = acls.front().rules.front()->index;
    diagnostics.error( places.placeOf( first.family, first.name, rule ), std::move( text ) );
  }
}

}  // namespace Orvex::Host
