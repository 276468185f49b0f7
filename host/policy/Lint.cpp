#include "policy/Lint.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "policy/AclFields.h"
#include "policy/AclTextWriter.h"
#include "policy/CoverIndex.h"
#include "policy/PrefixSets.h"

namespace Orvex::Host {

namespace {

bool isNone( SharedPrefixList const& list ) { return list && list->prefixes.empty(); }
bool namesNoAddress( Rule const& rule ) { return isNone( rule.source ) || isNone( rule.destination ); }

bool matchesLaterFragments( Rule const& rule ) {
  RangeSet const& offsets = rule.ranges[Field::fragment];
  return !matchesHeadFragmentsOnly( rule ) && !namesNoAddress( rule ) &&
         ( offsets.empty() || offsets.back().last != 0 );
}

bool asksForWhatFragmentsLack( Rule const& rule ) {
  RangeSet const& offsets = rule.ranges[Field::fragment];
  return matchesHeadFragmentsOnly( rule ) && !offsets.empty() && offsets.front().first != 0;
}

/// The later fragments of what the rule matches.
Rule laterFragmentsOf( Rule rule ) {
  for ( Field const field : { Field::sport, Field::dport, Field::icmpType } ) rule.ranges[field].clear();
  rule.tcpInit = rule.tcpEstablished = false;
  rule.ranges[Field::fragment] = { { 1, maximumOf( Field::fragment ) } };
  rule.action = actionOf( DefaultAction::deny );
  rule.name = std::to_string( rule.index );
  return rule;
}

bool haveCommonValue( RangeSet const& a, RangeSet const& b ) {
  if ( a.empty() || b.empty() ) return true;
  return std::any_of( a.begin(), a.end(), [&b]( ValueRange x ) {
    return std::any_of( b.begin(), b.end(), [x]( ValueRange y ) { return x.first <= y.last && y.first <= x.last; } );
  } );
}

bool haveCommonAddress( SharedPrefixList const& a, SharedPrefixList const& b ) {
  return !a || !b || a == b || meet( *a, *b );
}

/// Of rules that do not look at TCP flags. The fields are compared first, because lists can be long.
bool haveCommonPacket( Rule const& a, Rule const& b ) {
  return std::all_of( kFields.begin(), kFields.end(),
                      [&]( Field field ) { return haveCommonValue( a.ranges[field], b.ranges[field] ); } ) &&
         haveCommonAddress( a.source, b.source ) && haveCommonAddress( a.destination, b.destination );
}

/// `rule`, with what `other` names instead where that is narrower: it matches what both match, and maybe more.
Rule narrowed( Rule rule, Rule const& other ) {
  auto const narrow = []( SharedPrefixList& list, SharedPrefixList const& otherList ) {
    if ( otherList && ( !list || contains( *list, *otherList ) ) ) list = otherList;
  };
  narrow( rule.source, other.source );
  narrow( rule.destination, other.destination );
  for ( Field const field : kFields )
    if ( !other.ranges[field].empty() && containsValues( rule.ranges[field], other.ranges[field] ) )
      rule.ranges[field] = other.ranges[field];
  return rule;
}

/// A deny whose later fragments get through.
struct Gap {
  std::size_t deny = 0;
  std::optional<std::size_t> permit;  // none: the ACL's default
  Rule fragments;                     // those that get through
};

class AclLint {
 public:
  AclLint( Acl const& acl, LocatedPolicy const& located, Diagnostics& diagnostics )
      : acl_( acl ), located_( located ), diagnostics_( diagnostics ), lists_( acl ) {}

  void run() {
    std::vector<Gap> gaps = findGaps();  // the last first
    CoverIndex earlier( acl_, lists_ );
    for ( std::size_t at = 0; at != acl_.rules.size() && !diagnostics_.tooManyWarnings(); ++at ) {
      Rule const& rule = acl_.rules[at];
      while ( !gaps.empty() && gaps.back().deny == at ) {
        if ( !earlier.covering( gaps.back().fragments ) ) warn( gaps.back() );
        gaps.pop_back();
      }
      if ( namesNoAddress( rule ) ) continue;
      if ( asksForWhatFragmentsLack( rule ) )
        warnOfNothing( rule );
      else if ( auto const cover = earlier.covering( rule ) )
        warnOfShadow( rule, acl_.rules[*cover] );
      else
        earlier.add( at );
    }
  }

