#include "verify/WitnessText.h"

#include <algorithm>
#include <limits>

#include "Kiv/Value.h"
#include "verify/Interpreter.h"

namespace Orvex::Verify {

namespace {

using Host::Field;

/// The first of the action's fields that differ.
std::string differingField( OrvexActionValue const& a, OrvexActionValue const& b ) {
  if ( a.dropEnabled != b.dropEnabled ) return "action.drop";
  if ( a.logEnabled != b.logEnabled ) return "action.log";
  if ( a.setDscpEnabled != b.setDscpEnabled || a.dscp != b.dscp ) return "action.dscp";
  if ( a.setTcEnabled != b.setTcEnabled || a.tc != b.tc ) return "action.tc";
  return "action.sflow";
}

/// The fields of an entry that do not agree with the packet, by their names.
std::vector<std::string_view> disagreeingFields( PDAclFilter const& entry, LookUpKey const& key ) {
  PDAclFilter const nothing;
  std::vector<std::string_view> names;
  std::apply(
      [&]( auto const&... field ) {
        auto const look = [&]( auto const& one ) {
          PDAclFilter alone = nothing;
          alone.*one.getter = entry.*one.getter;
          if ( !matches( alone, key ) ) names.push_back( one.name );
        };
        ( look( field ), ... );
      },
      PDAclFilter::fields() );
  return names;
}

/// What keeps the table's rule from matching: the field in which the nearest of its entries disagrees.
std::string fieldOfTheTable( PDAclRuleColl const* table, std::uint32_t index, LookUpKey const& key ) {
  std::vector<std::string_view> fewest;
  if ( auto const rule = table ? table->rule().find( AceIndex( index ) ) : nullptr )
    for ( PDAclFilter const& entry : rule->filter() ) {
      auto const names = disagreeingFields( entry, key );
      if ( fewest.empty() || names.size() < fewest.size() ) fewest = names;
    }
  return fewest.empty() ? "entries" : std::string( fewest.front() );
}

/// What keeps the policy's rule from matching.
std::string fieldOfThePolicy( Host::Rule const& rule, Packet const& packet ) {
  if ( !matches( rule.source, packet.source ) ) return "source";
  if ( !matches( rule.destination, packet.destination ) ) return "destination";
  for ( Field const field : Host::kFields ) {
    Host::Rule alone;
    alone.ranges[field] = rule.ranges[field];
    if ( !matches( alone, packet ) ) return std::string( Kiv::stringValue( field ) );
  }
  return "tcpFlags";
}

std::string textOf( Verdict const& verdict ) {
  return std::string( verdict.action.dropEnabled ? "deny" : "permit" ) + " (" +
         ( verdict.rule ? "rule " + std::to_string( *verdict.rule ) : "no rule" ) + ")";
}

}  // namespace

Witness witnessOf( Host::Acl const& acl, PDAclRuleColl const* table, LookUpKey const& key, Packet const& packet,
                   Verdict const& policy, Verdict const& inTable ) {
  Witness witness{ acl.family, acl.name, packet, policy, inTable, std::nullopt, {} };
  if ( policy.rule == inTable.rule ) {
    witness.rule = policy.rule;
    witness.field = policy.rule ? differingField( policy.action, inTable.action ) : "default";
    return witness;
  }
  std::uint32_t const kNone = std::numeric_limits<std::uint32_t>::max();
  std::uint32_t const index = std::min( policy.rule.value_or( kNone ), inTable.rule.value_or( kNone ) );
  witness.rule = index;
  if ( policy.rule == index ) {
    witness.field = fieldOfTheTable( table, index, key );
    return witness;
  }
  auto const rule =
      std::find_if( acl.rules.begin(), acl.rules.end(), [index]( auto const& one ) { return one.index == index; } );
  witness.field = rule == acl.rules.end() ? "entries" : fieldOfThePolicy( *rule, packet );
  return witness;
}

std::string textOf( Witness const& witness ) {
  Kiv::TextStream text;
  text << witness.family << " ACL " << witness.acl;
  if ( witness.rule ) text << ", rule " << *witness.rule;
  text << ", " << witness.field << ": a packet from " << witness.packet.source << " to " << witness.packet.destination;
  for ( Field const field : Host::kFields )
    if ( witness.packet.fields[field] != 0 ) text << ", " << field << " " << witness.packet.fields[field];
  if ( witness.packet.tcpFlags != 0 ) text << ", tcpFlags " << unsigned{ witness.packet.tcpFlags };
  text << "; policy: " << textOf( witness.policy ) << ", table: " << textOf( witness.table );
  return text.str();
}

}  // namespace Orvex::Verify
