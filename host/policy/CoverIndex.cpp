#include "policy/CoverIndex.h"

#include <algorithm>
#include <array>

#include "Kiv/Hash.h"
#include "policy/PrefixSets.h"

namespace Orvex::Host {

namespace {

bool containsAddresses( SharedPrefixList const& outer, SharedPrefixList const& inner ) {
  return !outer || outer == inner || ( inner && contains( *outer, *inner ) );
}

/// Parts of a rule's match beside its addresses: the fields, and the TCP flags.
constexpr std::size_t kParts = kFieldCount + 1;

/// Numbers that stand for the parts that a rule names; the sum of any of them is the fingerprint of the rule with these
/// parts alone.
struct Fingerprints {
  std::array<std::uint64_t, kParts> parts{};
  std::size_t count = 0;

  explicit Fingerprints( Rule const& rule ) {
    for ( Field const field : kFields ) {
      if ( rule.ranges[field].empty() ) continue;
      Kiv::IncrementalHash hash;
      hash.add( field );
      for ( ValueRange const range : rule.ranges[field] ) hash.add( range.first ).add( range.last );
      addPart( hash );
    }
    if ( rule.tcpInit || rule.tcpEstablished ) addPart( Kiv::IncrementalHash().add( rule.tcpInit ) );
  }

  /// Of the parts whose bits are set.
  std::uint64_t sum( std::size_t bits ) const {
    std::uint64_t result = 0;
    for ( std::size_t part = 0; part != count; ++part )
      if ( ( bits >> part & 1 ) != 0 ) result += parts[part];
    return result;
  }
  /// A rule that names more parts than this is compared as a whole alone: there are 2^parts ways to leave some open.
  static constexpr std::size_t kMaxOpenParts = 6;
  std::size_t firstBits() const { return count > kMaxOpenParts ? allBits() : 0; }
  std::size_t allBits() const { return ( std::size_t{ 1 } << count ) - 1; }

 private:
  void addPart( Kiv::IncrementalHash const& hash ) {
    parts[count++] = std::uint64_t{ hash.result() } * 0x9E3779B97F4A7C15U;
  }
};

std::uint64_t pairOf( std::uint32_t source, std::uint32_t destination ) {
  return std::uint64_t{ source } << 32 | destination;
}

}  // namespace

bool containsValues( RangeSet const& outer, RangeSet const& inner ) {
  if ( outer.empty() ) return true;
  if ( inner.empty() ) return false;
  auto at = outer.begin();
  return std::all_of( inner.begin(), inner.end(), [&]( ValueRange range ) {
    while ( at != outer.end() && at->last < range.first ) ++at;
    return at != outer.end() && at->first <= range.first && range.last <= at->last;
  } );
}

bool coversButAddresses( Rule const& outer, Rule const& inner ) {
  bool const outerLooks = outer.tcpInit || outer.tcpEstablished;
  bool const innerLooks = inner.tcpInit || inner.tcpEstablished;
  if ( outerLooks && ( !innerLooks || outer.tcpInit != inner.tcpInit ) ) return false;
  return std::all_of( kFields.begin(), kFields.end(),
                      [&]( Field field ) { return containsValues( outer.ranges[field], inner.ranges[field] ); } );
}

bool covers( Rule const& outer, Rule const& inner ) {
  return coversButAddresses( outer, inner ) && containsAddresses( outer.source, inner.source ) &&
         containsAddresses( outer.destination, inner.destination );
}

ListContainers::ListContainers( Acl const& acl ) : lists_{ nullptr } {
  ids_.reserve( acl.rules.size() );
  for ( Rule const& rule : acl.rules ) {
    learn( rule.source );
    learn( rule.destination );
  }
  nestPrefixes();
  around_.resize( lists_.size() );
}

void ListContainers::learn( SharedPrefixList const& list ) {
  if ( list && ids_.emplace( list.get(), static_cast<ListId>( lists_.size() ) ).second ) lists_.push_back( list.get() );
}

/// Prefixes nest and never cross: in ascending order the nearest around one is the last before it that contains it.
void ListContainers::nestPrefixes() {
  std::vector<std::pair<Vell::IpGenPrefix, ListId>> all;
  for ( ListId id = 0; id != lists_.size(); ++id )
    if ( lists_[id] )
      for ( Vell::IpGenPrefix const& prefix : lists_[id]->prefixes ) all.emplace_back( prefix, id );
  std::sort( all.begin(), all.end() );
  firstNode_.resize( lists_.size() );
  std::vector<std::size_t> open;
  for ( auto const& [prefix, list] : all ) {
    if ( nodes_.empty() || nodes_.back().prefix != prefix ) {
      while ( !open.empty() && !nodes_[open.back()].prefix.contains( prefix ) ) open.pop_back();
      nodes_.push_back( { prefix, {}, open.empty() ? std::nullopt : std::optional( open.back() ) } );
      open.push_back( nodes_.size() - 1 );
    }
    nodes_.back().lists.push_back( list );
    if ( !firstNode_[list] ) firstNode_[list] = nodes_.size() - 1;
  }
}

std::vector<ListContainers::ListId> const& ListContainers::around( ListId id ) {
  if ( around_[id].empty() ) around_[id] = searchAround( id );
  return around_[id];
}

std::vector<ListContainers::ListId> ListContainers::searchAround( ListId id ) const {
  if ( id == kAny ) return { kAny };
  std::vector<ListId> found = { id, kAny };
  std::size_t candidatesLeft = kMaxCandidates;
  for ( auto at = firstNode_[id]; at; at = nodes_[*at].around ) {
    for ( ListId const candidate : nodes_[*at].lists ) {
      if ( candidate == id ) continue;
      if ( candidatesLeft-- == 0 || found.size() == kMaxLists ) return found;
      if ( contains( *lists_[candidate], *lists_[id] ) ) found.push_back( candidate );
    }
  }
  return found;
}

void CoverIndex::add( std::size_t position ) {
  Rule const& rule = acl_.rules[position];
  Bucket& bucket = buckets_[pairOf( lists_.idOf( rule.source ), lists_.idOf( rule.destination ) )];
  if ( bucket.scanned.size() != kScanned ) {
    bucket.scanned.push_back( position );
    return;
  }
  Fingerprints const fingerprints( rule );
  bucket.further.insert_or_assign( fingerprints.sum( fingerprints.allBits() ), position );
}

std::optional<std::size_t> CoverIndex::covering( Rule const& rule ) const {
  std::optional<std::size_t> found;
  std::size_t comparisonsLeft = kMaxComparisons;
  auto const consider = [&]( std::size_t position ) {
    if ( comparisonsLeft == 0 || ( found && position > *found ) ) return;
    --comparisonsLeft;
    if ( coversButAddresses( acl_.rules[position], rule ) ) found = position;
  };
  Fingerprints const fingerprints( rule );
  auto const& destinations = lists_.around( lists_.idOf( rule.destination ) );
  for ( auto const source : lists_.around( lists_.idOf( rule.source ) ) ) {
    for ( auto const destination : destinations ) {
      auto const at = buckets_.find( pairOf( source, destination ) );
      if ( at == buckets_.end() ) continue;
      for ( std::size_t const position : at->second.scanned ) consider( position );
      if ( at->second.further.empty() ) continue;
      for ( std::size_t bits = fingerprints.firstBits(); bits <= fingerprints.allBits(); ++bits ) {
        auto const further = at->second.further.find( fingerprints.sum( bits ) );
        if ( further != at->second.further.end() ) consider( further->second );
      }
    }
  }
  return found;
}

}  // namespace Orvex::Host