 private:
  std::vector<Gap> findGaps() {
    std::vector<Gap> gaps;
    CoverIndex later( acl_, lists_ );
    std::vector<std::size_t> followers;  // that match later fragments, the nearest last
    for ( std::size_t at = acl_.rules.size(); at-- != 0; ) {
      Rule const& rule = acl_.rules[at];
      bool const isGate = rule.action.dropEnabled && matchesHeadFragmentsOnly( rule ) && !namesNoAddress( rule ) &&
                          rule.ranges[Field::fragment].empty();
      if ( isGate ) {
        if ( auto gap = gapBehind( at, followers, later ) ) gaps.push_back( std::move( *gap ) );
      } else if ( matchesLaterFragments( rule ) ) {
        followers.push_back( at );
        later.add( at );
      }
    }
    return gaps;
  }

  std::optional<Gap> gapBehind( std::size_t deny, std::vector<std::size_t> const& followers,
                                CoverIndex const& later ) const {
    Rule const fragments = laterFragmentsOf( acl_.rules[deny] );
    std::vector<std::size_t> closers;
    std::size_t left = kMaxFollowers;
    for ( auto at = followers.rbegin(); at != followers.rend() && left != 0; ++at, --left ) {
      Rule const& follower = acl_.rules[*at];
      if ( !haveCommonPacket( follower, fragments ) ) continue;
      if ( follower.action.dropEnabled ) {
        if ( covers( follower, fragments ) ) return std::nullopt;
        closers.push_back( *at );
        continue;
      }
      Rule const through = narrowed( fragments, follower );
      bool const closed = std::any_of( closers.begin(), closers.end(),
                                       [&]( std::size_t closer ) { return covers( acl_.rules[closer], through ); } );
      if ( !closed ) return Gap{ deny, *at, through };
    }
    auto const decider = later.covering( fragments );
    bool const permitted =
        decider ? !acl_.rules[*decider].action.dropEnabled : acl_.defaultAction == DefaultAction::permit;
    if ( !permitted ) return std::nullopt;
    return Gap{ deny, decider, fragments };
  }

  // Warnings

  void warnOfNothing( Rule const& rule ) const {
    diagnostics_.warning( placeOf( rule ),
                          "rule " + std::to_string( rule.index ) +
                              " matches nothing: later fragments carry no ports, ICMP types and TCP flags",
                          "leave out these, or the fragment offset" );
  }

  void warnOfShadow( Rule const& rule, Rule const& cover ) const {
    bool const sameAction = rule.action == cover.action;
    std::string const number = std::to_string( cover.index );
    diagnostics_.warning(
        placeOf( rule ),
        "rule " + std::to_string( rule.index ) + " never decides: rule " + number + " matches all of it",
        sameAction ? "remove one of the two" : "move it before rule " + number + ", or remove it",
        { { placeOf( cover ), "this is rule " + number } } );
  }

  void warn( Gap const& gap ) const {
    Rule const& deny = acl_.rules[gap.deny];
    std::string const closing = ruleText( laterFragmentsOf( deny ), acl_.family, located_.listNames );
    std::string const problem = "later fragments of what rule " + std::to_string( deny.index ) + " denies get through";
    if ( !gap.permit ) {
      diagnostics_.warning( placeOf( deny ), problem + ": the ACL's default permits them",
                            "write \"" + closing + "\" behind it" );
      return;
    }
    Rule const& permit = acl_.rules[*gap.permit];
    std::string const number = std::to_string( permit.index );
    diagnostics_.warning( placeOf( deny ), problem + ": rule " + number + " does not look at what they lack",
                          "write \"" + closing + "\" before rule " + number,
                          { { placeOf( permit ), "this is rule " + number } } );
  }

  Place placeOf( Rule const& rule ) const { return located_.places.placeOf( acl_.family, acl_.name, rule.index ); }

  Acl const& acl_;
  LocatedPolicy const& located_;
  Diagnostics& diagnostics_;
  ListContainers lists_;
};

}  // namespace

void lint( LocatedPolicy const& located, Diagnostics& diagnostics ) {
  for ( Acl const& acl : located.policy.acls ) AclLint( acl, located, diagnostics ).run();
}

}  // namespace Orvex::Host
