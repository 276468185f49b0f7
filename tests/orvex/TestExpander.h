#pragma once

/// A rule expander without the stages before it: encoded lists and rules are given in short notation.
///
///     lists( "source 1: 01** 1000; dport 2: 0001" )         lists of ternary entries, "*" for a bit that does not count
///     combine( ComboLabelSetType::srcDstL4Port, 1, 2, 9 )   sets 1 and 2 have the combination set 9
///     rule( "edge", 10, "source 1 dport 2 init" )           a rule of the keys of its sets
///     entries( "edge", 10 )                                 "source 01** dport 0001 headFragment 1 tcpFlag ***0**1* | ..."

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>

#include "Orvex/OrvexRuleExpanderSm.h"
#include "orvex/TestPolicy.h"
#include "orvex/TestSets.h"

namespace Orvex::Test {

using Vell::AddressFamily;

inline EncodedLabelWithMask ternary( std::string_view bits ) {
  unsigned label = 0, mask = 0;
  for ( char const bit : bits ) {
    label = label << 1 | ( bit == '1' );
    mask = mask << 1 | ( bit != '*' );
  }
  return { EncodedLabel( static_cast<std::uint16_t>( label ) ), LabelMask( static_cast<std::uint16_t>( mask ) ) };
}

inline std::string ternaryText( EncodedLabelWithMask const& entry, unsigned width ) {
  std::string text;
  for ( unsigned bit = width; bit-- != 0; ) {
    bool const counts = ( entry.mask.value() >> bit & 1U ) != 0;
    text += !counts ? '*' : ( entry.label.value() >> bit & 1U ) != 0 ? '1' : '0';
  }
  return text;
}

/// The fields that are not left out; "any" without one.
inline std::string filterText( PDAclFilter const& filter ) {
  std::string text;
  auto const add = [&]( std::string_view name, EncodedLabelWithMask const& entry ) {
    if ( entry == EncodedLabelWithMask() ) return;
    unsigned const width = name == "headFragment" ? 1 : name == "tcpFlag" ? 8 : 4;
    text.append( text.empty() ? "" : " " ).append( name ).append( " " ).append( ternaryText( entry, width ) );
  };
  std::apply( [&]( auto const&... field ) { ( add( field.name, filter.*field.getter ), ... ); },
              PDAclFilter::fields() );
  return text.empty() ? "any" : text;
}

struct Expander : Stage<RuleExpanderConfig, RuleExpanderStatus, RuleExpanderSm> {
  Expander() {
    config = Kiv::make<RuleExpanderConfig>( aggregated );
    status = Kiv::make<RuleExpanderStatus>( Kiv::make<PDAclColl>() );
    machine = Kiv::make<RuleExpanderSm>( Brae::ChipId( 1 ), config, status );
  }

  // Input

  /// Fields are those of rules, "source6" and "destination6" for IPv6, and the names of combination types.
  void lists( std::string const& text ) {
    for ( std::string const& list : split( text, ';' ) ) {
      auto const sides = split( list, ':' );
      auto const name = split( sides[0], ' ' );
      auto const made = listIs( name[0], std::stoull( name[1] ) );
      if ( sides.size() == 2 )
        for ( std::string const& bits : split( sides[1], ' ' ) ) made->encLabelAndMaskIs( ternary( bits ) );
    }
  }

  Kiv::Ptr<EncodedLabelWithMaskList> listIs( std::string const& field, std::uint64_t key ) {
    return encoder( field )->encodedLabelListIs( GenSetKey( key ) );
  }

  Kiv::Ptr<ComboLabelInfo> combine( ComboLabelSetType type, std::uint64_t src, std::uint64_t dst,
                                    std::uint64_t combo ) {
    auto& info = combos[type];
    if ( !info ) config->comboLabelInfoIs( type, info = Kiv::make<ComboLabelInfo>( type ) );
    info->srcDstToComboMapIs( { GenSetKey( src ), GenSetKey( dst ) }, GenSetKey( combo ) );
    return info;
  }

  Kiv::Ptr<AclGenSetIpRuleList> acl( std::string const& name, AddressFamily af = AddressFamily::ipv4 ) const {
    auto const made = aggregated->aclGenSetIpRuleListIs( name );
    made->afIs( af );
    return made;
  }

  /// Its name is that of the ACL with the index. Adds to the ACL, which is of IPv4 unless it has been made before.
  Kiv::Ptr<GenSetIpRule> rule( std::string const& aclName, std::uint32_t index, std::string const& text ) const {
    auto const list = aggregated->aclGenSetIpRuleListIs( aclName );
    auto const made = list->genSetIpRuleIs( aclName + std::to_string( index ) );
    list->genSetIpRuleByIdIs( AceIndex( index ), made );
    std::istringstream words( text );
    for ( std::string field; words >> field; ) {
      std::uint64_t key = 0;
      if ( field == "init" )
        made->matchTcpInitIs( true );
      else if ( field == "established" )
        made->matchTcpEstablishedIs( true );
      else if ( words >> key; field == "source" )
        made->sourceIs( GenSetKey( key ) );
      else if ( field == "destination" )
        made->destinationIs( GenSetKey( key ) );
      else
        made->rangeIs( rangeFieldNamed( field ), GenSetKey( key ) );
    }
    return made;
  }

  // Output

  PDAclColl const& output() const { return *status->ruleExpanderLoaderInfo(); }

  Kiv::Ptr<PDAclRuleColl> rulesOf( std::string const& aclName ) const {
    for ( auto const af : { AddressFamily::ipv4, AddressFamily::ipv6 } )
      if ( auto const found = output().pdAcl().find( PDAclKey( af, aclName ) ) ) return found;
    return nullptr;
  }

  /// In ascending order; "" without entries, "none" without a rule.
  std::string entries( std::string const& aclName, std::uint32_t index ) const {
    auto const rules = rulesOf( aclName );
    auto const made = rules ? rules->rule().find( AceIndex( index ) ) : nullptr;
    if ( !made ) return "none";
    std::string text;
    for ( PDAclFilter const& filter : made->filter() )
      text.append( text.empty() ? "" : " | " ).append( filterText( filter ) );
    return text;
  }

  Kiv::Ptr<AggregatorStatus> aggregated = Kiv::make<AggregatorStatus>();

 private:
  Kiv::Ptr<EncoderStatus> encoder( std::string const& field ) {
    auto& made = encoders[field];
    if ( made ) return made;
    made = Kiv::make<EncoderStatus>();
    auto const* const combo =
        std::find( kComboLabelSetTypeNames.begin(), kComboLabelSetTypeNames.end(), std::string_view( field ) );
    if ( field == "source" || field == "destination" )
      config->prefixEncoderStatusIs( PrefixXformKey( AddressFamily::ipv4, field == "source" ), made );
    else if ( field == "source6" || field == "destination6" )
      config->prefixEncoderStatusIs( PrefixXformKey( AddressFamily::ipv6, field == "source6" ), made );
    else if ( combo != kComboLabelSetTypeNames.end() )
      config->comboLabelEncoderStatusIs( static_cast<ComboLabelSetType>( combo - kComboLabelSetTypeNames.begin() ),
                                         made );
    else
      config->rangeEncoderStatusIs( rangeFieldNamed( field ), made );
    return made;
  }

  std::map<ComboLabelSetType, Kiv::Ptr<ComboLabelInfo>> combos;
  std::map<std::string, Kiv::Ptr<EncoderStatus>> encoders;
};

}  // namespace Orvex::Test
