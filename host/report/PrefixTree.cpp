#include "report/PrefixTree.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace Orvex::Host {

namespace {

constexpr std::size_t kMaxNamedLists = 4;

/// A list of the side, and where it changes its answer.
struct Mark {
  std::size_t list = 0;
  bool matches = false;
};

class TreeBuilder {
 public:
  TreeBuilder( LocatedPolicy const& located, PrefixXformKey space ) : located_( located ), space_( space ) {
    for ( Acl const& acl : located.policy.acls )
      if ( acl.family == space.af() )
        for ( Rule const& rule : acl.rules ) addList( acl, rule );
  }

  PrefixTree tree( PDData const* snapshot, std::size_t most ) {
    for ( auto const& [prefix, marks] : marks_ ) labels_.try_emplace( prefix );
    auto const table = snapshot ? snapshot->pdPrefixXformEntryColl().find( space_ ) : nullptr;
    if ( table )
      for ( auto const& [prefix, entry] : table->entry() ) labels_[prefix] = entry.value.value();
    PrefixTree tree{ space_, {}, 0 };
    for ( auto const& [prefix, label] : labels_ ) {
      tree.nodes.emplace_back();
      tree.nodes.back().prefix = prefix;
      tree.nodes.back().label = label;
    }
    nest( tree.nodes );
    choose( tree, most );
    nameLists( tree.nodes );
    return tree;
  }

 private:
  void addList( Acl const& acl, Rule const& rule ) {
    SharedPrefixList const& list = space_.src() ? rule.source : rule.destination;
    if ( !list || !known_.insert( list.get() ).second ) return;
    std::size_t const number = names_.size();
    names_.push_back( nameOf( acl, rule, list ) );
    for ( Vell::IpGenPrefix const& prefix : list->excepts ) marks_[prefix].push_back( { number, false } );
    for ( Vell::IpGenPrefix const& prefix : list->prefixes ) marks_[prefix].push_back( { number, true } );
  }

  /// As the policy calls it, or else by the first rule that has it.
  std::string nameOf( Acl const& acl, Rule const& rule, SharedPrefixList const& list ) const {
    auto const named = located_.listNames.find( *list );
    if ( named != located_.listNames.end() ) return named->second;
    auto const* const place = located_.places.rule( acl.family, acl.name, rule.index );
    ListParts const parts = !place ? nullptr : space_.src() ? place->source : place->destination;
    std::string name;
    if ( parts )
      for ( ListPart const& part : *parts ) name.append( name.empty() ? "" : "+" ).append( part.name );
    return name.empty() ? acl.name + " rule " + std::to_string( rule.index ) : name;
  }

  static void nest( std::vector<PrefixNode>& nodes ) {
    std::vector<std::size_t> path;
    for ( std::size_t at = 0; at != nodes.size(); ++at ) {
      while ( !path.empty() && !nodes[path.back()].prefix.contains( nodes[at].prefix ) ) path.pop_back();
      nodes[at].depth = path.size();
      for ( std::size_t const outer : path ) ++nodes[outer].within;
      path.push_back( at );
    }
  }

  static void choose( PrefixTree& tree, std::size_t most ) {
    std::vector<std::size_t> order( tree.nodes.size() );
    for ( std::size_t at = 0; at != order.size(); ++at ) order[at] = at;
    std::stable_sort( order.begin(), order.end(),
                      [&]( std::size_t a, std::size_t b ) { return tree.nodes[a].depth < tree.nodes[b].depth; } );
    order.resize( std::min( most, order.size() ) );
    for ( std::size_t const at : order ) tree.nodes[at].isChosen = true;
    tree.leftOut = tree.nodes.size() - order.size();
    std::vector<std::size_t> chosenBefore( 1, 0 );
    for ( PrefixNode const& node : tree.nodes )
      chosenBefore.push_back( chosenBefore.back() + ( node.isChosen ? 1 : 0 ) );
    for ( std::size_t at = 0; at != tree.nodes.size(); ++at ) {
      PrefixNode& node = tree.nodes[at];
      node.leftOut = node.within - ( chosenBefore[at + 1 + node.within] - chosenBefore[at + 1] );
    }
  }

  /// What is around a chosen prefix is chosen too.
  void nameLists( std::vector<PrefixNode>& nodes ) const {
    std::vector<std::set<std::size_t>> matching( 1 );  // of the path's prefixes, and outside all
    for ( PrefixNode& node : nodes ) {
      if ( !node.isChosen ) continue;
      matching.resize( node.depth + 1 );
      std::set<std::size_t> lists = matching.back();
      std::set<std::size_t> excepted;
      auto const marks = marks_.find( node.prefix );
      if ( marks != marks_.end() )
        for ( Mark const& mark : marks->second ) {
          if ( mark.matches )
            lists.insert( mark.list );
          else if ( lists.erase( mark.list ) != 0 )
            excepted.insert( mark.list );
        }
      for ( std::size_t const list : lists ) excepted.erase( list );
      node.matched = namesOf( lists );
      node.excepted = namesOf( excepted );
      matching.push_back( std::move( lists ) );
    }
  }

  std::string namesOf( std::set<std::size_t> const& lists ) const {
    std::string text;
    std::size_t named = 0;
    for ( std::size_t const list : lists ) {
      if ( ++named > kMaxNamedLists ) break;
      text.append( text.empty() ? "" : ", " ).append( names_[list] );
    }
    if ( lists.size() > kMaxNamedLists ) text += " and " + std::to_string( lists.size() - kMaxNamedLists ) + " more";
    return text;
  }

  LocatedPolicy const& located_;
  PrefixXformKey space_;
  std::set<PrefixList const*> known_;
  std::vector<std::string> names_;
  std::map<Vell::IpGenPrefix, std::vector<Mark>> marks_;
  std::map<Vell::IpGenPrefix, std::optional<std::uint16_t>> labels_;
};

}  // namespace

PrefixTree prefixTreeOf( LocatedPolicy const& located, PrefixXformKey space, PDData const* snapshot,
                         std::size_t most ) {
  return TreeBuilder( located, space ).tree( snapshot, most );
}

}  // namespace Orvex::Host
