#include "policy/AclFields.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "input/NearestWord.h"
#include "policy/RangeSets.h"

namespace Orvex::Host {

namespace {

bool isDigit( char each ) { return each >= '0' && each <= '9'; }

/// Numbers and ranges of numbers, also faulty ones; addresses and prefixes have one of the other characters.
bool looksLikeNumber( std::string_view word ) {
  return !word.empty() && isDigit( word[0] ) && word.find_first_of( ".:/" ) == std::string_view::npos;
}

/// Reads the values of one field.
class ValueReader {
 public:
  ValueReader( AclLine& line, NumberWords const& words ) : line_( line ), words_( words ), maximum_( words.maximum ) {}

  RangeSet read() {
    std::string_view const op = line_.word();
    if ( line_.accept( "neq" ) ) return allBut( op );
    if ( line_.accept( "lt" ) ) return below( op );
    if ( line_.accept( "gt" ) ) return above( op );
    if ( line_.accept( "range" ) ) return { between() };
    line_.accept( "eq" );
    return list();
  }

  std::uint32_t single() {
    std::string_view const word = line_.word();
    if ( std::optional<std::uint32_t> const value = valueOf( word ) ) {
      line_.take();
      return *value;
    }
    failUnknown( word );
  }

  RangeSet list() {
    RangeSet values;
    do values.push_back( value() );
    while ( atValue() );
    return values;
  }

  ValueRange value() {
    std::string_view const word = line_.word();
    std::optional<ValueRange> const found = rangeOf( word );
    if ( !found ) failUnknown( word );
    checkOrder( word, *found );
    line_.take();
    return *found;
  }

 private:
  RangeSet allBut( std::string_view op ) {
    RangeSet rest = complementOf( list(), maximum_ );
    if ( rest.empty() ) line_.fail( op, "this excludes every " + noun() + ", so that nothing is left to match" );
    return rest;
  }

  RangeSet below( std::string_view op ) {
    std::uint32_t const bound = single();
    if ( bound == 0 ) line_.fail( op, "no " + noun() + " is less than 0" );
    return { { 0, bound - 1 } };
  }

  RangeSet above( std::string_view op ) {
    std::uint32_t const bound = single();
    if ( bound == maximum_ ) line_.fail( op, "no " + noun() + " is greater than " + std::to_string( maximum_ ) );
    return { { bound + 1, maximum_ } };
  }

  ValueRange between() {
    std::string_view const first = line_.word();
    ValueRange range{ single(), 0 };
    range.last = single();
    checkOrder( first, range );
    return range;
  }

  void checkOrder( std::string_view at, ValueRange range ) const {
    if ( range.first <= range.last ) return;
    line_.fail( at,
                "this range of " + noun() + "s ends before it starts: " + std::to_string( range.first ) + " is above " +
                    std::to_string( range.last ),
                "write the lower one first" );
  }

  bool atValue() const {
    return looksLikeNumber( line_.word() ) || ( !line_.atEnd() && rangeOf( line_.word() ).has_value() );
  }

  /// N, NAME, FIRST-LAST; names may have a hyphen too.
  std::optional<ValueRange> rangeOf( std::string_view word ) const {
    if ( auto const only = valueOf( word ) ) return ValueRange{ *only, *only };
    for ( std::size_t at = word.find( '-' ); at != std::string_view::npos; at = word.find( '-', at + 1 ) ) {
      auto const first = valueOf( word.substr( 0, at ) );
      auto const last = first ? valueOf( word.substr( at + 1 ) ) : std::nullopt;
      if ( last ) return ValueRange{ *first, *last };
    }
    return std::nullopt;
  }

  /// Fails with: AclLineError for a number beyond the field, which nothing else can be meant by.
  std::optional<std::uint32_t> valueOf( std::string_view word ) const {
    if ( word.empty() || word.find_first_not_of( "0123456789" ) != std::string_view::npos )
      return words_.names.number( word );
    if ( word.size() > 1 && word[0] == '0' )
      line_.fail( word, "numbers are decimal and have no leading zeros", "write it without the zeros" );
    std::uint32_t value = 0;
    auto const [end, error] = std::from_chars( word.data(), word.data() + word.size(), value );
    if ( error != std::errc() || value > maximum_ )
      line_.fail( word, inQuotes( word ) + " is no " + noun(), expectedNumber() );
    return value;
  }

