#include "SmallWorld.h"

#include <functional>
#include <utility>

#include "packets/AddressNumber.h"
#include "policy/Normalise.h"

namespace Orvex::Soak {

namespace {

using Host::ChipProfile;
using Host::Field;
using Host::PrefixList;
using Host::Rule;
using Vell::AddressFamily;
using Verify::Packet;

/// What rules can say about one part of a packet, and what packets can have there. The first match says nothing.
struct Axis {
  std::vector<std::function<void( Rule& )>> matches;
  std::vector<std::function<void( Packet& )>> values;
};

// Addresses

constexpr std::uint32_t kNetwork = 0x0A000000;

enum class Lists : std::uint32_t { prefixes, prefixesWithAnExcept, setsOfAddresses };

/// The prefixes that differ in the last bits of their addresses only, the shortest first.
std::vector<Vell::IpGenPrefix> lastPrefixes( AddressFamily family, std::uint32_t bits ) {
  std::uint32_t const width = Vell::addressWidthBits( family );
  std::vector<Vell::IpGenPrefix> prefixes;
  for ( std::uint32_t length = width - bits; length <= width; ++length )
    for ( std::uint32_t at = 0; at != 1U << ( length + bits - width ); ++at )
      prefixes.push_back( Host::prefixOf( family, kNetwork + ( at << ( width - length ) ), length ) );
  return prefixes;
}

std::vector<PrefixList> listsOf( AddressFamily family, std::uint32_t bits, Lists lists ) {
  std::vector<PrefixList> made;
  if ( lists == Lists::setsOfAddresses ) {
    for ( std::uint32_t set = 1; set != 1U << ( 1U << bits ); ++set ) {
      made.emplace_back();
      for ( std::uint32_t at = 0; at != 1U << bits; ++at )
        if ( ( set >> at & 1U ) != 0 ) made.back().prefixes.push_back( Host::addressOf( family, kNetwork + at ) );
    }
    return made;
  }
  auto const prefixes = lastPrefixes( family, bits );
  for ( auto const& prefix : prefixes ) made.push_back( { { prefix }, {} } );
  if ( lists == Lists::prefixes ) return made;
  made.push_back( { {}, { Vell::IpGenPrefix::defaultRoute( family ) } } );
  for ( auto const& outer : prefixes )
    for ( auto const& inner : prefixes )
      if ( outer != inner && outer.contains( inner ) ) made.push_back( { { outer }, { inner } } );
  return made;
}

Axis addresses( AddressFamily family, bool isSource, std::uint32_t bits, Lists lists ) {
  auto const side = isSource ? &Rule::source : &Rule::destination;
  auto const packetSide = isSource ? &Packet::source : &Packet::destination;
  Axis axis{ { []( Rule& ) {} }, {} };
  for ( PrefixList const& list : listsOf( family, bits, lists ) )
    axis.matches.emplace_back(
        [side, shared = std::make_shared<PrefixList const>( list )]( Rule& rule ) { rule.*side = shared; } );
  // The last one is outside.
  for ( std::uint32_t at = 0; at <= 1U << bits; ++at )
    axis.values.emplace_back( [packetSide, address = Host::addressOf( family, kNetwork + at )]( Packet& packet ) {
      packet.*packetSide = address;
    } );
  return axis;
}

/// The same address in every packet.
Axis anyAddress( AddressFamily family, bool isSource ) {
  Axis axis = addresses( family, isSource, 0, Lists::prefixes );
  axis.matches.resize( 1 );
  axis.values.resize( 1 );
  return axis;
}

// Numbers

enum class Sets : std::uint32_t { any, ranges, all };

/// The field's values in so many pieces: the first ones, the last ones, and all that is between.
std::vector<Host::ValueRange> piecesOf( Field field, std::uint32_t bits ) {
  std::uint32_t const count = 1U << bits;
  std::vector<Host::ValueRange> pieces;
  for ( std::uint32_t at = 0; at <= count / 2; ++at ) pieces.push_back( { at, at } );
  for ( std::uint32_t left = count - count / 2 - 1; left != 0; --left )
    pieces.push_back( { Host::maximumOf( field ) + 1 - left, Host::maximumOf( field ) + 1 - left } );
  for ( std::size_t at = 0; at != pieces.size(); ++at )
    pieces[at].last = at + 1 == pieces.size() ? Host::maximumOf( field ) : pieces[at + 1].first - 1;
  return pieces;
}

Axis numbers( Field field, std::uint32_t bits, Sets sets ) {
  auto const pieces = piecesOf( field, bits );
  std::uint32_t const whole = ( 1U << pieces.size() ) - 1;
  Axis axis{ { []( Rule& ) {} }, {} };
  for ( std::uint32_t set = 1; sets != Sets::any && set != whole; ++set ) {
    std::uint32_t const lowest = set & ( ~set + 1 );
    bool const isRange = ( set & ( set + lowest ) ) == 0;
    if ( sets == Sets::ranges && !isRange ) continue;
    Host::RangeSet ranges;
    for ( std::size_t at = 0; at != pieces.size(); ++at )
      if ( ( set >> at & 1U ) != 0 ) ranges.push_back( pieces[at] );
    axis.matches.emplace_back( [field, ranges]( Rule& rule ) { rule.ranges[field] = ranges; } );
  }
  for ( auto const& piece : pieces )
    axis.values.emplace_back( [field, value = piece.last]( Packet& packet ) { packet.fields[field] = value; } );
  return axis;
}

Axis tcpFlags() {
  Axis axis{
      { []( Rule& ) {}, []( Rule& rule ) { rule.tcpInit = true; }, []( Rule& rule ) { rule.tcpEstablished = true; } },
      {} };
  for ( int const flags : { 0x00, 0x02, 0x04, 0x10, 0x12, 0x06 } )
    axis.values.emplace_back( [flags]( Packet& packet ) { packet.tcpFlags = static_cast<std::uint8_t>( flags ); } );
  return axis;
}

// Worlds

template <class Thing, class Changes>
std::vector<Thing> product( std::vector<Axis> const& axes, Changes Axis::*changes ) {
  std::vector<Thing> all( 1 );
  for ( Axis const& axis : axes ) {
    std::vector<Thing> more;
    for ( Thing const& thing : all )
      for ( auto const& change : axis.*changes ) {
        more.push_back( thing );
        change( more.back() );
      }
    all = std::move( more );
  }
  return all;
}

SmallWorld worldOf( std::string name, ChipProfile profile, std::uint32_t maxRules, std::vector<Axis> const& axes ) {
  std::vector<Rule> rules;
  for ( Rule const& match : product<Rule>( axes, &Axis::matches ) )
    for ( auto const action : { Host::DefaultAction::permit, Host::DefaultAction::deny } ) {
      rules.push_back( match );
      rules.back().action = Host::actionOf( action );
    }
  profile.name = name;
  return { std::move( name ), std::move( profile ), maxRules, std::move( rules ),
           product<Packet>( axes, &Axis::values ) };
}

/// Labels that are as wide, and stand for absence as the world needs it to be tried; 0 switches them off.
ChipProfile chipWith( std::uint32_t rangeBits, std::uint32_t comboBits, LabelPlacement placement ) {
  ChipProfile profile;
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) profile.prefix( space ) = { 6, space.src() ? 0U : 63U };
  if ( rangeBits != 0 )
    for ( Field const field : Host::kFields )
      profile.ranges[field] = { rangeBits, field == Field::dport ? ( 1U << rangeBits ) - 1 : 0 };
  if ( comboBits != 0 )
    for ( ComboLabelSetType const type : Host::kCombos ) profile.combo( type ) = { comboBits, 1 };
  for ( Host::Resource const resource : Host::kResources ) profile.capacities[resource] = Host::kUnlimited;
  profile.labelPlacement = placement;
  return profile;
}

std::vector<SmallWorld> makeWorlds() {
  constexpr auto kIpv4 = AddressFamily::ipv4;
  constexpr auto kIpv6 = AddressFamily::ipv6;
  constexpr auto kCost = LabelPlacement::costOrder;
  constexpr auto kNested = LabelPlacement::nested;
  Axis const source = anyAddress( kIpv4, true );
  Axis const destination = anyAddress( kIpv4, false );
  Axis const fragments = numbers( Field::fragment, 1, Sets::any );
  Axis const ports = numbers( Field::dport, 3, Sets::ranges );
  return { worldOf( "source addresses", chipWith( 6, 0, kCost ), 3,
                    { addresses( kIpv4, true, 3, Lists::prefixesWithAnExcept ), destination } ),
           worldOf( "sets of destination addresses", chipWith( 6, 0, kNested ), 2,
                    { anyAddress( kIpv6, true ), addresses( kIpv6, false, 3, Lists::setsOfAddresses ) } ),
           worldOf( "ports", chipWith( 6, 0, kCost ), 3, { source, destination, fragments, ports } ),
           worldOf( "ports by value", chipWith( 0, 0, kCost ), 3, { source, destination, fragments, ports } ),
           worldOf( "sets of ports", chipWith( 6, 0, kNested ), 2,
                    { source, destination, fragments, numbers( Field::sport, 3, Sets::all ) } ),
           worldOf( "address pairs", chipWith( 6, 6, kCost ), 3,
                    { addresses( kIpv6, true, 2, Lists::prefixes ), addresses( kIpv6, false, 1, Lists::prefixes ) } ),
           worldOf( "port pairs", chipWith( 6, 6, kNested ), 3,
                    { source, destination, fragments, numbers( Field::sport, 1, Sets::ranges ),
                      numbers( Field::dport, 2, Sets::ranges ) } ),
           worldOf( "addresses and ports", chipWith( 6, 0, kNested ), 3,
                    { addresses( kIpv4, true, 2, Lists::prefixesWithAnExcept ), destination, fragments,
                      numbers( Field::dport, 1, Sets::ranges ) } ),
           worldOf( "flags and fragments", chipWith( 0, 0, kCost ), 3,
                    { source, destination, numbers( Field::fragment, 1, Sets::ranges ), tcpFlags(),
                      numbers( Field::dport, 1, Sets::ranges ) } ) };
}

}  // namespace

