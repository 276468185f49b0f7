#include "host/RandomPolicy.h"

#include <algorithm>
#include <string>

#include "policy/Normalise.h"

namespace Orvex::Host::Test {

namespace {

// Addresses as numbers, the last bit of the address being 1

__extension__ using Number = unsigned __int128;

std::uint32_t widthOf( Vell::AddressFamily family ) { return Vell::addressWidthBits( family ); }

/// `bits` ones, up to 128.
Number ones( std::uint32_t bits ) { return bits == 0 ? 0 : ~Number{ 0 } >> ( 128 - bits ); }

Vell::IpGenPrefix prefixOf( Vell::AddressFamily family, Number address, std::uint32_t length ) {
  if ( family == Vell::AddressFamily::ipv4 ) return { static_cast<std::uint32_t>( address ), length };
  return { Vell::Ip6Addr( static_cast<std::uint64_t>( address >> 64 ), static_cast<std::uint64_t>( address ) ),
           length };
}

Vell::IpGenPrefix addressOf( Vell::AddressFamily family, Number address ) {
  return prefixOf( family, address & ones( widthOf( family ) ), widthOf( family ) );
}

Number firstOf( Vell::IpGenPrefix const& prefix ) {
  if ( prefix.af() == Vell::AddressFamily::ipv4 ) return prefix.ipv4Address();
  return Number{ prefix.ipv6Address().high() } << 64 | prefix.ipv6Address().low();
}

Number lastOf( Vell::IpGenPrefix const& prefix ) {
  return firstOf( prefix ) | ones( widthOf( prefix.af() ) - prefix.length() );
}

Number randomNumber( Random& random ) {
  return Number{ random.below( ~std::uint64_t{ 0 } ) } << 64 | random.below( ~std::uint64_t{ 0 } );
}

/// The first address, the last, or one between.
Number randomWithin( Random& random, Vell::IpGenPrefix const& prefix ) {
  Number const inner = ones( widthOf( prefix.af() ) - prefix.length() );
  switch ( random.below( 3 ) ) {
    case 0:
      return firstOf( prefix );
    case 1:
      return lastOf( prefix );
    default:
      return firstOf( prefix ) | ( randomNumber( random ) & inner );
  }
}

/// Prefixes that nest and stand beside each other.
std::vector<Vell::IpGenPrefix> prefixPool( Random& random, Vell::AddressFamily family ) {
  std::uint32_t const width = widthOf( family );
  std::vector<Vell::IpGenPrefix> pool = { Vell::IpGenPrefix::defaultRoute( family ) };
  while ( pool.size() != 14 ) {
    auto const parent = random.oneOf( pool );
    std::uint32_t const room = width - parent.length();
    if ( parent.length() != 0 && random.percent( 25 ) ) {
      Number const lastBit = Number{ 1 } << room;
      pool.push_back( prefixOf( family, firstOf( parent ) ^ lastBit, parent.length() ) );
    } else if ( room != 0 ) {
      std::uint32_t const deeper = random.percent( 20 ) ? room : random.between( 1, std::min( room, 9U ) );
      pool.push_back( prefixOf( family, randomWithin( random, parent ), parent.length() + deeper ) );
    }
  }
  return pool;
}

// Policies

class PolicyMaker {
 public:
  PolicyMaker( Random& random, RandomPolicyOptions const& options ) : random_( random ), options_( options ) {
    for ( Field const field : kFields )
      for ( int i = 0; i != 3; ++i ) favourites_[field].push_back( random.between( 0, maximumOf( field ) ) );
  }

  Policy policy() {
    Policy result;
    for ( auto const family : { Vell::AddressFamily::ipv6, Vell::AddressFamily::ipv4 } ) {
      pool_ = prefixPool( random_, family );
      lists_.clear();
      for ( std::uint32_t i = 0; i != options_.aclsPerFamily; ++i )
        result.acls.push_back( acl( family, "acl" + std::to_string( i ) ) );
    }
    random_.shuffle( result.acls );
    return result;
  }

 private:
  Acl acl( Vell::AddressFamily family, std::string name ) {
    Acl result;
    result.family = family;
    result.name = std::move( name );
    result.defaultAction = random_.percent( 30 ) ? DefaultAction::permit : DefaultAction::deny;
    bool const namesPrefixes = random_.percent( 85 );
    std::uint32_t const count = random_.between( 0, options_.maxRules );
    std::uint32_t index = random_.oneOf( std::vector{ 0U, random_.between( 0, 100 ), 0xFFFF0000U } );
    for ( std::uint32_t i = 0; i != count; ++i ) {
      result.rules.push_back( rule( index, namesPrefixes ) );
      index += random_.percent( 50 ) ? 1 : random_.between( 2, 1000 );
    }
    random_.shuffle( result.rules );
    return result;
  }

