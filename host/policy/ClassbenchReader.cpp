#include "policy/ClassbenchReader.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <utility>

#include "Kiv/Value.h"
#include "Vell/Ip4Addr.h"
#include "Vell/Ip6Addr.h"

namespace Orvex::Host {

namespace {

using Vell::AddressFamily;
using Vell::IpGenPrefix;

constexpr std::string_view kBlanks = " \t";
constexpr std::uint32_t kTcp = 6;
/// TCP, UDP, DCCP, SCTP, UDP-Lite.
constexpr std::array<std::uint32_t, 5> kProtocolsWithPorts = { 6, 17, 33, 132, 136 };

struct MaskedNumber {
  std::uint32_t value = 0;
  std::uint32_t mask = 0;
};

struct Filter {
  IpGenPrefix source;
  IpGenPrefix destination;
  ValueRange sourcePorts;
  ValueRange destinationPorts;
  MaskedNumber protocol;
  MaskedNumber flags;
  std::string_view flagsText;
};

/// What is wrong with a line; ends its reading.
struct FaultyLine {
  std::string_view part;
  std::string problem;
  std::string remedy;
};

/// A line from left to right.
class FilterLine {
 public:
  FilterLine( SourceFile const& file, std::size_t number, Diagnostics& diagnostics )
      : file_( file ), number_( number ), rest_( file.line( number ) ), diagnostics_( diagnostics ) {
    skipBlanks();
  }

  bool isFilter() const { return !rest_.empty() && rest_.front() != '#'; }
  /// Fails with: FaultyLine.
  Filter read();

 private:
  void skipBlanks() { rest_.remove_prefix( std::min( rest_.find_first_not_of( kBlanks ), rest_.size() ) ); }
  std::string_view word( std::string_view stops, std::string_view what );
  IpGenPrefix prefix( std::string_view what );
  static std::uint32_t decimal( std::string_view text, std::uint32_t maximum, std::string_view what );
  ValueRange portRange( std::string_view what );
  static MaskedNumber maskedNumber( std::string_view text, std::uint32_t maximum, std::string_view what );

