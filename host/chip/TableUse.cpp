#include "chip/TableUse.h"

#include <algorithm>

#include "policy/AclConfigBuilder.h"

namespace Orvex::Host {

PerResource useOf( PDData const& snapshot, Verify::TableShape const& shape ) {
  PerResource use;
  if ( snapshot.pdAclColl() ) use[Resource::ruleEntries] = snapshot.pdAclColl()->numFilters();
  for ( PrefixXformKey const space : kPrefixSpaces )
    if ( auto const table = snapshot.pdPrefixXformEntryColl().find( space ); table && shape.prefix( space ).on )
      use[prefixResourceOf( space.af() )] += table->entry().size();
  for ( Field const field : kFields )
    if ( shape.ranges[field].on )
      use[Resource::rangeEntries] += snapshot.rangeEntryColl( rangeTableOf( field ) )->entry().size();
  for ( ComboLabelSetType const type : kCombos )
    if ( shape.combo( type ).on ) use[Resource::comboEntries] += snapshot.comboEntryColl( type )->entry().size();
  return use;
}

std::vector<Cost> costliest( std::vector<Cost> costs ) {
  std::stable_sort( costs.begin(), costs.end(), []( Cost const& a, Cost const& b ) { return a.amount > b.amount; } );
  if ( costs.size() > kCostliest ) costs.resize( kCostliest );
  return costs;
}

std::vector<Cost> costliestRules( PDAclColl const& acls ) {
  std::vector<std::pair<PDAclKey, Kiv::Ptr<PDAclRuleColl>>> sorted;
  for ( auto acl = acls.pdAcl().begin(); acl; ++acl ) sorted.emplace_back( acl.key(), acl.value() );
  std::sort( sorted.begin(), sorted.end(), []( auto const& a, auto const& b ) { return a.first < b.first; } );
  std::vector<Cost> costs;
  for ( auto const& [key, acl] : sorted ) {
    std::vector<Cost> ofAcl;
    for ( auto const& [index, rule] : acl->rule() )
      ofAcl.push_back( { ruleText( key, index.value() ), rule->filter().size() } );
    for ( Cost& cost : costliest( std::move( ofAcl ) ) ) costs.push_back( std::move( cost ) );
  }
  return costliest( std::move( costs ) );
}

std::vector<Shortage> shortagesOf( ChipProfile const& profile, PDData const& snapshot ) {
  PerResource const needed = useOf( snapshot, shapeOf( profile ) );
  std::vector<Shortage> shortages;
  for ( Resource const resource : kResources ) {
    std::uint64_t const capacity = profile.capacities[resource];
    if ( needed[resource] <= capacity ) continue;
    shortages.push_back( { resource, capacity, needed[resource], {} } );
    if ( resource == Resource::ruleEntries ) shortages.back().costliest = costliestRules( *snapshot.pdAclColl() );
  }
  return shortages;
}

std::string textOf( Shortage const& shortage ) {
  std::string text = std::string( Kiv::stringValue( shortage.resource ) ) + ": there are " +
                     std::to_string( shortage.capacity ) + ", it would take " + std::to_string( shortage.needed );
  if ( shortage.costliest.empty() ) return text;
  text += "; most cost";
  char const* separator = " ";
  for ( Cost const& cost : shortage.costliest ) {
    text += separator + cost.what + " (" + std::to_string( cost.amount ) + ")";
    separator = "; ";
  }
  return text;
}

std::string ruleText( PDAclKey const& acl, std::uint32_t ruleIndex ) {
  return std::string( Kiv::stringValue( acl.af ) ) + " ACL " + userAclName( acl.aclName ).second + ", rule " +
         std::to_string( ruleIndex );
}

}  // namespace Orvex::Host