SmallWorld::SmallWorld( std::string name, ChipProfile profile, std::uint32_t maxRules, std::vector<Rule> rules,
                        std::vector<Packet> packets )
    : name_( std::move( name ) ),
      profile_( std::move( profile ) ),
      rules_( std::move( rules ) ),
      packets_( std::move( packets ) ) {
  std::uint64_t ofLength = 1;
  for ( std::uint32_t length = 0; length <= maxRules; ++length, ofLength *= rules_.size() ) policies_ += ofLength;
}

Host::Policy SmallWorld::policy( std::uint64_t number ) const {
  Host::Acl acl;
  acl.name = "edge";
  acl.family = packets_.front().source.af();
  // So that either is tried.
  acl.defaultAction = number % 3 == 0 ? Host::DefaultAction::permit : Host::DefaultAction::deny;
  for ( std::uint64_t ofLength = 1; number >= ofLength; ofLength *= rules_.size() ) {
    number -= ofLength;
    acl.rules.emplace_back();
  }
  for ( std::size_t at = 0; at != acl.rules.size(); ++at, number /= rules_.size() ) {
    acl.rules[at] = rules_[number % rules_.size()];
    acl.rules[at].index = static_cast<std::uint32_t>( 10 * ( at + 1 ) );
  }
  return normalised( Host::Policy{ { std::move( acl ) } } );
}

std::vector<SmallWorld> const& smallWorlds() {
  static std::vector<SmallWorld> const worlds = makeWorlds();
  return worlds;
}

}  // namespace Orvex::Soak
