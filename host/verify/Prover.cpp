#include "verify/Prover.h"

#include <algorithm>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "policy/AclConfigBuilder.h"
#include "verify/Interpreter.h"
#include "verify/KeyTables.h"
#include "verify/LookUp.h"
#include "verify/WitnessText.h"

namespace Orvex::Verify {

namespace {

/// Makes `lists` what stands in each field of the entries, ascending.
void project( Kiv::SortedSet<PDAclFilter> const& entries, Projections& lists ) {
  for ( std::size_t field = 0; field != kEntryFields; ++field ) {
    auto& list = lists[field];
    list.clear();
    EncodedLabelWithMask const* last = nullptr;
    for ( PDAclFilter const& entry : entries ) {
      EncodedLabelWithMask const& value = entry.*kEntryMembers[field];
      if ( last && *last == value ) continue;
      last = &value;
      auto const at = std::lower_bound( list.begin(), list.end(), value );
      if ( at == list.end() || *at != value ) list.insert( at, value );
    }
  }
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

void project( PDAclFilter const& entry, Projections& lists ) {
  for ( std::size_t field = 0; field != kEntryFields; ++field ) lists[field].assign( 1, entry.*kEntryMembers[field] );
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

/// A rule of the policy and one of the table; one of the two may be null.
using Both = std::pair<Host::Rule const*, PDAclRule const*>;

/// The rules of both by index. A null table has none.
std::vector<Both> pairedByIndex( Host::Acl const& acl, PDAclRuleColl const* table ) {
  std::vector<Both> rules;
  rules.reserve( acl.rules.size() );
  auto want = acl.rules.begin();
  if ( table )
    for ( auto const& [index, have] : table->rule() ) {
      for ( ; want != acl.rules.end() && want->index < index.value(); ++want ) rules.emplace_back( &*want, nullptr );
      bool const isInBoth = want != acl.rules.end() && want->index == index.value();
      rules.emplace_back( isInBoth ? &*want++ : nullptr, have.get() );
    }
  for ( ; want != acl.rules.end(); ++want ) rules.emplace_back( &*want, nullptr );
  return rules;
}

/// One ACL of the policy against the rules of the table that have its name.
class AclProver {
 public:
  AclProver( PacketSpace& space, KeyTables& tables, Spending& spending, Proof& proof )
      : space_( space ), tables_( tables ), spending_( spending ), engine_( space.sets(), spending ), proof_( proof ) {}

  /// A box of packets about which they disagree. A null table has no rules.
  std::optional<Box> difference( Host::Acl const& acl, PDAclRuleColl const* table, Host::DefaultAction onMiss ) {
    for ( auto const& [want, have] : pairedByIndex( acl, table ) ) {
      std::uint64_t const boxesBefore = spending_.boxes();
      Box const wanted = want ? space_.boxOf( *want ) : Box();
      auto const found = difference( want, wanted, have );
      ++proof_.rules;
      if ( spending_.boxes() != boxesBefore ) ++proof_.rulesByBoxes;
      if ( found ) return found;
      if ( want ) earlier_.push_back( wanted );
      if ( have ) earlierEntries_.push_back( &have->filter() );
      if ( missing_.size() <= kMostMissing ) continue;
      if ( auto const ofMissing = differenceOfMissing() ) return ofMissing;
    }
    if ( auto const found = differenceOfMissing() ) return found;
    return acl.defaultAction == onMiss ? std::nullopt : engine_.uncovered( space_.all(), {}, earlier_ );
  }

 private:
  /// `want` is the rule's box. One of the two may be null: then that side has no such rule, and matches nothing.
  std::optional<Box> difference( Host::Rule const* rule, Box const& want, PDAclRule const* inTable ) {
    auto found =
        inTable && !inTable->filter().empty() ? differenceOfEntries( want, inTable->filter() ) : leftOver( want, {} );
    if ( !found && rule && inTable && rule->action != inTable->action() ) found = leftOver( want, {} );
    return found;
  }

  std::optional<Box> differenceOfEntries( Box const& want, Kiv::SortedSet<PDAclFilter> const& entries ) {
    proof_.entries += entries.size();
    project( entries, lists_ );
    std::uint64_t const mostWalked = entries.size() + kMostMissing;
    std::uint64_t const size = productSize( lists_, mostWalked );
    if ( size > mostWalked ) return differenceEntryByEntry( want, entries );
    std::span<Box const> const product = tables_.boxesOf( lists_ );
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
    if ( !tooLittle ) noteMissing( entries );
    return tooLittle;
  }

  /// Notes the entries of the product that this rule does not have.
  void noteMissing( Kiv::SortedSet<PDAclFilter> const& entries ) {
    auto next = entries.begin();
    Product product( lists_ );
    do {
      if ( next != entries.end() && *next == product.entry() ) {
        ++next;
        continue;
      }
      spending_.step( space_.sets() );
      missing_.push_back( { product.entry(), earlier_.size(), earlierEntries_.size() } );
    } while ( product.step() );
  }

  /// What neither an earlier rule nor its own matches of a missing entry that no earlier rule has. Looking all of them up
  /// in one walk through the table is several times as fast as keeping a set of all entries so far.
  std::optional<Box> differenceOfMissing() {
    std::unordered_map<PDAclFilter const*, std::size_t, ContentHash, ContentEqual> firstRules;
    firstRules.reserve( missing_.size() );
    for ( Missing const& missing : missing_ ) firstRules.emplace( &missing.entry, earlierEntries_.size() );
    for ( std::size_t at = 0; !missing_.empty() && at != earlierEntries_.size(); ++at )
      for ( PDAclFilter const& entry : *earlierEntries_[at] )
        if ( auto const wanted = firstRules.find( &entry ); wanted != firstRules.end() )
          wanted->second = std::min( wanted->second, at );
    std::vector<Box> own;
    std::size_t ownersPlace = earlierEntries_.size();
    for ( Missing const& missing : missing_ ) {
      if ( firstRules.at( &missing.entry ) < missing.earlierInTable ) continue;
      spending_.step( space_.sets() );
      if ( missing.earlierInTable != ownersPlace ) {
        ownersPlace = missing.earlierInTable;
        own = boxesOf( *earlierEntries_[ownersPlace] );
        ++proof_.rulesByBoxes;
      }
      project( missing.entry, lists_ );
      for ( Box const& box : tables_.boxesOf( lists_ ) )
        if ( auto const found = engine_.uncovered( box, own, { earlier_.data(), missing.earlier } ) ) return found;
    }
    missing_.clear();
    return std::nullopt;
  }

  std::optional<Box> differenceEntryByEntry( Box const& want, Kiv::SortedSet<PDAclFilter> const& entries ) {
    std::vector<Box> const boxes = boxesOf( entries );
    auto const tooMuch = beyond( boxes, want );
    return tooMuch ? tooMuch : leftOver( want, boxes );
  }

  std::vector<Box> boxesOf( Kiv::SortedSet<PDAclFilter> const& entries ) {
    std::vector<Box> all;
    for ( PDAclFilter const& entry : entries ) {
      spending_.step( space_.sets() );
      project( entry, lists_ );
      auto const boxes = tables_.boxesOf( lists_ );
      all.insert( all.end(), boxes.begin(), boxes.end() );
    }
    return all;
  }

  /// What of the boxes neither the rule nor an earlier one matches.
  std::optional<Box> beyond( std::span<Box const> boxes, Box const& want ) {
    for ( Box const& box : boxes )
      if ( auto const found = engine_.uncovered( box, { &want, 1 }, earlier_ ) ) return found;
    return std::nullopt;
  }

  /// What of the rule neither the boxes contain nor an earlier rule matches.
  std::optional<Box> leftOver( Box const& want, std::span<Box const> boxes ) {
    return engine_.uncovered( want, boxes, earlier_ );
  }

  /// An entry that a full product would have, and how many rules the policy and the table have before its rule.
  struct Missing {
    PDAclFilter entry;
    std::size_t earlier;
    std::size_t earlierInTable;
  };
  struct ContentHash {
    std::size_t operator()( PDAclFilter const* entry ) const { return entry->hash(); }
  };
  struct ContentEqual {
    bool operator()( PDAclFilter const* a, PDAclFilter const* b ) const { return *a == *b; }
  };
  static constexpr std::size_t kMostMissing = 1'000'000;

  PacketSpace& space_;
  KeyTables& tables_;
  Spending& spending_;
  BoxEngine engine_;
  Proof& proof_;
  Projections lists_;         // of the entries that are looked at
  std::vector<Box> earlier_;  // the policy's rules
  std::vector<Kiv::SortedSet<PDAclFilter> const*> earlierEntries_;
  std::vector<Missing> missing_;
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
  KeyTables tables( snapshot, shape, space, spending );
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
