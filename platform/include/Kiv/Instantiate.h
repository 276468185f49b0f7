#pragma once

/// For collections that make their members on first use:
///
///     Kiv::Ptr<AclConfig> AclConfigColl::aclIs( Kiv::String const& name ) { return Kiv::instantiate( acl_, name ); }

#include <type_traits>

#include "Kiv/Ptr.h"

namespace Kiv {

/// The member under `key`; one made of the key and `parameters` when there is none.
template <class Map, class... Parameters>
typename Map::Value instantiate( Map& map, typename Map::Key const& key, Parameters const&... parameters ) {
  auto member = map.find( key );
  if ( !member ) {
    member = make<std::remove_reference_t<decltype( *member )>>( key, parameters... );
    map.set( key, member );
  }
  return member;
}

}  // namespace Kiv