  SourceFile const& file_;
  std::size_t number_;
  std::string_view rest_;
  Diagnostics& diagnostics_;
};

Filter FilterLine::read() {
  if ( rest_.front() != '@' )
    throw FaultyLine{ rest_.substr( 0, rest_.find_first_of( kBlanks ) ), "a filter begins with @",
                      "as in @10.0.0.0/8 0.0.0.0/0 0 : 65535 80 : 80 0x06/0xFF" };
  rest_.remove_prefix( 1 );
  Filter filter;
  filter.source = prefix( "source prefix" );
  std::string_view const destination = rest_.substr( 0, rest_.find_first_of( kBlanks ) );
  filter.destination = prefix( "destination prefix" );
  if ( filter.destination.af() != filter.source.af() )
    throw FaultyLine{ destination, "source and destination are of different families", "write both in IPv4 or IPv6" };
  filter.sourcePorts = portRange( "source port" );
  filter.destinationPorts = portRange( "destination port" );
  filter.protocol = maskedNumber( word( kBlanks, "protocol" ), 0xFF, "protocol" );
  if ( !rest_.empty() ) {
    filter.flagsText = word( kBlanks, "flags" );
    filter.flags = maskedNumber( filter.flagsText, 0xFFFF, "flags" );
  }
  while ( !rest_.empty() ) decimal( word( kBlanks, "extra field" ), 0xFFFFFFFF, "extra field" );
  return filter;
}

/// Up to one of the stops or the end, and the blanks behind it.
std::string_view FilterLine::word( std::string_view stops, std::string_view what ) {
  std::string_view const found = rest_.substr( 0, rest_.find_first_of( stops ) );
  if ( found.empty() )
    throw FaultyLine{ rest_.substr( 0, 1 ), "the " + std::string( what ) + " is missing",
                      "a filter is @SOURCE DESTINATION FIRST : LAST FIRST : LAST PROTOCOL/MASK FLAGS/MASK" };
  rest_.remove_prefix( found.size() );
  skipBlanks();
  return found;
}

IpGenPrefix FilterLine::prefix( std::string_view what ) {
  std::string_view const text = word( kBlanks, what );
  std::size_t const slash = text.find( '/' );
  auto const family = text.find( ':' ) == std::string_view::npos ? AddressFamily::ipv4 : AddressFamily::ipv6;
  if ( slash == std::string_view::npos )
    throw FaultyLine{ text, "this " + std::string( what ) + " has no length", "write ADDRESS/LENGTH" };
  std::uint32_t const length = decimal( text.substr( slash + 1 ), Vell::addressWidthBits( family ), "prefix length" );
  Kiv::TextReader reader( text.substr( 0, slash ) );
  try {
    bool const ipv4 = family == AddressFamily::ipv4;
    std::uint32_t const width = Vell::addressWidthBits( family );
    IpGenPrefix const address =
        ipv4 ? IpGenPrefix( Vell::readIp4Addr( reader ), width ) : IpGenPrefix( Vell::Ip6Addr::read( reader ), width );
    reader.expectEnd();
    IpGenPrefix const result =
        ipv4 ? IpGenPrefix( address.ipv4Address(), length ) : IpGenPrefix( address.ipv6Address(), length );
    IpGenPrefix const first =
        ipv4 ? IpGenPrefix( result.ipv4Address(), width ) : IpGenPrefix( result.ipv6Address(), width );
    if ( first != address )
      diagnostics_.warning( file_.placeOf( number_, text ), "this address has bits beyond its prefix length",
                            "it is read as " + textOf( result ) );
    return result;
  } catch ( Kiv::ParseException const& ) {
    throw FaultyLine{ text, inQuotes( text ) + " is no prefix", "write it as 10.0.0.0/8 or 2001:db8::/32" };
  }
}

std::uint32_t FilterLine::decimal( std::string_view text, std::uint32_t maximum, std::string_view what ) {
  std::uint32_t value = 0;
  auto const [end, error] = std::from_chars( text.data(), text.data() + text.size(), value );
  if ( text.empty() || error != std::errc() || end != text.data() + text.size() || value > maximum )
    throw FaultyLine{ text, inQuotes( text ) + " is no " + std::string( what ),
                      "write a decimal number, at most " + std::to_string( maximum ) };
  return value;
}

ValueRange FilterLine::portRange( std::string_view what ) {
  constexpr std::string_view kStops = " \t:";
  constexpr std::uint32_t kMaximum = maximumOf( Field::dport );
  char const* const begin = rest_.data();
  std::uint32_t const first = decimal( word( kStops, what ), kMaximum, what );
  if ( rest_.empty() || rest_.front() != ':' )
    throw FaultyLine{ rest_.substr( 0, 1 ), "the " + std::string( what ) + " range has no colon",
                      "write FIRST : LAST, as 0 : 65535" };
  rest_.remove_prefix( 1 );
  skipBlanks();
  std::string_view const lastText = word( kStops, what );
  std::uint32_t const last = decimal( lastText, kMaximum, what );
  if ( first > last ) {
    std::string_view const whole( begin, static_cast<std::size_t>( lastText.data() + lastText.size() - begin ) );
    throw FaultyLine{ whole, "this range ends before it begins",
                      "write " + std::to_string( last ) + " : " + std::to_string( first ) };
  }
  return { first, last };
}

/// Two hexadecimal numbers, as 0x06/0xFF.
MaskedNumber FilterLine::maskedNumber( std::string_view text, std::uint32_t maximum, std::string_view what ) {
  auto const number = [maximum]( std::string_view part ) -> std::optional<std::uint32_t> {
    if ( part.size() < 3 || part[0] != '0' || ( part[1] | 0x20 ) != 'x' ) return std::nullopt;
    std::uint32_t value = 0;
    auto const [end, error] = std::from_chars( part.data() + 2, part.data() + part.size(), value, 16 );
    bool const good = error == std::errc() && end == part.data() + part.size() && value <= maximum;
    return good ? std::optional( value ) : std::nullopt;
  };
  std::size_t const slash = text.find( '/' );
  auto const value = number( text.substr( 0, slash ) );
  auto const mask = slash == std::string_view::npos ? std::nullopt : number( text.substr( slash + 1 ) );
  if ( !value || !mask )
    throw FaultyLine{ text, inQuotes( text ) + " are no " + std::string( what ) + " and mask",
                      maximum == 0xFF ? "write two hexadecimal numbers of at most 0xFF, as 0x06/0xFF"
                                      : "write two hexadecimal numbers of at most 0xFFFF, as 0x0200/0x1200" };
  return { *value, *mask };
}

/// The protocols that agree with the number in the bits of the mask.
RangeSet protocolsOf( MaskedNumber const& protocol ) {
  RangeSet values;
  if ( protocol.mask == 0 ) return values;
  if ( protocol.mask == maximumOf( Field::proto ) ) return { { protocol.value, protocol.value } };
  for ( std::uint32_t value = 0; value <= maximumOf( Field::proto ); ++value ) {
    if ( ( ( value ^ protocol.value ) & protocol.mask ) != 0 ) continue;
    if ( !values.empty() && values.back().last + 1 == value )
      values.back().last = value;
    else
      values.push_back( { value, value } );
  }
  return values;
}

bool isAny( ValueRange const& ports ) { return ports == ValueRange{ 0, maximumOf( Field::dport ) }; }

/// Makes an ACL of a file.
class FilterSetReader {
 public:
  FilterSetReader( ClassbenchOptions const& options, Diagnostics& diagnostics )
      : options_( options ), diagnostics_( diagnostics ) {}

