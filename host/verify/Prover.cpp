#include "verify/Prover.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"
#include "verify/KeyTables.h"
#include "verify/LookUp.h"
#include "verify/WitnessText.h"

namespace Orvex::Verify {

namespace {

/// What stands in each field of the entries, ascending.
Projections projectionsOf( Kiv::SortedSet<PDAclFilter> const& entries ) {
  Projections lists;
  for ( std::size_t field = 0; field != kEntryFields; ++field ) {
    auto& list = lists[field];
    EncodedLabelWithMask const* last = nullptr;
    for ( PDAclFilter const& entry : entries ) {
      EncodedLabelWithMask const& value = entry.*kEntryMembers[field];
      if ( last && *last == value ) continue;
      last = &value;
      auto const at = std::lower_bound( list.begin(), list.end(), value );
      if ( at == list.end() || *at != value ) list.insert( at, value );
    }
  }
  return lists;
}

/// Of a product too large to walk through: any number above the limit.
std::uint64_t productSize( Projections const& lists, std::uint64_t limit ) {
  std::uint64_t product = 1;
  for ( auto const& list : lists ) {
    if ( product > limit / list.size() ) return limit + 1;
    product *= list.size();
  }
  return product;
}

Projections projectionsOf( PDAclFilter const& entry ) {
  Projections lists;
  for ( std::size_t field = 0; field != kEntryFields; ++field ) lists[field] = { entry.*kEntryMembers[field] };
  return lists;
}

/// Walks through the product in the order of entries.
class Product {
 public:
  explicit Product( Projections const& lists ) : lists_( lists ) {
    for ( std::size_t field = 0; field != kEntryFields; ++field ) entry_.*kEntryMembers[field] = lists[field].front();
  }

  PDAclFilter const& entry() const { return entry_; }
  /// False after the last.
  bool step() {
    for ( std::size_t field = kEntryFields; field != 0; --field ) {
      std::size_t const at = field - 1;
      bool const isLast = ++places_[at] == lists_[at].size();
      if ( isLast ) places_[at] = 0;
      entry_.*kEntryMembers[at] = lists_[at][places_[at]];
      if ( !isLast ) return true;
    }
    return false;
  }

 private:
  Projections const& lists_;
  std::array<std::size_t, kEntryFields> places_{};
  PDAclFilter entry_;
};

/// One ACL of the policy against the rules of the table that have its name.
class AclProver {
 public:
  AclProver( PacketSpace& space, KeyTables& tables, Spending& spending, Proof& proof )
      : space_( space ), tables_( tables ), spending_( spending ), engine_( space.sets(), spending ), proof_( proof ) {}

  /// A box of packets about which they disagree. A null table has no rules.
  std::optional<Box> difference( Host::Acl const& acl, PDAclRuleColl const* table, Host::DefaultAction onMiss ) {
    std::map<std::uint32_t, std::pair<Host::Rule const*, PDAclRule const*>> rules;
    for ( Host::Rule const& rule : acl.rules ) rules[rule.index].first = &rule;
    if ( table )
      for ( auto const& [index, rule] : table->rule() ) rules[index.value()].second = rule.get();
    for ( auto const& [index, both] : rules ) {
      std::uint64_t const boxesBefore = spending_.boxes();
      auto const found = difference( both.first, both.second );
      ++proof_.rules;
      if ( spending_.boxes() != boxesBefore ) ++proof_.rulesByBoxes;
      if ( found ) return found;
      if ( both.first ) earlier_.push_back( space_.boxOf( *both.first ) );
      if ( both.second ) earlierEntries_.push_back( &both.second->filter() );
    }
    return acl.defaultAction == onMiss ? std::nullopt : engine_.uncovered( space_.all(), {}, earlier_ );
  }

