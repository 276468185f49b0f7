#pragma once

/// Policies in short notation:
///
///     prefixes( "10.0.0.0/8 !10.1.0.0/16" )        a list; "!" stands before what it leaves out
///     prefixesIn( "10.0.0.0/8 !10.1.0.0/16" )      the same, in two vectors
///     numberRangesIn( "80 443-445" )               80-80 and 443-445
///     match( filter, "source 10.0.0.0/8; dport 80 443-445; established" )
///     rule( acl, 10, "web", "dport 80 443" )       a rule of that name at that place; "" matches everything

#include <cstdint>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Orvex/OrvexAclTypes.h"
#include "Orvex/OrvexGenSetValues.h"

namespace Orvex::Test {

using NumberRange = std::pair<std::uint32_t, std::uint32_t>;

inline Vell::IpGenPrefix prefix( std::string_view text ) { return Kiv::strepToValue<Vell::IpGenPrefix>( text ); }

inline std::vector<std::string> split( std::string const& text, char separator ) {
  std::vector<std::string> parts;
  std::istringstream in( text );
  for ( std::string part; std::getline( in, part, separator ); )
    if ( !part.empty() ) parts.push_back( part );
  return parts;
}

struct Prefixes {
  std::vector<Vell::IpGenPrefix> own;
  std::vector<Vell::IpGenPrefix> excepted;
};

inline Prefixes prefixesIn( std::string const& text ) {
  Prefixes result;
  for ( std::string const& word : split( text, ' ' ) )
    if ( word[0] == '!' )
      result.excepted.push_back( prefix( word.substr( 1 ) ) );
    else
      result.own.push_back( prefix( word ) );
  return result;
}

inline Kiv::Ptr<IpPrefixList> prefixes( std::string const& text ) {
  auto const list = Kiv::make<IpPrefixList>();
  Prefixes const content = prefixesIn( text );
  for ( auto const& each : content.own ) list->addrIs( each );
  for ( auto const& each : content.excepted ) list->exceptAddrIs( each );
  return list;
}

inline std::vector<NumberRange> numberRangesIn( std::string const& text ) {
  std::vector<NumberRange> all;
  for ( std::string const& word : split( text, ' ' ) ) {
    auto const ends = split( word, '-' );
    auto const number = []( std::string const& digits ) { return static_cast<std::uint32_t>( std::stoul( digits ) ); };
    all.emplace_back( number( ends.front() ), number( ends.back() ) );
  }
  return all;
}

template <auto kSetter>
void addTo( RuleFilter& filter, NumberRange range ) {
  ( filter.*kSetter )( { range.first, range.second } );
}

template <auto kGetter>
std::set<NumberRange> numbersIn( RuleFilter const& filter ) {
  std::set<NumberRange> all;
  for ( auto const& range : ( filter.*kGetter )() ) all.emplace( range.rangeStart(), range.rangeEnd() );
  return all;
}

struct RangeField {
  std::string_view name;
  void ( *add )( RuleFilter&, NumberRange );
  std::set<NumberRange> ( *ranges )( RuleFilter const& );
};

/// The range fields in the notation, in the order of RangeSetType.
inline constexpr RangeField kRangeFields[] = {
    { "sport", addTo<&RuleFilter::sportRangeIs>, numbersIn<&RuleFilter::sportRange> },
    { "dport", addTo<&RuleFilter::dportRangeIs>, numbersIn<&RuleFilter::dportRange> },
    { "icmp", addTo<&RuleFilter::icmpTypeIs>, numbersIn<&RuleFilter::icmpType> },
    { "proto", addTo<&RuleFilter::protoIs>, numbersIn<&RuleFilter::proto> },
    { "length", addTo<&RuleFilter::lengthIs>, numbersIn<&RuleFilter::length> },
    { "fragment", addTo<&RuleFilter::fragmentIs>, numbersIn<&RuleFilter::fragment> },
    { "dscp", addTo<&RuleFilter::dscpIs>, numbersIn<&RuleFilter::dscp> },
    { "ttl", addTo<&RuleFilter::ttlIs>, numbersIn<&RuleFilter::ttl> } };

inline RangeSetType rangeFieldNamed( std::string_view name ) {
  for ( std::uint32_t type = 0; type != std::size( kRangeFields ); ++type )
    if ( kRangeFields[type].name == name ) return static_cast<RangeSetType>( type );
  throw std::logic_error( "no field " + std::string( name ) );
}

inline void addRange( RuleFilter& filter, RangeSetType field, NumberRange range ) {
  kRangeFields[Kiv::enumValue( field )].add( filter, range );
}

inline std::set<NumberRange> rangesOf( RuleFilter const& filter, RangeSetType field ) {
  return kRangeFields[Kiv::enumValue( field )].ranges( filter );
}

/// "source", "destination", a range field with its values, "init", "established".
inline void match( RuleFilter& filter, std::string const& text ) {
  std::istringstream conditions( text );
  for ( std::string condition; std::getline( conditions >> std::ws, condition, ';' ); ) {
    std::istringstream words( condition );
    std::string field, values;
    words >> field;
    std::getline( words, values );
    if ( field == "source" )
      filter.sourceIs( prefixes( values ) );
    else if ( field == "destination" )
      filter.destinationIs( prefixes( values ) );
    else if ( field == "init" )
      filter.matchTcpInitIs( true );
    else if ( field == "established" )
      filter.matchTcpEstablishedIs( true );
    else {
      RangeSetType const named = rangeFieldNamed( field );
      for ( NumberRange const& range : numberRangesIn( values ) ) addRange( filter, named, range );
    }
  }
}

inline Kiv::Ptr<RuleConfig> rule( AclConfig& acl, std::uint32_t index, std::string const& name,
                                  std::string const& text ) {
  auto const made = acl.ruleByNameIs( name );
  match( *made->ruleFilterIs(), text );
  acl.ruleByIdIs( AceIndex( index ), made );
  return made;
}

}  // namespace Orvex::Test
