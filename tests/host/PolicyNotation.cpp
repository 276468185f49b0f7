#include "host/PolicyNotation.h"

#include <ostream>
#include <sstream>

#include "Kiv/Value.h"
#include "orvex/TestPolicy.h"

namespace Orvex::Host::Test {

namespace {

/// The words of each part between semicolons.
std::vector<std::vector<std::string>> partsOf( std::string const& text ) {
  std::vector<std::vector<std::string>> parts;
  std::istringstream lines( text );
  for ( std::string line; std::getline( lines, line, ';' ); ) {
    std::istringstream words( line );
    parts.emplace_back();
    for ( std::string word; words >> word; ) parts.back().push_back( word );
    if ( parts.back().empty() ) parts.pop_back();
  }
  return parts;
}

std::string joined( std::vector<std::string> const& words, std::size_t from = 0, char const* separator = " " ) {
  std::string text;
  for ( std::size_t at = from; at < words.size(); ++at ) text += ( at == from ? "" : separator ) + words[at];
  return text;
}

template <class T>
std::string valueText( T const& value ) {
  return std::string( Kiv::valueToStrep( value ).view() );
}

Field field( std::string const& name ) { return Kiv::enumInstance<Field>( Kiv::String( name ) ); }

std::uint32_t number( std::string const& digits ) { return static_cast<std::uint32_t>( std::stoul( digits ) ); }

Vell::IpGenPrefix address( std::string const& text ) {
  return prefix( text + ( text.find( ':' ) == text.npos ? "/32" : "/128" ) );
}

std::string addressText( Vell::IpGenPrefix const& address ) {
  std::string const text = valueText( address );
  return address.length() == Vell::addressWidthBits( address.af() ) ? text.substr( 0, text.find( '/' ) ) : text;
}

}  // namespace

Vell::IpGenPrefix prefix( std::string const& text ) { return Kiv::strepToValue<Vell::IpGenPrefix>( text ); }

SharedPrefixList prefixes( std::string const& text ) {
  auto const [own, excepted] = Orvex::Test::prefixesIn( text );
  return std::make_shared<PrefixList const>( PrefixList{ own, excepted } );
}

RangeSet ranges( std::string const& text ) {
  RangeSet all;
  for ( auto const& [first, last] : Orvex::Test::numberRangesIn( text ) ) all.push_back( { first, last } );
  return all;
}

Rule rule( std::uint32_t index, std::string const& text ) {
  Rule result;
  result.index = index;
  result.action.dropEnabled = index % 2 == 1;
  for ( auto const& words : partsOf( text ) ) {
    std::string const values = joined( words, 1 );
    if ( words[0] == "source" )
      result.source = prefixes( values );
    else if ( words[0] == "destination" )
      result.destination = prefixes( values );
    else if ( words[0] == "init" )
      result.tcpInit = true;
    else if ( words[0] == "established" )
      result.tcpEstablished = true;
    else
      result.ranges[field( words[0] )] = ranges( values );
  }
  return result;
}

Acl acl( std::string const& text, std::vector<Rule> rules ) {
  auto const words = partsOf( text ).at( 0 );
  Acl result;
  result.family = Vell::AddressFamilyInstance( Kiv::String( words.at( 0 ) ) );
  result.name = words.at( 1 );
  if ( words.size() > 2 ) result.defaultAction = Kiv::enumInstance<DefaultAction>( Kiv::String( words[2] ) );
  result.rules = std::move( rules );
  return result;
}

Verify::Packet packet( std::string const& text ) {
  auto const parts = partsOf( text );
  Verify::Packet result;
  result.source = address( parts.at( 0 ).at( 0 ) );
  result.destination = address( parts.at( 0 ).at( 1 ) );
  for ( std::size_t at = 1; at != parts.size(); ++at ) {
    if ( parts[at][0] == "tcpFlags" )
      result.tcpFlags = static_cast<std::uint8_t>( number( parts[at].at( 1 ) ) );
    else
      result.fields[field( parts[at][0] )] = number( parts[at].at( 1 ) );
  }
  return result;
}

std::string textOf( PrefixList const& list ) {
  std::vector<std::string> words;
  for ( Vell::IpGenPrefix const& each : list.prefixes ) words.push_back( valueText( each ) );
  for ( Vell::IpGenPrefix const& each : list.excepts )
    words.push_back( std::string( 1, '!' ).append( valueText( each ) ) );
  return joined( words );
}

std::string textOf( RangeSet const& ranges ) {
  std::vector<std::string> words;
  for ( ValueRange const range : ranges )
    words.push_back( range.first == range.last ? std::to_string( range.first )
                                               : std::to_string( range.first ) + "-" + std::to_string( range.last ) );
  return joined( words );
}

std::string textOf( Rule const& rule ) {
  std::vector<std::string> parts;
  if ( rule.source ) parts.push_back( "source " + textOf( *rule.source ) );
  if ( rule.destination ) parts.push_back( "destination " + textOf( *rule.destination ) );
  for ( Field const each : kFields )
    if ( !rule.ranges[each].empty() )
      parts.push_back( std::string( Kiv::stringValue( each ) ) + " " + textOf( rule.ranges[each] ) );
  if ( rule.tcpInit ) parts.push_back( "init" );
  if ( rule.tcpEstablished ) parts.push_back( "established" );
  return joined( parts, 0, "; " );
}

std::string textOf( Acl const& acl ) {
  std::string text = std::string( Kiv::stringValue( acl.family ) ) + " " + acl.name + " " +
                     std::string( Kiv::stringValue( acl.defaultAction ) ) + "\n";
  for ( Rule const& each : acl.rules ) text += "  " + std::to_string( each.index ) + ": " + textOf( each ) + "\n";
  return text;
}

std::string textOf( Verify::Packet const& packet ) {
  std::string text = addressText( packet.source ) + " " + addressText( packet.destination );
  for ( Field const each : kFields )
    if ( packet.fields[each] != 0 )
      text += "; " + std::string( Kiv::stringValue( each ) ) + " " + std::to_string( packet.fields[each] );
  if ( packet.tcpFlags != 0 ) text += "; tcpFlags " + std::to_string( packet.tcpFlags );
  return text;
}

}  // namespace Orvex::Host::Test

namespace Orvex::Verify {

void PrintTo( Verdict const& verdict, std::ostream* out ) {
  *out << ( verdict.rule ? "rule " + std::to_string( *verdict.rule ) : "miss" ) << ", " << verdict.action;
}

void PrintTo( Packet const& packet, std::ostream* out ) { *out << Host::Test::textOf( packet ); }

}  // namespace Orvex::Verify
