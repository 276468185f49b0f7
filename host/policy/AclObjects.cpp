#include "policy/AclObjects.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "Kiv/Value.h"
#include "input/NearestWord.h"
#include "policy/AclAddresses.h"
#include "policy/PrefixSets.h"

namespace Orvex::Host {

// Named lists

NamedList& NamedLists::at( std::string_view name ) {
  auto const known = byName_.find( name );
  if ( known != byName_.end() ) return *known->second;
  lists_.push_back( {} );
  lists_.back().name = name;
  byName_.emplace( name, &lists_.back() );
  return lists_.back();
}

NamedList& NamedLists::define( AclLine& line ) {
  std::string_view const word = line.word();
  NamedList& list = at( line.takeName( "a list's name" ) );
  if ( list.definition )
    line.fail( word, kind_ + " " + inQuotes( list.name ) + " is defined already",
               "rename one of the two, or join their entries", { { *list.definition, "the first one" } } );
  list.definition = line.placeOf( word );
  return list;
}

ListReferences NamedLists::readReferences( AclLine& line ) {
  ListReferences references;
  for ( std::string_view const word : line.takeNames( "a list's name" ) )
    references.push_back( { &at( unquoted( word ) ), line.placeOf( word ) } );
  return references;
}

std::vector<NamedList const*> NamedLists::reachable( ListReferences const& references, std::string const& user,
                                                     Diagnostics& diagnostics ) {
  ++visits_;
  bool usable = true;
  std::vector<NamedList const*> found;
  std::vector<std::pair<NamedList*, ListReference const*>> ahead;  // with the reference of the user that leads there
  auto const visit = [&]( NamedList* list, ListReference const& through ) {
    if ( std::exchange( list->visit, visits_ ) != visits_ ) ahead.emplace_back( list, &through );
  };
  for ( ListReference const& each : references ) {
    if ( !each.list->definition ) reportUndefined( each, diagnostics );
    visit( each.list, each );
  }
  while ( !ahead.empty() ) {
    auto const [list, through] = ahead.back();
    ahead.pop_back();
    usable = list->definition && isUsable( *list, *through, user, diagnostics ) && usable;
    found.push_back( list );
    for ( ListReference const& each : list->nested ) visit( each.list, *through );
  }
  return usable ? found : std::vector<NamedList const*>();
}

bool NamedLists::isUsable( NamedList const& list, ListReference const& through, std::string const& user,
                           Diagnostics& diagnostics ) const {
  if ( list.hasFaultyLines ) return false;
  if ( !list.isEmpty() && !list.hasOnlyExcepts() ) return true;
  std::string const fault =
      kind_ + " " + inQuotes( list.name ) + ( list.isEmpty() ? " is empty" : " has only excepts" );
  std::string const remedy =
      list.isEmpty() ? "add an entry, or remove the rule"
      : list.nested.empty()
          ? "did you mean any except " + textOf( list.addresses.excepts.front() ) + "? Then add the entry \"any\""
          : "its excepts cut nothing of the lists in it; write them where the addresses stand";
  diagnostics.error( through.place, user + " uses what matches nothing: " + fault, remedy,
                     { { *list.definition, "it stands here" } } );
  return false;
}

void NamedLists::reportUndefined( ListReference const& reference, Diagnostics& diagnostics ) const {
  std::string const& name = reference.list->name;
  std::string const problem = "there is no " + kind_ + " " + inQuotes( name );
  auto const elsewhere = otherFamily_ != nullptr ? otherFamily_->byName_.find( name ) : byName_.end();
  if ( otherFamily_ != nullptr && elsewhere != otherFamily_->byName_.end() && elsewhere->second->definition ) {
    diagnostics.error( reference.place, problem, "lists and ACLs are of one family",
                       { { *elsewhere->second->definition, "this is an " + otherFamily_->kind_ } } );
    return;
  }
  NearestWord nearest( name );
  for ( NamedList const& each : lists_ )
    if ( each.definition ) nearest.consider( each.name );
  std::string const question = nearest.question();
  diagnostics.error( reference.place, problem,
                     question.empty() ? "define it, or include the file that does" : question );
}

void NamedLists::checkNesting( Diagnostics& diagnostics ) const {
  std::unordered_set<NamedList const*> done;
  std::unordered_set<NamedList const*> open;
  for ( NamedList const& start : lists_ ) {
    std::vector<Step> path{ { &start } };  // of its own, because lists may nest deeper than functions
    while ( !path.empty() ) {
      NamedList const* const list = path.back().list;
      if ( done.contains( list ) || path.back().entered == list->nested.size() ) {
        done.insert( list );
        open.erase( list );
        path.pop_back();
        continue;
      }
      open.insert( list );
      ListReference const& inner = list->nested[path.back().entered++];
      if ( !inner.list->definition )
        reportUndefined( inner, diagnostics );
      else if ( open.contains( inner.list ) )
        reportCircle( path, inner, diagnostics );
      else
        path.push_back( { inner.list } );
    }
  }
}

void NamedLists::checkExcepts( Diagnostics& diagnostics ) const {
  for ( NamedList const& list : lists_ ) {
    if ( list.hasOnlyExcepts() ) continue;  // an error where it is used
    PrefixList ascending = list.addresses;
    std::sort( ascending.prefixes.begin(), ascending.prefixes.end() );
    std::sort( ascending.excepts.begin(), ascending.excepts.end() );
    for ( std::size_t at = 0; at != list.excepts.size(); ++at )
      if ( isNeedless( ascending, list.addresses.excepts[at] ) )
        diagnostics.warning( list.excepts[at],
                             "this except cuts nothing: the list's own entries do not match what surrounds it",
                             "remove it, or write it in the list that has the addresses" );
  }
}

void NamedLists::reportCircle( std::vector<Step> const& path, ListReference const& closing,
                               Diagnostics& diagnostics ) const {
  std::string chain;
  auto const start =
      std::find_if( path.begin(), path.end(), [&closing]( Step const& step ) { return step.list == closing.list; } );
  std::for_each( start, path.end(), [&chain]( Step const& step ) { chain += inQuotes( step.list->name ) + ", "; } );
  diagnostics.error( closing.place, kind_ + "s nest in a circle: " + chain + inQuotes( closing.list->name ),
                     "take one of them out of the next" );
}

// Prefix lists

SharedPrefixList AclPrefixLists::single( Vell::IpGenPrefix const& prefix ) {
  if ( prefix.isDefaultRoute() ) return nullptr;
  return std::make_shared<PrefixList const>( PrefixList{ { prefix }, {} } );
}

SharedPrefixList AclPrefixLists::none() {
  if ( !none_ )
    none_ = std::make_shared<PrefixList const>( PrefixList{ {}, { Vell::IpGenPrefix::defaultRoute( family_ ) } } );
  return none_;
}

AclPrefixLists::Joined AclPrefixLists::joined( ListReferences const& references, std::string const& user,
                                               Diagnostics& diagnostics ) {
  std::vector<NamedList const*> key;
  for ( ListReference const& each : references ) key.push_back( each.list );
  Joined& known = joined_[key];
  if ( known.list ) return known;
  std::vector<PrefixList const*> lists;
  auto const parts = std::make_shared<std::vector<ListPart>>();
  for ( NamedList const* const each : named_.reachable( references, user, diagnostics ) ) {
    if ( !each->hasOwnEntries() ) continue;
    SharedPrefixList& own = own_[each];
    if ( !own ) own = std::make_shared<PrefixList const>( each->addresses );
    lists.push_back( own.get() );
    parts->push_back( { each->name, *each->definition, own } );
  }
  if ( lists.empty() ) return {};
  std::sort( parts->begin(), parts->end(), []( ListPart const& a, ListPart const& b ) { return a.name < b.name; } );
  known = { lists.size() == 1 ? parts->front().own : std::make_shared<PrefixList const>( unionOf( lists ) ), parts };
  return known;
}

void AclPrefixLists::addNames( PrefixListNames& names ) const {
  for ( auto const& [key, joined] : joined_ ) {
    if ( key.size() != 1 || !joined.list ) continue;
    PrefixList ascending = *joined.list;
    for ( auto* const prefixes : { &ascending.prefixes, &ascending.excepts } ) {
      std::sort( prefixes->begin(), prefixes->end() );
      prefixes->erase( std::unique( prefixes->begin(), prefixes->end() ), prefixes->end() );
    }
    auto const [named, isNew] = names.emplace( std::move( ascending ), key[0]->name );
    if ( !isNew ) named->second = std::min( named->second, key[0]->name );
  }
}

}  // namespace Orvex::Host
