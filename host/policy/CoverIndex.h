#pragma once

/// Finds, among rules of an ACL, one that matches everything that a given rule matches.
///
/// To compare each rule with each earlier one takes five thousand million comparisons for 100,000 rules. Instead, rules
/// are kept by their pair of prefix lists. A rule that covers another has, on each side, a list that contains the other's:
/// any address, the same list, or one with a prefix around the other's first prefix. These are few, so few pairs are
/// looked up. Of the rules of a pair, the first kScanned are compared one by one; of further ones are found those that
/// name the same values as the given rule, or leave some of its fields open.
///
///     10 permit tcp 10.0.0.0/8 any           covers 20: the source is within, the port left open
///     20 permit tcp 10.1.0.0/16 any eq 80
///
/// What is found is right. Not found are: rules that cover together and not alone; what lies behind the bounds below; and
/// lists that cover by prefixes which only together fill the other's.
///
/// Cost of a search: bounded by ListContainers::kMaxLists squared look-ups and kMaxComparisons comparisons; of all, near to linear.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "policy/Policy.h"

namespace Orvex::Host {

/// Whether `outer` matches every packet that `inner` matches; yes is always right.
bool covers( Rule const& outer, Rule const& inner );

/// The same without the addresses.
bool coversButAddresses( Rule const& outer, Rule const& inner );

/// Whether every value of `inner` is in `outer`, of which none stands for all. Requires: both are normalised.
bool containsValues( RangeSet const& outer, RangeSet const& inner );

/// The prefix lists of an ACL's rules, and which of them contain which. Null, any address, is one of them.
class ListContainers {
 public:
  using ListId = std::uint32_t;
  static constexpr std::size_t kMaxLists = 16;
  static constexpr std::size_t kMaxCandidates = 64;

  explicit ListContainers( Acl const& acl );

  ListId idOf( SharedPrefixList const& list ) const { return list ? ids_.at( list.get() ) : kAny; }
  /// The lists that contain this one: itself, any address, and others up to the bounds.
  std::vector<ListId> const& around( ListId id );

 private:
  static constexpr ListId kAny = 0;

  /// A prefix of some lists, and the nearest around it of those that lists have.
  struct Node {
    Vell::IpGenPrefix prefix;
    std::vector<ListId> lists;
    std::optional<std::size_t> around;
  };

  void learn( SharedPrefixList const& list );
  void nestPrefixes();
  std::vector<ListId> searchAround( ListId id ) const;

  std::vector<PrefixList const*> lists_;  // by id
  std::unordered_map<PrefixList const*, ListId> ids_;
  std::vector<Node> nodes_;                            // ascending
  std::vector<std::optional<std::size_t>> firstNode_;  // by id: that of the list's first prefix
  std::vector<std::vector<ListId>> around_;            // by id; empty: not searched for yet
};

class CoverIndex {
 public:
  static constexpr std::size_t kScanned = 32;
  static constexpr std::size_t kMaxComparisons = 256;

  /// Has none of the rules yet. Requires: the ACL is normalised; both outlive the index.
  CoverIndex( Acl const& acl, ListContainers& lists ) : acl_( acl ), lists_( lists ) {}

  void add( std::size_t position );
  /// Of the added rules that cover this one and are found, the one with the lowest position.
  /// Requires: the rule's lists are lists of the ACL's rules.
  std::optional<std::size_t> covering( Rule const& rule ) const;

 private:
  struct Bucket {
    std::vector<std::size_t> scanned;
    std::unordered_map<std::uint64_t, std::size_t> further;  // by fingerprint; the last one added
  };

  Acl const& acl_;
  ListContainers& lists_;
  std::unordered_map<std::uint64_t, Bucket> buckets_;  // by the ids of source and destination
};

}  // namespace Orvex::Host