  void read( SourceFile const& file, LocatedPolicy& result );

 private:
  struct PrefixHash {
    std::size_t operator()( IpGenPrefix const& prefix ) const noexcept { return prefix.hash(); }
  };

  void add( SourceFile const& file, std::size_t number, Filter const& filter );
  SharedPrefixList listOf( IpGenPrefix const& prefix );
  void addFlags( Rule& rule, Filter const& filter );
  OrvexActionValue actionOf( std::uint32_t index ) const;
  void report( SourceFile const& file ) const;

  ClassbenchOptions const& options_;
  Diagnostics& diagnostics_;
  Acl acl_;
  PolicyPlaces::OfAcl places_;
  std::unordered_map<IpGenPrefix, SharedPrefixList, PrefixHash> lists_;
  std::size_t flagsLeftOut_ = 0;
  std::size_t portsWithoutMeaning_ = 0;
};

void FilterSetReader::read( SourceFile const& file, LocatedPolicy& result ) {
  std::string const stem = std::filesystem::path( file.name() ).stem().string();
  acl_.name = file.name() == SourceFile::kStandardInput ? "stdin" : stem;
  places_.acl = file.whole();
  acl_.rules.reserve( file.lineCount() );
  places_.rules.reserve( file.lineCount() );
  for ( std::size_t number = 1; number <= file.lineCount() && !diagnostics_.tooManyErrors(); ++number ) {
    if ( !file.lineIsText( number ) ) continue;
    FilterLine line( file, number, diagnostics_ );
    if ( !line.isFilter() ) continue;
    try {
      add( file, number, line.read() );
    } catch ( FaultyLine const& fault ) {
      diagnostics_.error( file.placeOf( number, fault.part ), fault.problem, fault.remedy );
    }
  }
  report( file );
  result.places.aclIs( acl_.family, acl_.name, std::move( places_ ) );
  result.policy.acls.push_back( std::move( acl_ ) );
}

void FilterSetReader::add( SourceFile const& file, std::size_t number, Filter const& filter ) {
  if ( acl_.rules.empty() ) acl_.family = filter.source.af();
  if ( filter.source.af() != acl_.family )
    throw FaultyLine{ file.line( number ), "this filter is not of the family of those before it",
                      "keep IPv4 and IPv6 filters in files of their own" };
  Rule rule;
  rule.index = static_cast<std::uint32_t>( acl_.rules.size() + 1 );
  rule.action = actionOf( rule.index );
  rule.source = listOf( filter.source );
  rule.destination = listOf( filter.destination );
  if ( !isAny( filter.sourcePorts ) ) rule.ranges[Field::sport] = { filter.sourcePorts };
  if ( !isAny( filter.destinationPorts ) ) rule.ranges[Field::dport] = { filter.destinationPorts };
  rule.ranges[Field::proto] = protocolsOf( filter.protocol );
  addFlags( rule, filter );

  RangeSet const& protocols = rule.ranges[Field::proto];
  bool const havePorts = !protocols.empty() && std::all_of( protocols.begin(), protocols.end(), []( auto const& each ) {
    return each.first == each.last && std::count( kProtocolsWithPorts.begin(), kProtocolsWithPorts.end(), each.first );
  } );
  bool const namesPorts = !rule.ranges[Field::sport].empty() || !rule.ranges[Field::dport].empty();
  if ( namesPorts && !havePorts ) ++portsWithoutMeaning_;
  places_.rules.push_back( { rule.index, file.placeOf( number, file.line( number ) ) } );
  acl_.rules.push_back( std::move( rule ) );
}

SharedPrefixList FilterSetReader::listOf( IpGenPrefix const& prefix ) {
  auto& list = lists_[prefix];
  if ( !list ) list = std::make_shared<PrefixList const>( PrefixList{ { prefix }, {} } );
  return list;
}

OrvexActionValue FilterSetReader::actionOf( std::uint32_t index ) const {
  OrvexActionValue action;
  action.dropEnabled =
      options_.action == ClassbenchAction::deny || ( options_.action == ClassbenchAction::alternate && index % 2 == 0 );
  return action;
}

void FilterSetReader::addFlags( Rule& rule, Filter const& filter ) {
  if ( filter.flags.mask == 0 ) return;
  if ( options_.flags == ClassbenchFlags::ignore ) {
    ++flagsLeftOut_;
    return;
  }
  std::uint32_t const icmp = acl_.family == AddressFamily::ipv4 ? 1 : 58;
  bool const isExact = filter.protocol.mask == 0xFF;
  std::uint32_t const value = filter.flags.value & filter.flags.mask;
  if ( isExact && filter.protocol.value == kTcp && filter.flags.mask == 0x1200 && value == 0x0200 )
    rule.tcpInit = true;
  else if ( isExact && filter.protocol.value == icmp && filter.flags.mask == 0xFF00 )
    rule.ranges[Field::icmpType] = { { value >> 8U, value >> 8U } };
  else
    throw FaultyLine{ filter.flagsText, "a table cannot express these flags",
                      "it has 0x0200/0x1200 of TCP, TYPE/0xff00 of ICMP, and 0x0000/0x0000; without "
                      "--classbench-flags honour flags are left out" };
}

void FilterSetReader::report( SourceFile const& file ) const {
  auto const filters = []( std::size_t count ) {
    return std::to_string( count ) + ( count == 1 ? " filter" : " filters" );
  };
  if ( flagsLeftOut_ != 0 )
    diagnostics_.warning( file.whole(), "the flags of " + filters( flagsLeftOut_ ) + " are left out",
                          "--classbench-flags honour takes them where a table can express them" );
  if ( portsWithoutMeaning_ != 0 )
    diagnostics_.note( file.whole(),
                       filters( portsWithoutMeaning_ ) +
                           " match ports on protocols without ports; packets are taken to have the fields" );
  if ( acl_.rules.empty() && !diagnostics_.failed() )
    diagnostics_.warning( file.whole(), "there is no filter", "a filter begins with @" );
}

}  // namespace

bool looksLikeClassbench( SourceFile const& file ) {
  for ( std::size_t number = 1; number <= file.lineCount(); ++number ) {
    std::string_view const line = file.line( number );
    std::size_t const begin = line.find_first_not_of( kBlanks );
    if ( begin != std::string_view::npos && line[begin] != '#' ) return line[begin] == '@';
  }
  return false;
}

std::optional<LocatedPolicy> readClassbench( std::span<std::shared_ptr<SourceFile const> const> files,
                                             ClassbenchOptions const& options, Diagnostics& diagnostics ) {
  LocatedPolicy result;
  for ( auto const& file : files ) FilterSetReader( options, diagnostics ).read( *file, result );
  return normalised( std::move( result ), diagnostics );
}

}  // namespace Orvex::Host
