#include "Rewriting.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "packets/AddressNumber.h"

namespace Orvex::Host::Test {

namespace {

constexpr std::uint32_t kRoom = 100;
constexpr int kTries = 30;

bool isHeadOnly( Field field ) { return field == Field::sport || field == Field::dport || field == Field::icmpType; }

// Prefixes

std::array<Vell::IpGenPrefix, 2> halvesOf( Vell::IpGenPrefix const& prefix ) {
  auto const lastBit = AddressNumber{ 1 } << ( Vell::addressWidthBits( prefix.af() ) - prefix.length() - 1 );
  return { prefixOf( prefix.af(), firstOf( prefix ), prefix.length() + 1 ),
           prefixOf( prefix.af(), firstOf( prefix ) | lastBit, prefix.length() + 1 ) };
}

/// A list, and the place of a prefix in it that can be halved. One with an excepted half cannot: the half would count as
/// one of the list's prefixes.
struct Splittable {
  PrefixList list;
  std::size_t at;
};

std::optional<Splittable> splittable( SharedPrefixList const& list, Vell::AddressFamily family, Random& random ) {
  Splittable found{ list ? *list : PrefixList{ { Vell::IpGenPrefix::defaultRoute( family ) }, {} }, 0 };
  if ( found.list.prefixes.empty() ) return std::nullopt;
  found.at = random.below( found.list.prefixes.size() );
  auto const& prefix = found.list.prefixes[found.at];
  if ( prefix.length() == Vell::addressWidthBits( family ) ) return std::nullopt;
  auto const& excepts = found.list.excepts;
  for ( auto const& half : halvesOf( prefix ) )
    if ( std::find( excepts.begin(), excepts.end(), half ) != excepts.end() ) return std::nullopt;
  return found;
}

/// Lists in which the prefix is replaced by one of its halves.
std::array<SharedPrefixList, 2> halved( Splittable const& from ) {
  std::array<SharedPrefixList, 2> lists;
  auto const halves = halvesOf( from.list.prefixes[from.at] );
  for ( std::size_t half = 0; half != 2; ++half ) {
    PrefixList list = from.list;
    list.prefixes[from.at] = halves[half];
    lists[half] = std::make_shared<PrefixList const>( std::move( list ) );
  }
  return lists;
}

/// The list matches nothing, or nothing that the other's prefixes hold.
bool areApart( SharedPrefixList const& a, SharedPrefixList const& b ) {
  if ( !a || !b ) return false;
  return std::all_of( a->prefixes.begin(), a->prefixes.end(), [&]( auto const& one ) {
    return std::none_of( b->prefixes.begin(), b->prefixes.end(),
                         [&]( auto const& other ) { return one.contains( other ) || other.contains( one ); } );
  } );
}

// Ranges

RangeSet valuesOf( Rule const& rule, Field field ) {
  return rule.ranges[field].empty() ? RangeSet{ { 0, maximumOf( field ) } } : rule.ranges[field];
}

/// Both parts of a set that is cut in a range, or between two.
std::optional<std::array<RangeSet, 2>> cut( RangeSet const& set, Random& random ) {
  ValueRange const range = random.oneOf( set );
  std::uint32_t const last = random.between( range.first, range.last );
  std::array<RangeSet, 2> parts;
  for ( ValueRange const each : set ) {
    if ( each.first <= last ) parts[0].push_back( { each.first, std::min( each.last, last ) } );
    if ( each.last > last ) parts[1].push_back( { std::max( each.first, last + 1 ), each.last } );
  }
  if ( parts[0].empty() || parts[1].empty() ) return std::nullopt;
  return parts;
}

bool areApart( RangeSet const& a, RangeSet const& b ) {
  if ( a.empty() || b.empty() ) return false;
  return std::all_of( a.begin(), a.end(), [&]( ValueRange const& one ) {
    return std::none_of( b.begin(), b.end(), [&]( ValueRange const& other ) {
      return one.first <= other.last && other.first <= one.last;
    } );
  } );
}

bool areApart( Rule const& a, Rule const& b ) {
  return areApart( a.source, b.source ) || areApart( a.destination, b.destination ) ||
         std::any_of( kFields.begin(), kFields.end(),
                      [&]( Field field ) { return areApart( a.ranges[field], b.ranges[field] ); } );
}

// Rules

class Rewriter {
 public:
  Rewriter( Acl& acl, Random& random ) : acl_( acl ), random_( random ), at_( random.below( acl.rules.size() ) ) {}

  bool rewrite( Rewriting how ) {
    switch ( how ) {
      case Rewriting::splitPrefix:
        return splitPrefix();
      case Rewriting::splitRange:
        return splitRange();
      case Rewriting::splitRuleByPrefix:
        return splitRuleByPrefix();
      case Rewriting::splitRuleByRange:
        return splitRuleByRange();
      case Rewriting::unreachableRule:
        return addUnreachable();
      case Rewriting::permuted:
        return permute();
      case Rewriting::renamed:
        break;
    }
    return false;
  }