  Rule rule( std::uint32_t index, bool namesPrefixes ) {
    Rule result;
    result.index = index;
    if ( random_.percent( 30 ) ) result.name = "rule-" + std::to_string( index );
    result.action = action();
    if ( namesPrefixes && random_.percent( 60 ) ) result.source = list();
    if ( namesPrefixes && random_.percent( 60 ) ) result.destination = list();
    std::uint32_t ranged = 0;
    for ( Field const field : kFields ) {
      if ( !random_.percent( 20 ) ) continue;
      bool const ranges = ranged < 2 && random_.percent( 70 );
      ranged += ranges ? 1 : 0;
      result.ranges[field] = ranges ? rangeSet( field ) : RangeSet{ single( field ) };
    }
    result.tcpInit = random_.percent( 8 );
    result.tcpEstablished = random_.percent( 8 );
    return result;
  }

  OrvexActionValue action() {
    OrvexActionValue value;
    value.dropEnabled = random_.percent( 50 );
    value.logEnabled = random_.percent( 20 );
    value.setDscpEnabled = random_.percent( 20 );
    value.dscp.valueIs( random_.between( 0, 63 ) );
    value.setTcEnabled = random_.percent( 20 );
    value.tc.valueIs( random_.between( 0, OrvexTrafficClass::max ) );
    value.sflowEnabled = random_.percent( 10 );
    return value;
  }

  /// A new list; or one that there is, or an equal one.
  SharedPrefixList list() {
    if ( !lists_.empty() && random_.percent( 30 ) ) return random_.oneOf( lists_ );
    if ( !lists_.empty() && random_.percent( 10 ) ) return shuffled( *random_.oneOf( lists_ ) );
    PrefixList fresh;
    if ( !random_.percent( 6 ) ) fresh.prefixes = somePrefixes( random_.between( 1, options_.maxPrefixes ) );
    if ( random_.percent( 40 ) ) fresh.excepts = somePrefixes( random_.between( 1, options_.maxPrefixes ) );
    lists_.push_back( std::make_shared<PrefixList const>( std::move( fresh ) ) );
    return lists_.back();
  }

  SharedPrefixList shuffled( PrefixList list ) {
    if ( !list.prefixes.empty() ) list.prefixes.push_back( list.prefixes.front() );
    random_.shuffle( list.prefixes );
    random_.shuffle( list.excepts );
    return std::make_shared<PrefixList const>( std::move( list ) );
  }

  std::vector<Vell::IpGenPrefix> somePrefixes( std::uint32_t count ) {
    std::vector<Vell::IpGenPrefix> some;
    for ( std::uint32_t i = 0; i != count; ++i ) some.push_back( random_.oneOf( pool_ ) );
    return some;
  }

  RangeSet rangeSet( Field field ) {
    if ( random_.percent( 5 ) ) return wholeFieldInPieces( field );
    RangeSet set;
    for ( std::uint32_t left = random_.between( 1, options_.maxRanges ); left != 0; --left ) {
      std::uint32_t const a = value( field );
      std::uint32_t const b = value( field );
      set.push_back( random_.percent( 30 ) ? ValueRange{ a, a } : ValueRange{ std::min( a, b ), std::max( a, b ) } );
    }
    return set;
  }

  RangeSet wholeFieldInPieces( Field field ) {
    std::uint32_t const cut = random_.between( 1, maximumOf( field ) );
    return { { cut, maximumOf( field ) }, { 0, cut - 1 } };
  }

  ValueRange single( Field field ) {
    std::uint32_t const only = value( field );
    return { only, only };
  }

  /// An end of the field, one of a few values, or one beside one of these.
  std::uint32_t value( Field field ) {
    std::uint32_t const maximum = maximumOf( field );
    switch ( random_.below( 8 ) ) {
      case 0:
        return random_.between( 0, 1 );
      case 1:
        return maximum - random_.between( 0, 1 );
      case 2:
        return random_.between( 0, maximum );
      default:
        return std::clamp( random_.oneOf( favourites_[field] ) + random_.between( 0, 2 ), 1U, maximum + 1 ) - 1;
    }
  }