 private:
  /// One of them may be null: then that side has no such rule, and matches nothing.
  std::optional<Box> difference( Host::Rule const* rule, PDAclRule const* inTable ) {
    Box const want = rule ? space_.boxOf( *rule ) : Box();
    auto found =
        inTable && !inTable->filter().empty() ? differenceOfEntries( want, inTable->filter() ) : leftOver( want, {} );
    if ( !found && rule && inTable && rule->action != inTable->action() ) found = leftOver( want, {} );
    return found;
  }

  std::optional<Box> differenceOfEntries( Box const& want, Kiv::SortedSet<PDAclFilter> const& entries ) {
    proof_.entries += entries.size();
    Projections const lists = projectionsOf( entries );
    std::uint64_t const size = productSize( lists, kLargestProduct );
    if ( size > kLargestProduct ) return differenceEntryByEntry( want, entries );
    std::vector<Box> const product = tables_.boxesOf( lists );
    if ( size == entries.size() ) {
      if ( product.size() == 1 && product.front() == want ) return std::nullopt;
      auto const tooMuch = beyond( product, want );
      return tooMuch ? tooMuch : leftOver( want, product );
    }
    bool const isWithin =
        std::all_of( product.begin(), product.end(), [&]( Box const& box ) { return engine_.contains( want, box ); } );
    if ( !isWithin ) return differenceEntryByEntry( want, entries );
    bool const isWhole = product.size() == 1 && product.front() == want;
    auto const tooLittle = isWhole ? std::nullopt : leftOver( want, product );
    return tooLittle ? tooLittle : missingEntry( lists, entries );
  }

  /// An entry of the product that neither this rule nor an earlier one has, and what of it no earlier rule matches.
  std::optional<Box> missingEntry( Projections const& lists, Kiv::SortedSet<PDAclFilter> const& entries ) {
    auto next = entries.begin();
    Product product( lists );
    do {
      if ( next != entries.end() && *next == product.entry() )
        ++next;
      else if ( !earlierRulesHave( product.entry() ) )
        for ( Box const& box : tables_.boxesOf( projectionsOf( product.entry() ) ) )
          if ( auto const found = leftOver( box, {} ) ) return found;
    } while ( product.step() );
    return std::nullopt;
  }

  std::optional<Box> differenceEntryByEntry( Box const& want, Kiv::SortedSet<PDAclFilter> const& entries ) {
    std::vector<Box> all;
    for ( PDAclFilter const& entry : entries ) {
      spending_.spend();
      auto const boxes = tables_.boxesOf( projectionsOf( entry ) );
      if ( auto const found = beyond( boxes, want ) ) return found;
      all.insert( all.end(), boxes.begin(), boxes.end() );
    }
    return leftOver( want, all );
  }

  /// What of the boxes neither the rule nor an earlier one matches.
  std::optional<Box> beyond( std::vector<Box> const& boxes, Box const& want ) {
    for ( Box const& box : boxes )
      if ( auto const found = engine_.uncovered( box, { &want, 1 }, earlier_ ) ) return found;
    return std::nullopt;
  }

  /// What of the rule neither the boxes contain nor an earlier rule matches.
  std::optional<Box> leftOver( Box const& want, std::vector<Box> const& boxes ) {
    return engine_.uncovered( want, boxes, earlier_ );
  }

  bool earlierRulesHave( PDAclFilter const& entry ) {
    for ( ; knownRules_ != earlierEntries_.size(); ++knownRules_ )
      for ( PDAclFilter const& earlier : *earlierEntries_[knownRules_] ) known_.insert( &earlier );
    return known_.contains( &entry );
  }

  struct ContentHash {
    std::size_t operator()( PDAclFilter const* entry ) const { return entry->hash(); }
  };
  struct ContentEqual {
    bool operator()( PDAclFilter const* a, PDAclFilter const* b ) const { return *a == *b; }
  };
  static constexpr std::uint64_t kLargestProduct = 50'000'000;