 private:
  Rule& rule() { return acl_.rules[at_]; }
  SharedPrefixList Rule::*anySide() { return random_.percent( 50 ) ? &Rule::source : &Rule::destination; }
  Field anyField() { return kFields[random_.below( kFields.size() )]; }

  bool splitPrefix() {
    auto const side = anySide();
    auto const from = splittable( rule().*side, acl_.family, random_ );
    if ( !from ) return false;
    PrefixList list = from->list;
    auto const halves = halvesOf( list.prefixes[from->at] );
    list.prefixes[from->at] = halves[0];
    list.prefixes.push_back( halves[1] );
    rule().*side = std::make_shared<PrefixList const>( std::move( list ) );
    return true;
  }

  bool splitRange() {
    RangeSet& set = rule().ranges[anyField()];
    auto const parts = set.empty() ? std::nullopt : cut( set, random_ );
    if ( !parts ) return false;
    set = ( *parts )[1];
    set.insert( set.end(), ( *parts )[0].begin(), ( *parts )[0].end() );
    return true;
  }

  bool splitRuleByPrefix() {
    auto const side = anySide();
    auto const from = splittable( rule().*side, acl_.family, random_ );
    if ( !from ) return false;
    auto const lists = halved( *from );
    Rule second = rule();
    second.*side = lists[1];
    if ( !insertBehind( at_, std::move( second ) ) ) return false;
    rule().*side = lists[0];
    return true;
  }

  /// A field that the rule does not name can be split too, unless naming it would demand a head fragment.
  bool splitRuleByRange() {
    Field const field = anyField();
    if ( rule().ranges[field].empty() && isHeadOnly( field ) ) return false;
    auto const parts = cut( valuesOf( rule(), field ), random_ );
    if ( !parts ) return false;
    Rule second = rule();
    second.ranges[field] = ( *parts )[1];
    if ( !insertBehind( at_, std::move( second ) ) ) return false;
    rule().ranges[field] = ( *parts )[0];
    return true;
  }

  /// What the rule matches or some of it, with another action.
  bool addUnreachable() {
    Rule hidden = rule();
    Field const field = anyField();
    if ( auto const parts = cut( valuesOf( hidden, field ), random_ ) ) hidden.ranges[field] = ( *parts )[0];
    auto const side = anySide();
    if ( auto const from = splittable( hidden.*side, acl_.family, random_ ) ) hidden.*side = halved( *from )[0];
    if ( random_.percent( 30 ) && !hidden.tcpInit ) hidden.tcpInit = !hidden.tcpEstablished;
    hidden.action = actionOf( random_.percent( 50 ) ? DefaultAction::permit : DefaultAction::deny );
    return insertBehind( at_ + random_.below( acl_.rules.size() - at_ ), std::move( hidden ) );
  }

  bool permute() {
    if ( at_ + 1 == acl_.rules.size() ) return false;
    Rule& next = acl_.rules[at_ + 1];
    if ( rule().action != next.action && !areApart( rule(), next ) ) return false;
    std::swap( rule(), next );
    std::swap( rule().index, next.index );
    return true;
  }

  /// False when there is no room for another number.
  bool insertBehind( std::size_t at, Rule added ) {
    added.index = acl_.rules[at].index + 1;
    if ( at + 1 != acl_.rules.size() && acl_.rules[at + 1].index == added.index ) return false;
    added.name.clear();
    acl_.rules.insert( acl_.rules.begin() + static_cast<std::ptrdiff_t>( at + 1 ), std::move( added ) );
    return true;
  }

  Acl& acl_;
  Random& random_;
  std::size_t at_;
};

std::string newName( Random& random, std::string const& old ) {
  return "renamed " + std::to_string( random.below( 1000 ) ) + " " + old;
}

void rename( Policy& policy, Random& random ) {
  for ( Acl& acl : policy.acls ) {
    acl.name = newName( random, acl.name );
    for ( Rule& rule : acl.rules ) rule.name = newName( random, rule.name );
  }
}

}  // namespace

Policy withRoomBetweenRules( Policy policy ) {
  for ( Acl& acl : policy.acls ) {
    std::uint32_t index = 0;
    for ( Rule& rule : acl.rules ) {
      rule.index = index += kRoom;
      rule.name = std::to_string( index );
    }
  }
  return policy;
}

bool rewrite( Policy& policy, Rewriting how, Random& random ) {
  if ( how == Rewriting::renamed ) {
    rename( policy, random );
    return true;
  }
  for ( int left = policy.acls.empty() ? 0 : kTries; left != 0; --left ) {
    Acl& acl = policy.acls[random.below( policy.acls.size() )];
    if ( !acl.rules.empty() && Rewriter( acl, random ).rewrite( how ) ) return true;
  }
  return false;
}

}  // namespace Orvex::Host::Test