  Random& random_;
  RandomPolicyOptions options_;
  PerField<std::vector<std::uint32_t>> favourites_;
  std::vector<Vell::IpGenPrefix> pool_;
  std::vector<SharedPrefixList> lists_;
};

}  // namespace

Policy randomRawPolicy( Random& random, RandomPolicyOptions const& options ) {
  return PolicyMaker( random, options ).policy();
}

Policy randomPolicy( Random& random, RandomPolicyOptions const& options ) {
  return normalised( randomRawPolicy( random, options ) );
}

// Packets

RandomPackets::RandomPackets( Random& random, Acl const& acl ) : random_( random ), acl_( acl ) {
  auto const addBoundaries = [&]( std::vector<Vell::IpGenPrefix> const& prefixes ) {
    for ( Vell::IpGenPrefix const& prefix : prefixes )
      for ( Number const number : { firstOf( prefix ), lastOf( prefix ), firstOf( prefix ) - 1, lastOf( prefix ) + 1 } )
        addresses_.push_back( addressOf( acl.family, number ) );
  };
  for ( Rule const& rule : acl.rules ) {
    for ( SharedPrefixList const& list : { rule.source, rule.destination } ) {
      if ( !list ) continue;
      addBoundaries( list->prefixes );
      addBoundaries( list->excepts );
    }
    for ( Field const field : kFields )
      for ( ValueRange const range : rule.ranges[field] ) {
        auto& values = values_[field];
        values.insert( values.end(), { range.first, range.last } );
        if ( range.first != 0 ) values.push_back( range.first - 1 );
        if ( range.last != maximumOf( field ) ) values.push_back( range.last + 1 );
      }
  }
}

Verify::Packet RandomPackets::next() {
  Verify::Packet packet = anywhere();
  if ( acl_.rules.empty() || random_.percent( 50 ) ) return packet;
  aim( packet, random_.oneOf( acl_.rules ) );
  if ( random_.percent( 50 ) ) spoil( packet );
  return packet;
}

Verify::Packet RandomPackets::anywhere() {
  Verify::Packet packet;
  packet.source = anyAddress();
  packet.destination = anyAddress();
  for ( Field const field : kFields ) packet.fields[field] = anyValue( field );
  if ( random_.percent( 60 ) ) packet.fields[Field::fragment] = 0;
  packet.tcpFlags = anyTcpFlags();
  return packet;
}

/// Makes the rule match, as far as it can: its lists' holes are not looked at.
void RandomPackets::aim( Verify::Packet& packet, Rule const& rule ) {
  auto const aimAddress = [&]( Vell::IpGenPrefix& address, SharedPrefixList const& list ) {
    if ( list && !list->prefixes.empty() )
      address = addressOf( acl_.family, randomWithin( random_, random_.oneOf( list->prefixes ) ) );
  };
  aimAddress( packet.source, rule.source );
  aimAddress( packet.destination, rule.destination );
  if ( rule.ranges[Field::fragment].empty() ) packet.fields[Field::fragment] = 0;
  for ( Field const field : kFields ) {
    if ( rule.ranges[field].empty() ) continue;
    ValueRange const range = random_.oneOf( rule.ranges[field] );
    std::uint32_t const between = random_.between( range.first, range.last );
    packet.fields[field] = random_.oneOf( std::vector{ range.first, range.last, between } );
  }
  if ( rule.tcpInit )
    packet.tcpFlags = Constants::tcpFlagSyn;
  else if ( rule.tcpEstablished )
    packet.tcpFlags = random_.percent( 50 ) ? Constants::tcpFlagAck : Constants::tcpFlagRst;
}

void RandomPackets::spoil( Verify::Packet& packet ) {
  switch ( std::uint64_t const at = random_.below( kFieldCount + 3 ) ) {
    case kFieldCount:
      packet.source = anyAddress();
      break;
    case kFieldCount + 1:
      packet.destination = anyAddress();
      break;
    case kFieldCount + 2:
      packet.tcpFlags = anyTcpFlags();
      break;
    default:
      packet.fields[kFields[at]] = anyValue( kFields[at] );
  }
}

Vell::IpGenPrefix RandomPackets::anyAddress() {
  if ( !addresses_.empty() && random_.percent( 85 ) ) return random_.oneOf( addresses_ );
  return addressOf( acl_.family, randomNumber( random_ ) );
}

std::uint32_t RandomPackets::anyValue( Field field ) {
  if ( !values_[field].empty() && random_.percent( 70 ) ) return random_.oneOf( values_[field] );
  if ( random_.percent( 40 ) ) return random_.percent( 50 ) ? 0 : maximumOf( field );
  return random_.between( 0, maximumOf( field ) );
}

std::uint8_t RandomPackets::anyTcpFlags() { return static_cast<std::uint8_t>( random_.between( 0, 255 ) ); }

}  // namespace Orvex::Host::Test
