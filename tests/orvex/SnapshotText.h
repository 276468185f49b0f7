#pragma once

/// The whole content of a snapshot as lines of text, in an order that only the content decides.

#include <map>
#include <string>

#include "Kiv/Value.h"
#include "Orvex/OrvexPDData.h"

namespace Orvex::Test {

/// The fields that the entry looks at: " dport 3/65535 headFragment 1/1".
inline void writeEntry( Kiv::TextStream& text, PDAclFilter const& entry ) {
  auto const write = [&]( auto const& field ) {
    EncodedLabelWithMask const& value = entry.*field.getter;
    if ( value.mask.value() != 0 ) text << " " << field.name << " " << value.label.value() << "/" << value.mask.value();
  };
  std::apply( [&]( auto const&... field ) { ( write( field ), ... ); }, PDAclFilter::fields() );
  text << "\n";
}

inline std::string textOf( PDData const& snapshot ) {
  Kiv::TextStream text;
  auto const write = [&]( auto const& name, auto const& table ) {
    text << name << "\n";
    for ( auto const& [key, entry] : table.entry() ) text << " " << key << " " << entry.value.value() << "\n";
  };
  for ( auto at = snapshot.pdPrefixXformEntryColl().begin(); at; ++at ) write( at.key(), *at.value() );
  for ( std::uint32_t number = 0; number != Kiv::enumValue( RangeSetType::rangeSetMax ); ++number ) {
    auto const type = static_cast<RangeSetType>( number );
    write( type, *snapshot.rangeEntryColl( type ) );
  }
  for ( std::uint32_t number = 0; number != Kiv::enumValue( ComboLabelSetType::comboLabelSetMax ); ++number ) {
    auto const type = static_cast<ComboLabelSetType>( number );
    write( type, *snapshot.comboEntryColl( type ) );
  }
  std::map<PDAclKey, Kiv::Ptr<PDAclRuleColl>> acls;
  for ( auto at = snapshot.pdAclColl()->pdAcl().begin(); at; ++at ) acls.emplace( at.key(), at.value() );
  for ( auto const& [key, acl] : acls )
    for ( auto const& [index, rule] : acl->rule() ) {
      text << key << " " << index.value() << " " << rule->action() << "\n";
      for ( PDAclFilter const& entry : rule->filter() ) writeEntry( text, entry );
    }
  return text.str();
}

}  // namespace Orvex::Test
