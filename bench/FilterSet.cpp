#include "FilterSet.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <map>
#include <optional>
#include <string_view>

#include "PolicyBuilder.h"

namespace Orvex::Bench {

namespace {

using Vell::IpGenPrefix;

constexpr std::string_view kBlanks = " \t\r";
constexpr std::uint32_t kTcp = 6;

struct MaskedValue {
  std::uint32_t value = 0;
  std::uint32_t mask = 0;
};

struct Filter {
  IpGenPrefix source;
  IpGenPrefix destination;
  L4PortRange sourcePorts;
  L4PortRange destinationPorts;
  MaskedValue protocol;
  MaskedValue flags;
};

/// One line of a file, read from left to right.
class FilterLine {
 public:
  FilterLine( std::string_view text, std::string where ) : rest_( text ), where_( std::move( where ) ) { skipBlanks(); }

  bool isFilter() const { return !rest_.empty() && rest_.front() != '#'; }
  Filter read();

  [[noreturn]] void fail( std::string const& wrong, std::string const& right ) const {
    throw FilterSetError( where_ + ": error: " + wrong + "; " + right );
  }

 private:
  void skipBlanks() { rest_.remove_prefix( std::min( rest_.find_first_not_of( kBlanks ), rest_.size() ) ); }
  bool accept( char wanted );
  std::string_view word( std::string_view stops );
  IpGenPrefix prefix( std::string const& field );
  std::uint32_t number( std::string_view text, int base, std::uint32_t maximum, std::string const& field ) const;
  L4PortRange portRange( std::string const& field );
  MaskedValue maskedValue( std::uint32_t maximum, std::string const& field );
  MaskedValue protocol();

  std::string_view rest_;
  std::string where_;
};

Filter FilterLine::read() {
  if ( !accept( '@' ) )
    fail( "the line begins with '" + std::string( word( kBlanks ) ) + "'", "a filter begins with @" );
  Filter filter;
  filter.source = prefix( "source" );
  filter.destination = prefix( "destination" );
  if ( filter.destination.af() != filter.source.af() )
    fail( "source and destination are of different families", "both must be IPv4 or both IPv6" );
  filter.sourcePorts = portRange( "source port" );
  filter.destinationPorts = portRange( "destination port" );
  filter.protocol = protocol();
  if ( !rest_.empty() ) filter.flags = maskedValue( 0xFFFF, "flags" );
  while ( !rest_.empty() ) number( word( kBlanks ), 10, 0xFFFFFFFF, "extra field" );
  return filter;
}

bool FilterLine::accept( char wanted ) {
  if ( rest_.empty() || rest_.front() != wanted ) return false;
  rest_.remove_prefix( 1 );
  skipBlanks();
  return true;
}

/// Up to one of the stops or the end, and the blanks behind it.
std::string_view FilterLine::word( std::string_view stops ) {
  std::string_view const found = rest_.substr( 0, rest_.find_first_of( stops ) );
  rest_.remove_prefix( found.size() );
  skipBlanks();
  return found;
}

IpGenPrefix FilterLine::prefix( std::string const& field ) {
  std::string_view const text = word( kBlanks );
  try {
    return Kiv::strepToValue<IpGenPrefix>( text );
  } catch ( Kiv::Exception const& exception ) {
    fail( field + " prefix '" + std::string( text ) + "' cannot be read (" + exception.what() + ")",
          "a prefix is an address and a length, as 10.0.0.0/8 or 2001:db8::/32" );
  }
}

std::uint32_t FilterLine::number( std::string_view text, int base, std::uint32_t maximum,
                                  std::string const& field ) const {
  std::uint32_t value = 0;
  auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), value, base );
  if ( error != std::errc() || end != text.data() + text.size() || value > maximum )
    fail( field + " '" + ( base == 16 ? "0x" : "" ) + std::string( text ) + "' is not a number in the range",
          "wanted a " + std::string( base == 16 ? "hexadecimal" : "decimal" ) + " number, at most " +
              std::to_string( maximum ) );
  return value;
}

L4PortRange FilterLine::portRange( std::string const& field ) {
  static std::string const kStops = std::string( kBlanks ) + ":";
  std::uint32_t const first = number( word( kStops ), 10, L4PortField::kMaximum, field );
  if ( !accept( ':' ) ) fail( "the " + field + " range has no colon", "a range is FIRST : LAST, as 0 : 65535" );
  std::uint32_t const last = number( word( kStops ), 10, L4PortField::kMaximum, field );
  if ( first > last )
    fail( field + " range " + std::to_string( first ) + " : " + std::to_string( last ) + " is upside down",
          "the lower port comes first" );
  return { first, last };
}

/// Two hexadecimal numbers, as 0x06/0xFF.
MaskedValue FilterLine::maskedValue( std::uint32_t maximum, std::string const& field ) {
  std::string_view const text = word( kBlanks );
  std::size_t const slash = text.find( '/' );
  auto const isHex = []( std::string_view part ) { return part.substr( 0, 2 ) == "0x" || part.substr( 0, 2 ) == "0X"; };
  if ( slash == std::string_view::npos || !isHex( text ) || !isHex( text.substr( slash + 1 ) ) )
    fail( field + " '" + std::string( text ) + "' cannot be read",
          "wanted VALUE/MASK, both hexadecimal, as 0x06/0xFF" );
  return { number( text.substr( 2, slash - 2 ), 16, maximum, field ),
           number( text.substr( slash + 3 ), 16, maximum, field ) };
}

