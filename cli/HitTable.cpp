#include "HitTable.h"

#include <fmt/format.h>

#include <algorithm>

#include "Inputs.h"
#include "Kiv/FatalCheck.h"
#include "policy/AclAddresses.h"

namespace Orvex::Cli {

namespace {

/// Empty when the rule is named after its number.
std::string ownName( Host::Rule const& rule ) { return rule.name == std::to_string( rule.index ) ? "" : rule.name; }

}  // namespace

HitTable::HitTable( Host::Acl const& acl ) : acl_( acl ), ofRules_( acl.rules.size() ) {}

void HitTable::add( Verify::Verdict const& verdict, Verify::Packet const& packet ) {
  Hits* hits = &ofDefault_;
  if ( verdict.rule ) {
    auto const rule =
        std::lower_bound( acl_.rules.begin(), acl_.rules.end(), *verdict.rule,
                          []( Host::Rule const& each, std::uint32_t index ) { return each.index < index; } );
    KIV_CHECK( rule != acl_.rules.end() && rule->index == *verdict.rule );
    hits = &ofRules_[static_cast<std::size_t>( rule - acl_.rules.begin() )];
  }
  ++hits->packets;
  hits->bytes += packet.fields[Host::Field::length];
}

std::string HitTable::text() const {
  Hits all = ofDefault_;
  for ( Hits const& hits : ofRules_ ) {
    all.packets += hits.packets;
    all.bytes += hits.bytes;
  }
  std::size_t width = 4;
  for ( Host::Rule const& rule : acl_.rules ) width = std::max( width, ownName( rule ).size() );
  auto const row = [width]( std::string const& rule, std::string const& name, char const* action, Hits const& hits ) {
    return fmt::format( "{:>12}  {:<{}}  {:<6}  {:>15}  {:>18}\n", rule, name, width, action, grouped( hits.packets ),
                        grouped( hits.bytes ) );
  };

  std::string text = fmt::format( "{} ACL {}: {}, {}\n\n", Host::familyName( acl_.family ), acl_.name,
                                  counted( all.packets, "packet" ), counted( all.bytes, "byte" ) );
  text += fmt::format( "{:>12}  {:<{}}  {:<6}  {:>15}  {:>18}\n", "rule", "name", width, "action", "packets", "bytes" );
  for ( std::size_t at = 0; at != ofRules_.size(); ++at ) {
    Host::Rule const& rule = acl_.rules[at];
    text +=
        row( std::to_string( rule.index ), ownName( rule ), rule.action.dropEnabled ? "deny" : "permit", ofRules_[at] );
  }
  return text + row( "default", "", acl_.defaultAction == Host::DefaultAction::deny ? "deny" : "permit", ofDefault_ );
}

}  // namespace Orvex::Cli