  [[noreturn]] void failUnknown( std::string_view word ) const {
    if ( line_.atEnd() ) line_.failHere( ( noun().starts_with( 'I' ) ? "an " : "a " ) + noun() );
    NearestWord nearest( word );
    words_.names.considerFor( nearest );
    std::string const question = nearest.question();
    line_.fail( word, inQuotes( word ) + " is no " + noun(), question.empty() ? expectedNumber() : question );
  }

  std::string expectedNumber() const { return "expected a number from 0 to " + std::to_string( maximum_ ); }
  std::string noun() const { return std::string( words_.noun ); }

  AclLine& line_;
  NumberWords const& words_;
  std::uint32_t maximum_;
};

bool areAmong( RangeSet const& protocols, std::initializer_list<std::uint32_t> allowed ) {
  auto const isAllowed = [&allowed]( ValueRange range ) {
    for ( std::uint32_t value = range.first; value <= range.last; ++value )
      if ( std::find( allowed.begin(), allowed.end(), value ) == allowed.end() ) return false;
    return true;
  };
  return !protocols.empty() && std::all_of( protocols.begin(), protocols.end(), isAllowed );
}

/// Names that mean something else in the other family, or would be thought to.
void checkProtocolWord( AclLine const& line, Vell::AddressFamily family ) {
  bool const ipv4 = family == Vell::AddressFamily::ipv4;
  std::string const acl = ipv4 ? "in an IPv4 ACL" : "in an IPv6 ACL";
  std::string_view const word = line.word();
  if ( ipv4 ? word == "ipv6" : word == "ip" || word == "ipv4" )
    line.fail( word, inQuotes( word ) + " is not a protocol " + acl,
               "write " + std::string( familyKeyword( family ) ) + " for any protocol" );
  if ( ipv4 && ( word == "icmpv6" || word == "ipv6-icmp" ) )
    line.fail( word, inQuotes( word ) + " is a protocol of IPv6", "write icmp, or 58 if you mean that number" );
  if ( !ipv4 && word == "icmp" )
    line.fail( word, "\"icmp\" is a protocol of IPv4", "write icmpv6, or 1 if you mean that number" );
}

}  // namespace

RangeSet readValues( AclLine& line, NumberWords const& words ) { return ValueReader( line, words ).read(); }

bool atOperator( AclLine const& line ) {
  std::string_view const word = line.word();
  return word == "eq" || word == "neq" || word == "lt" || word == "gt" || word == "range";
}

std::uint32_t readNumber( AclLine& line, NumberWords const& words ) { return ValueReader( line, words ).single(); }

RangeSet readProtocols( AclLine& line, Vell::AddressFamily family ) {
  checkProtocolWord( line, family );
  if ( line.accept( familyKeyword( family ) ) || line.accept( "ipv4" ) ) return {};
  NumberWords const words{ "protocol", maximumOf( Field::proto ), kProtocolNames };
  RangeSet protocols;
  do {
    checkProtocolWord( line, family );
    protocols.push_back( ValueReader( line, words ).value() );
  } while ( line.accept( "," ) );
  return protocols;
}

bool allHavePorts( RangeSet const& protocols ) { return areAmong( protocols, { kTcp, kUdp, kDccp, kSctp, kUdpLite } ); }

bool allHaveIcmpTypes( RangeSet const& protocols ) {
  return areAmong( protocols, { kIcmp } ) || areAmong( protocols, { kIcmp6 } );
}

bool allHaveTcpFlags( RangeSet const& protocols ) { return areAmong( protocols, { kTcp } ); }

NumberNames const& icmpTypeNames( RangeSet const& protocols, Vell::AddressFamily family ) {
  if ( areAmong( protocols, { kIcmp } ) ) return icmpTypeNames( Vell::AddressFamily::ipv4 );
  if ( areAmong( protocols, { kIcmp6 } ) ) return icmpTypeNames( Vell::AddressFamily::ipv6 );
  return icmpTypeNames( family );
}

std::string_view familyKeyword( Vell::AddressFamily family ) {
  return family == Vell::AddressFamily::ipv4 ? "ip" : "ipv6";
}

}  // namespace Orvex::Host