MaskedValue FilterLine::protocol() {
  MaskedValue const protocol = maskedValue( 0xFF, "protocol" );
  if ( protocol.mask != 0 && protocol.mask != 0xFF )
    fail( "protocol mask " + std::to_string( protocol.mask ) + " takes a part of the number",
          "the mask is 0xFF for one protocol and 0x00 for any" );
  return protocol;
}

/// Makes a rule of each filter.
class FilterSetBuilder {
 public:
  FilterSetBuilder( Vell::AddressFamily family, FilterSetOptions const& options )
      : options_( options ), builder_( family ) {
    result_.family = family;
  }

  void add( Filter const& filter );
  FilterSet result();

 private:
  Kiv::Ptr<IpPrefixList> listFor( IpGenPrefix const& prefix );
  void addFlags( RuleFilter& rule, Filter const& filter );

  FilterSetOptions options_;
  PolicyBuilder builder_;
  std::map<IpGenPrefix, Kiv::Ptr<IpPrefixList>> interned_;
  Kiv::Ptr<RuleFilter> firstRule_;
  FilterSet result_;
};

void FilterSetBuilder::add( Filter const& filter ) {
  Kiv::Ptr<RuleFilter> const rule = builder_.addRule()->ruleFilterIs();
  if ( !firstRule_ ) firstRule_ = rule;
  rule->sourceIs( listFor( filter.source ) );
  rule->destinationIs( listFor( filter.destination ) );
  if ( !filter.sourcePorts.isAny() ) rule->sportRangeIs( filter.sourcePorts );
  if ( !filter.destinationPorts.isAny() ) rule->dportRangeIs( filter.destinationPorts );
  if ( filter.protocol.mask != 0 ) rule->protoIs( ProtoRange( filter.protocol.value, filter.protocol.value ) );
  if ( options_.readFlags ) addFlags( *rule, filter );
  ++result_.filters;
}

Kiv::Ptr<IpPrefixList> FilterSetBuilder::listFor( IpGenPrefix const& prefix ) {
  if ( prefix.isDefaultRoute() && !options_.keepAnyLists ) return nullptr;
  if ( options_.internLists ) {
    auto const [at, isNew] = interned_.try_emplace( prefix );
    if ( !isNew ) return at->second;
    at->second = listOf( prefix );
    ++result_.prefixLists;
    return at->second;
  }
  ++result_.prefixLists;
  return listOf( prefix );
}

void FilterSetBuilder::addFlags( RuleFilter& rule, Filter const& filter ) {
  std::uint32_t const icmp = result_.family == Vell::AddressFamily::ipv4 ? 1 : 58;
  MaskedValue const& flags = filter.flags;
  if ( flags.mask == 0 ) return;
  std::uint32_t const protocol = filter.protocol.mask == 0 ? 0 : filter.protocol.value;
  if ( protocol == kTcp && flags.mask == 0x1200 && ( flags.value & flags.mask ) == 0x0200 )
    rule.matchTcpInitIs( true );
  else if ( protocol == icmp && flags.mask == 0xFF00 )
    rule.icmpTypeIs( IcmpTypeRange( flags.value >> 8, flags.value >> 8 ) );
  else
    ++result_.flagsLeftOut;
}

FilterSet FilterSetBuilder::result() {
  if ( result_.family == Vell::AddressFamily::ipv6 && result_.prefixLists == 0 ) {
    firstRule_->sourceIs( listOf( IpGenPrefix::defaultRoute( result_.family ) ) );
    ++result_.prefixLists;
  }
  result_.config = builder_.config();
  return result_;
}

}  // namespace

FilterSet readFilterSet( std::string const& path, FilterSetOptions const& options ) {
  std::ifstream in( path );
  if ( !in ) throw FilterSetError( path + ": error: cannot be opened; wanted a readable ClassBench filter set" );
  return readFilterSet( in, path, options );
}

FilterSet readFilterSet( std::istream& in, std::string const& name, FilterSetOptions const& options ) {
  std::optional<FilterSetBuilder> builder;
  std::optional<Vell::AddressFamily> family;
  std::string text;
  for ( std::size_t lineNumber = 1; std::getline( in, text ); ++lineNumber ) {
    FilterLine line( text, name + ":" + std::to_string( lineNumber ) );
    if ( !line.isFilter() ) continue;
    Filter const filter = line.read();
    if ( !builder ) builder.emplace( filter.source.af(), options );
    if ( !family ) family = filter.source.af();
    if ( filter.source.af() != family )
      line.fail( "the filter is of another family than those before it", "a set is all IPv4 or all IPv6" );
    builder->add( filter );
  }
  if ( in.bad() ) throw FilterSetError( name + ": error: reading stopped before the end; wanted a readable file" );
  if ( !builder )
    throw FilterSetError( name + ": error: there is no filter; wanted one or more lines that begin with @" );
  return builder->result();
}

}  // namespace Orvex::Bench
