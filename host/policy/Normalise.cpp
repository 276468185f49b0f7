#include "policy/Normalise.h"

#include <algorithm>
#include <functional>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Kiv/Hash.h"
#include "Kiv/Value.h"

namespace Orvex::Host {

namespace {

std::string placeText( PolicyError::Place const& place ) {
  std::string text = std::string( Kiv::stringValue( place.family ) ) + " ACL " + place.acl;
  if ( place.ruleIndex ) {
    std::string const index = std::to_string( *place.ruleIndex );
    text += ", rule " + index;
    if ( !place.rule.empty() && place.rule != index ) text += " (" + place.rule + ")";
  }
  if ( !place.field.empty() ) text += ", " + place.field;
  return text;
}

std::string rangeText( ValueRange range ) { return std::to_string( range.first ) + "-" + std::to_string( range.last ); }

template <class T>
void sortUnique( std::vector<T>& values ) {
  std::sort( values.begin(), values.end() );
  values.erase( std::unique( values.begin(), values.end() ), values.end() );
}

// Ranges

void checkRanges( RangeSet const& ranges, Field field, PolicyError::Place const& place ) {
  std::uint32_t const maximum = maximumOf( field );
  for ( ValueRange const range : ranges ) {
    if ( range.first > range.last )
      throw PolicyError( place, "range " + rangeText( range ) + " ends before it starts",
                         "write " + rangeText( ValueRange{ range.last, range.first } ) );
    if ( range.last > maximum )
      throw PolicyError( place, "range " + rangeText( range ) + " goes beyond the field",
                         "its values are " + rangeText( ValueRange{ 0, maximum } ) );
  }
}

/// Requires: the ranges are checked, so that one more than an end is still a number.
void merge( RangeSet& ranges, Field field ) {
  if ( ranges.empty() ) return;
  std::sort( ranges.begin(), ranges.end() );
  auto merged = ranges.begin();
  for ( ValueRange const range : ranges ) {
    if ( range.first <= merged->last + 1 )
      merged->last = std::max( merged->last, range.last );
    else
      *++merged = range;
  }
  ranges.erase( merged + 1, ranges.end() );
  if ( ranges.front() == ValueRange{ 0, maximumOf( field ) } ) ranges.clear();
}

// Prefix lists

void checkFamily( PrefixList const& list, PolicyError::Place const& place ) {
  for ( auto const* const prefixes : { &list.prefixes, &list.excepts } )
    for ( Vell::IpGenPrefix const& prefix : *prefixes )
      if ( prefix.af() != place.family )
        throw PolicyError( place, "prefix " + textOf( prefix ) + " is not of the ACL's family",
                           "name prefixes of " + std::string( Kiv::stringValue( place.family ) ) +
                               ", or move the rule to an ACL of the other family" );
}

/// By content. Not noexcept: the standard library then keeps the hashes, and does not visit all lists when a table grows.
struct ListHash {
  std::size_t operator()( SharedPrefixList const& list ) const {
    Kiv::IncrementalHash hash;
    for ( auto const* const prefixes : { &list->prefixes, &list->excepts } ) {
      hash.add( static_cast<std::uint32_t>( prefixes->size() ) );
      for ( Vell::IpGenPrefix const& prefix : *prefixes ) hash.add( prefix.hash() );
    }
    return hash.result();
  }
};
struct ListEqual {
  bool operator()( SharedPrefixList const& a, SharedPrefixList const& b ) const noexcept { return *a == *b; }
};

/// The lists of one family: equal ones become one object, and one that has been seen is not looked at again.
class PrefixLists {
 public:
  SharedPrefixList normalised( SharedPrefixList const& list, PolicyError::Place const& place ) {
    if ( !list ) return nullptr;
    if ( list->prefixes.size() + list->excepts.size() <= kSmall ) return checkedAndCanonical( list, place );
    auto const seen = seen_.find( list );
    if ( seen != seen_.end() ) return seen->second;
    return seen_[list] = checkedAndCanonical( list, place );
  }

 private:
  /// To look at a list of so few prefixes again is no dearer than to find out that it has been seen.
  static constexpr std::size_t kSmall = 4;

  SharedPrefixList checkedAndCanonical( SharedPrefixList const& list, PolicyError::Place const& place ) {
    checkFamily( *list, place );
    bool const isCanonical = !list->prefixes.empty() && !list->prefixes.front().isDefaultRoute() &&
                             isStrictlyAscending( list->prefixes ) && isStrictlyAscending( list->excepts );
    return isCanonical ? *kept_.insert( list ).first : canonical( *list, place.family );
  }

  static bool isStrictlyAscending( std::vector<Vell::IpGenPrefix> const& prefixes ) {
    return std::adjacent_find( prefixes.begin(), prefixes.end(), std::greater_equal<>() ) == prefixes.end();
  }

