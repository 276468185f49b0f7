#include "formats/OpenConfigKeys.h"

#include <string>

#include "input/Diagnostics.h"

namespace Orvex::Host {

namespace {

/// Of a key: a number, or a name that can have its module before it.
std::string_view keyOf( InstanceNode const& leaf ) {
  auto const* const text = leaf.json().as<std::string>();
  if ( text == nullptr ) return leaf.json().source();
  std::string_view const value = *text;
  constexpr std::string_view kModule = "openconfig-acl:";
  return value.starts_with( kModule ) ? value.substr( kModule.size() ) : value;
}

}  // namespace

std::optional<InstanceNode> configOf( InstanceNode const& entry, InstanceNode::Keys keys,
                                      InstanceNode::Members members ) {
  auto config = entry.required( "config" );
  if ( !config || !config->isObject( members ) ) return std::nullopt;
  for ( std::string_view const key : keys ) {
    auto const outside = entry.member( key );
    auto const inside = config->required( key );
    if ( outside && inside && keyOf( *outside ) != keyOf( *inside ) )
      inside->error( "this differs from the entry's key, " + std::string( outside->json().source() ),
                     "write the same in both places" );
  }
  return config;
}

}  // namespace Orvex::Host
