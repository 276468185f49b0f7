#include "RandomEdit.h"

#include <algorithm>
#include <utility>

#include "policy/Normalise.h"

namespace Orvex::Host::Test {

namespace {

/// More rules than this are thinned out, so that versions stay small however long the chain.
constexpr std::size_t kMostRules = 14;

class Editor {
 public:
  Editor( Random& random, Policy& policy, Policy const& donor )
      : random_( random ), policy_( policy ), donor_( donor ) {}

  void edit() {
    if ( policy_.acls.empty() || random_.percent( 5 ) ) return editAcls();
    Acl& acl = policy_.acls[random_.below( policy_.acls.size() )];
    if ( acl.rules.empty() ) return add( acl );
    if ( acl.rules.size() > kMostRules ) return remove( acl );
    Rule& rule = acl.rules[random_.below( acl.rules.size() )];
    switch ( random_.below( 8 ) ) {
      case 0:
      case 1:
        return add( acl );
      case 2:
        return remove( acl );
      case 3:
        return move( acl, rule );
      case 4:
        return editAction( acl, rule );
      case 5:
        return editRanges( rule );
      default:
        return editList( acl, rule );
    }
  }

 private:
  void editAcls() {
    Acl const& other = random_.oneOf( donor_.acls );
    auto const same = std::find_if( policy_.acls.begin(), policy_.acls.end(), [&]( Acl const& acl ) {
      return acl.family == other.family && acl.name == other.name;
    } );
    if ( same == policy_.acls.end() )
      policy_.acls.push_back( other );
    else
      policy_.acls.erase( same );
  }

  /// A rule of the donor's in the family; null when it has none.
  Rule const* donated( Acl const& acl ) {
    std::vector<Rule const*> rules;
    for ( Acl const& other : donor_.acls )
      if ( other.family == acl.family )
        for ( Rule const& rule : other.rules ) rules.push_back( &rule );
    return rules.empty() ? nullptr : random_.oneOf( rules );
  }

  void add( Acl& acl ) {
    Rule const* const rule = donated( acl );
    if ( !rule ) return;
    acl.rules.push_back( *rule );
    acl.rules.back().index = freeIndex( acl );
    acl.rules.back().name.clear();
  }
  void remove( Acl& acl ) {
    acl.rules.erase( acl.rules.begin() + static_cast<std::ptrdiff_t>( random_.below( acl.rules.size() ) ) );
  }
  void move( Acl& acl, Rule& rule ) {
    Rule& other = acl.rules[random_.below( acl.rules.size() )];
    if ( random_.percent( 50 ) )
      rule.index = freeIndex( acl );
    else
      std::swap( rule.index, other.index );
    rule.name.clear();
    other.name.clear();
  }
  /// Beside one that is taken, or anywhere.
  std::uint32_t freeIndex( Acl const& acl ) {
    std::uint32_t index = random_.percent( 70 ) ? random_.oneOf( acl.rules ).index : random_.between( 0, 5000 );
    auto const taken = [&] {
      return std::any_of( acl.rules.begin(), acl.rules.end(), [&]( Rule const& rule ) { return rule.index == index; } );
    };
    while ( taken() ) ++index;
    return index;
  }

  void editAction( Acl& acl, Rule& rule ) {
    if ( random_.percent( 20 ) )
      acl.defaultAction = acl.defaultAction == DefaultAction::deny ? DefaultAction::permit : DefaultAction::deny;
    else if ( Rule const* const other = donated( acl ); other && random_.percent( 50 ) )
      rule.action = other->action;
    else
      rule.action.dropEnabled = !rule.action.dropEnabled;
  }

  /// An end of a range moves by one, or the field takes what a rule of the donor's has.
  void editRanges( Rule& rule ) {
    Field const field = kFields[random_.below( kFields.size() )];
    RangeSet& ranges = rule.ranges[field];
    if ( ranges.empty() || random_.percent( 30 ) ) {
      Acl const& other = random_.oneOf( donor_.acls );
      ranges = other.rules.empty() ? RangeSet{} : random_.oneOf( other.rules ).ranges[field];
      return;
    }
    ValueRange& range = ranges[random_.below( ranges.size() )];
    if ( random_.percent( 50 ) && range.last != maximumOf( field ) )
      ++range.last;
    else if ( range.first != 0 )
      --range.first;
    else if ( range.last != 0 )
      --range.last;
  }

  void editList( Acl& acl, Rule& rule ) {
    bool const isSource = random_.percent( 50 );
    SharedPrefixList& list = isSource ? rule.source : rule.destination;
    Rule const* const other = donated( acl );
    if ( !list || random_.percent( 20 ) ) {
      list = other ? ( random_.percent( 50 ) ? other->source : other->destination ) : nullptr;
      return;
    }
    SharedPrefixList const before = list;
    SharedPrefixList const after = std::make_shared<PrefixList const>( editedList( *before, other ) );
    list = after;
    if ( random_.percent( 50 ) ) return;
    for ( Rule& sharing : acl.rules )
      for ( SharedPrefixList* const side : { &sharing.source, &sharing.destination } )
        if ( *side == before ) *side = after;
  }

  PrefixList editedList( PrefixList list, Rule const* donor ) {
    auto& members = random_.percent( 60 ) ? list.prefixes : list.excepts;
    auto const& donated = donor ? ( donor->source ? donor->source : donor->destination ) : nullptr;
    if ( donated && !donated->prefixes.empty() && random_.percent( 60 ) )
      members.push_back( random_.oneOf( donated->prefixes ) );
    else if ( !members.empty() )
      members.erase( members.begin() + static_cast<std::ptrdiff_t>( random_.below( members.size() ) ) );
    return list;
  }

  Random& random_;
  Policy& policy_;
  Policy const& donor_;
};

}  // namespace

Policy edited( Random& random, Policy policy, Policy const& donor ) {
  Editor editor( random, policy, donor );
  for ( std::uint32_t left = random.oneOf( std::vector{ 0U, 1U, 1U, 1U, 1U, 2U, 4U } ); left != 0; --left )
    editor.edit();
  return normalised( std::move( policy ) );
}

}  // namespace Orvex::Host::Test