  SharedPrefixList canonical( PrefixList list, Vell::AddressFamily family ) {
    auto const anyAddress = Vell::IpGenPrefix::defaultRoute( family );
    sortUnique( list.prefixes );
    sortUnique( list.excepts );
    if ( list.prefixes.empty() )
      list.excepts = { anyAddress };
    else if ( list.prefixes.front() == anyAddress && list.excepts.empty() )
      return nullptr;
    return *kept_.insert( std::make_shared<PrefixList const>( std::move( list ) ) ).first;
  }

  // Holds what it has seen, so that no address is used again.
  std::unordered_map<SharedPrefixList, SharedPrefixList> seen_;
  std::unordered_set<SharedPrefixList, ListHash, ListEqual> kept_;
};

// Rules and ACLs

class Normaliser {
 public:
  void normalise( Policy& policy ) {
    std::set<std::pair<Vell::AddressFamily, std::string>> names;
    for ( Acl& acl : policy.acls ) {
      place_ = { acl.family, acl.name, std::nullopt, "", "" };
      checkName( acl.name );
      if ( acl.name.empty() ) fail( "an ACL has no name", "give every ACL a name" );
      if ( !names.emplace( acl.family, acl.name ).second )
        fail( "the name is used twice in this family", "rename one of the two ACLs, or join their rules" );
      normalise( acl );
    }
    std::sort( policy.acls.begin(), policy.acls.end(), []( Acl const& a, Acl const& b ) {
      return std::tie( a.family, a.name ) < std::tie( b.family, b.name );
    } );
  }

 private:
  void normalise( Acl& acl ) {
    std::unordered_set<std::uint32_t> indices( acl.rules.size() );
    std::unordered_map<std::string, std::uint32_t> names( acl.rules.size() );
    for ( Rule& rule : acl.rules ) {
      if ( rule.name.empty() ) rule.name = std::to_string( rule.index );
      place_.ruleIndex = rule.index;
      place_.rule = rule.name;
      if ( rule.index > kMaxIndex ) fail( "the index is too large", "indices are 0-" + std::to_string( kMaxIndex ) );
      if ( !indices.insert( rule.index ).second )
        fail( "the index is used twice", "give each rule of an ACL an index of its own" );
      checkName( rule.name );
      auto const [named, isNew] = names.emplace( rule.name, rule.index );
      if ( !isNew )
        fail( "rule " + std::to_string( named->second ) + " is named " + rule.name + " too",
              "give each rule of an ACL a name of its own" );
      normalise( rule );
    }
    auto const byIndex = []( Rule const& a, Rule const& b ) { return a.index < b.index; };
    if ( !std::is_sorted( acl.rules.begin(), acl.rules.end(), byIndex ) )  // rules are large, and mostly come sorted
      std::sort( acl.rules.begin(), acl.rules.end(), byIndex );
  }

  void checkName( std::string const& name ) const {
    if ( !isPrintable( name ) ) fail( "the name has a control character in it", "names are printable text" );
  }

  void normalise( Rule& rule ) {
    if ( rule.continueRule )
      fail( "a rule cannot continue with later rules", "state all actions in the rule that decides" );
    normalise( rule.action );
    normalise( rule.source, "source" );
    normalise( rule.destination, "destination" );
    for ( Field const field : kFields ) {
      place_.field = Kiv::stringValue( field );
      checkRanges( rule.ranges[field], field, place_ );
      merge( rule.ranges[field], field );
    }
    place_.field.clear();
  }

  void normalise( SharedPrefixList& list, char const* side ) {
    place_.field = side;
    list = lists_[Kiv::enumValue( place_.family )].normalised( list, place_ );
  }

  void normalise( OrvexActionValue& action ) {
    place_.field = "action";
    if ( !action.setDscpEnabled ) action.dscp = Vell::DscpValue();
    if ( !action.setTcEnabled ) action.tc = OrvexTrafficClass();
    if ( action.setTcEnabled && action.tc.value() > OrvexTrafficClass::max )
      fail( "it sets the traffic class and names none",
            "traffic classes are 0-" + std::to_string( OrvexTrafficClass::max ) );
  }

  [[noreturn]] void fail( std::string problem, std::string remedy ) const {
    throw PolicyError( place_, std::move( problem ), std::move( remedy ) );
  }

  /// The library's last index stands for none.
  static constexpr std::uint32_t kMaxIndex = AceIndex::null - 1;

  std::array<PrefixLists, Vell::kAddressFamilyNames.size()> lists_;
  PolicyError::Place place_;
};

}  // namespace

PolicyError::PolicyError( Place place, std::string problem, std::string remedy )
    : std::runtime_error( placeText( place ) + ": " + problem + "; " + remedy ),
      place_( std::move( place ) ),
      problem_( std::move( problem ) ),
      remedy_( std::move( remedy ) ) {}

bool isPrintable( std::string_view name ) {
  auto const isControl = []( char each ) { return static_cast<unsigned char>( each ) < 0x20 || each == 0x7F; };
  return std::none_of( name.begin(), name.end(), isControl );
}

Policy normalised( Policy policy ) {
  Normaliser().normalise( policy );
  return policy;
}

}  // namespace Orvex::Host
