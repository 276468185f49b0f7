#include "RandomPolicy.h"

#include <algorithm>
#include <string>

#include "packets/AddressNumber.h"
#include "packets/BoundaryPackets.h"
#include "policy/Normalise.h"

namespace Orvex::Host::Test {

namespace {

/// Prefixes that nest and stand beside each other.
std::vector<Vell::IpGenPrefix> prefixPool( Random& random, Vell::AddressFamily family ) {
  std::uint32_t const width = Vell::addressWidthBits( family );
  std::vector<Vell::IpGenPrefix> pool = { Vell::IpGenPrefix::defaultRoute( family ) };
  while ( pool.size() != 14 ) {
    auto const parent = random.oneOf( pool );
    std::uint32_t const room = width - parent.length();
    if ( parent.length() != 0 && random.percent( 25 ) ) {
      AddressNumber const lastBit = AddressNumber{ 1 } << room;
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
      bool const repeats = options_.repeatedRules != 0 && i != 0 && random_.percent( options_.repeatedRules );
      result.rules.push_back( repeats ? repeated( index, random_.oneOf( result.rules ) )
                                      : rule( index, namesPrefixes ) );
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

  Rule repeated( std::uint32_t index, Rule result ) {
    result.index = index;
    result.name.clear();
    result.action = action();
    switch ( random_.below( 5 ) ) {
      case 0:
        result.source = nullptr;
        break;
      case 1:
        result.destination = nullptr;
        break;
      case 2:
        result.ranges[random_.oneOf( std::vector( kFields.begin(), kFields.end() ) )].clear();
        break;
      default:
        break;
    }
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

}  // namespace Orvex::Host::Test