  PacketSpace& space_;
  KeyTables& tables_;
  Spending& spending_;
  BoxEngine engine_;
  Proof& proof_;
  std::vector<Box> earlier_;  // the policy's rules
  std::vector<Kiv::SortedSet<PDAclFilter> const*> earlierEntries_;
  std::size_t knownRules_ = 0;  // of earlierEntries_, those that known_ has
  std::unordered_set<PDAclFilter const*, ContentHash, ContentEqual> known_;
};

std::string nameOf( PDAclKey const& key ) {
  return std::string( Kiv::stringValue( key.af ) ) + " ACL " + std::string( key.aclName.view() );
}

PDAclKey keyOf( Host::Acl const& acl ) { return { acl.family, Host::libraryAclName( acl.family, acl.name ) }; }

/// An ACL that the table has and the policy does not; empty: there is none.
std::string foreignAcl( Host::Policy const& policy, PDData const& snapshot, DefaultActions const& defaults ) {
  std::map<PDAclKey, bool> known;
  for ( Host::Acl const& acl : policy.acls ) known[keyOf( acl )] = true;
  if ( snapshot.pdAclColl() )
    for ( auto acl = snapshot.pdAclColl()->pdAcl().begin(); acl; ++acl )
      if ( !known.contains( acl.key() ) ) return nameOf( acl.key() );
  for ( auto const& [key, action] : defaults )
    if ( !known.contains( key ) ) return nameOf( key );
  return {};
}

/// Fails with: Undecided.
std::optional<Witness> witnessIn( Host::Policy const& policy, Vell::AddressFamily family, PDData const& snapshot,
                                  TableShape const& shape, DefaultActions const& defaults, Spending& spending,
                                  Proof& proof ) {
  AtomSets sets;
  PacketSpace space( family, sets );
  bool isUsed = false;
  for ( Host::Acl const& acl : policy.acls ) {
    if ( acl.family != family ) continue;
    space.cutAt( acl );
    isUsed = true;
  }
  if ( !isUsed ) return std::nullopt;
  KeyTables tables( snapshot, shape, space );
  for ( Host::Acl const& acl : policy.acls ) {
    if ( acl.family != family ) continue;
    PDAclKey const key = keyOf( acl );
    auto const table = snapshot.pdAclColl() ? snapshot.pdAclColl()->pdAcl().find( key ) : nullptr;
    auto const stated = defaults.find( key );
    auto const onMiss = stated == defaults.end() ? Host::DefaultAction::deny : stated->second;
    AclProver prover( space, tables, spending, proof );
    auto const box = prover.difference( acl, table.get(), onMiss );
    if ( !box ) continue;
    Packet const packet = space.packetIn( *box );
    Verdict const wanted = interpret( acl, packet );
    Verdict const found = lookUp( snapshot, shape, key.aclName, actionOf( onMiss ), packet );
    if ( wanted == found ) throw Undecided( "interpreter and look-up agree where the prover sees a difference" );
    return witnessOf( acl, table.get(), keyOf( snapshot, shape, packet ), packet, wanted, found );
  }
  return std::nullopt;
}

}  // namespace

Proof prove( Host::Policy const& policy, PDData const& snapshot, TableShape const& shape,
             DefaultActions const& defaults, Budget const& budget ) {
  Proof proof;
  Spending spending( budget );
  try {
    for ( auto const family : { Vell::AddressFamily::ipv4, Vell::AddressFamily::ipv6 } ) {
      proof.witness = witnessIn( policy, family, snapshot, shape, defaults, spending, proof );
      if ( proof.witness ) break;
    }
    std::string const foreign = foreignAcl( policy, snapshot, defaults );
    if ( proof.witness )
      proof.reason = textOf( *proof.witness );
    else if ( !foreign.empty() )
      proof.reason = "the policy has no " + foreign;
    proof.outcome = proof.reason.empty() ? Outcome::equal : Outcome::different;
  } catch ( Undecided const& undecided ) {
    proof.reason = undecided.what();
  }
  proof.boxes = spending.boxes();
  return proof;
}

}  // namespace Orvex::Verify
