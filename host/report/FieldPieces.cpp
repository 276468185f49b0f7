#include "report/FieldPieces.h"

#include <algorithm>
#include <map>
#include <set>

#include "chip/ChipProfile.h"

namespace Orvex::Host {

namespace {

constexpr std::size_t kMaxNamedRules = 6;
constexpr std::size_t kMaxNamedRanges = 8;

/// Where sets begin and end.
struct Changes {
  std::vector<std::size_t> begin;
  std::vector<std::size_t> end;
};

std::vector<FieldSet> setsOf( Policy const& policy, Field field ) {
  struct ByValues {
    bool operator()( RangeSet const* a, RangeSet const* b ) const { return *a < *b; }
  };
  std::map<RangeSet const*, std::vector<RuleOfAcl>, ByValues> sets;
  for ( Acl const& acl : policy.acls )
    for ( Rule const& rule : acl.rules )
      if ( !rule.ranges[field].empty() ) sets[&rule.ranges[field]].push_back( { &acl, &rule } );
  std::vector<FieldSet> result;
  result.reserve( sets.size() );
  for ( auto& [ranges, rules] : sets ) result.push_back( { ranges, std::move( rules ) } );
  return result;
}

std::vector<FieldPiece> cut( std::vector<FieldSet> const& sets, std::uint32_t maximum ) {
  std::map<std::uint32_t, Changes> changes;  // by the first value that is different
  changes[0];
  for ( std::size_t set = 0; set != sets.size(); ++set )
    for ( ValueRange const& range : *sets[set].ranges ) {
      changes[range.first].begin.push_back( set );
      changes[range.last + 1].end.push_back( set );
    }
  std::vector<FieldPiece> pieces;
  std::set<std::size_t> active;
  for ( auto change = changes.begin(); change != changes.end() && change->first <= maximum; ++change ) {
    for ( std::size_t const set : change->second.end ) active.erase( set );
    active.insert( change->second.begin.begin(), change->second.begin.end() );
    auto const next = std::next( change );
    std::uint32_t const last = next == changes.end() ? maximum : next->first - 1;
    FieldPiece piece{ { change->first, last }, std::nullopt, active.size(), {} };
    for ( auto set = active.begin(); set != active.end() && piece.sets.size() != FieldPieces::kMaxNamedSets; ++set )
      piece.sets.push_back( *set );
    pieces.push_back( std::move( piece ) );
  }
  return pieces;
}

}  // namespace

std::string namesOf( std::vector<RuleOfAcl> const& rules ) {
  std::string text;
  Acl const* acl = nullptr;
  for ( std::size_t at = 0; at != rules.size() && at != kMaxNamedRules; ++at ) {
    if ( rules[at].acl != acl )
      text.append( text.empty() ? "" : "; " )
          .append( Kiv::stringValue( rules[at].acl->family ) )
          .append( " " )
          .append( rules[at].acl->name )
          .append( " " );
    else
      text += ", ";
    acl = rules[at].acl;
    text += std::to_string( rules[at].rule->index );
  }
  if ( rules.size() > kMaxNamedRules ) text += " and " + std::to_string( rules.size() - kMaxNamedRules ) + " more";
  return text;
}

std::string valuesText( ValueRange const& range ) {
  std::string text = std::to_string( range.first );
  if ( range.last != range.first ) text.append( "-" ).append( std::to_string( range.last ) );
  return text;
}

std::string valuesText( RangeSet const& ranges ) {
  std::string text;
  for ( std::size_t at = 0; at != ranges.size() && at != kMaxNamedRanges; ++at )
    text.append( text.empty() ? "" : " " ).append( valuesText( ranges[at] ) );
  if ( ranges.size() > kMaxNamedRanges )
    text += " and " + std::to_string( ranges.size() - kMaxNamedRanges ) + " more ranges";
  return text;
}

std::size_t FieldPieces::heldPieces() const {
  return static_cast<std::size_t>(
      std::count_if( pieces.begin(), pieces.end(), []( FieldPiece const& piece ) { return piece.setCount != 0; } ) );
}

FieldPieces piecesOf( Policy const& policy, Field field, PDData const* snapshot ) {
  FieldPieces result{ field, setsOf( policy, field ), {} };
  result.pieces = cut( result.sets, maximumOf( field ) );
  if ( !snapshot ) return result;
  auto piece = result.pieces.begin();
  for ( auto const& [range, entry] : snapshot->rangeEntryColl( rangeTableOf( field ) )->entry() ) {
    while ( piece != result.pieces.end() && piece->range.last < range.first() ) ++piece;
    for ( ; piece != result.pieces.end() && piece->range.first <= range.last(); ++piece )
      piece->label = entry.value.value();
  }
  return result;
}

}  // namespace Orvex::Host
