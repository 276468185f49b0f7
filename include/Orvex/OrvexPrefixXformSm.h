#pragma once

/// Cuts the prefix sets of one space, an address family on the source or the destination side, into disjoint pieces and labels
/// them.
///
/// An address belongs to the longest prefix that contains it. So every prefix of every set, also an excepted one, is a piece:
/// the addresses for which it is the longest match. Which sets contain a piece is passed down the trie:
///
///     set 1: 10.0.0.0/8, except 10.1.0.0/16         10.0.0.0/8     {1}       label 1
///     set 2: 10.0.0.0/8                             10.1.0.0/16    {2}       label 2
///     set 3: 10.1.2.0/24                            10.1.2.0/24    {2, 3}    label 3
///
/// A piece's group is its parent's, without the sets that except this very prefix, and with the sets that name it. So an
/// except cuts a hole that a longer prefix of the same set can fill again, and where a set names a prefix and excepts it too,
/// it is in the set. A piece that no set contains has a label as well, that of the empty group.
///
/// Pieces are numbered in pre-order of the trie, so that nested sets own neighbouring labels.
///
/// Invariants: those of OrvexXformSm.h, and (5) an address that some set contains, or excepts, has a piece.
/// Cost: O(n log n) in prefixes, and the groups that differ from their parent's, counted in classes: 10,000 different lists
/// that all hold the default route and a hole of their own make 10,000 groups of as many classes.
///
/// Reads PrefixAggregatorInfo, writes PrefixXformStatus.

#include "Kiv/SortedMap.h"
#include "Orvex/OrvexXformSm.h"
#include "Vell/TrieGen.h"

namespace Orvex {

class OrvexPrefixXformSm final : public XformSmBase {
 public:
  OrvexPrefixXformSm( Brae::ChipId chipId, Kiv::Ptr<PrefixXformConfig const> const& config,
                      Kiv::Ptr<PrefixXformStatus> const& status, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
                      PrefixXformKey key );

  PrefixXformKey key() const { return key_; }
  PrefixAggregatorInfo const& prefixAggregatorInfo() const;
  Kiv::Ptr<PrefixXformStatus> const& prefixXformStatus() const { return prefixXformStatus_; }
  /// As of the last computation; null before.
  Kiv::Ptr<Vell::TrieGen> const& trie() const { return trie_; }
  /// The group of each prefix of the trie, in pre-order.
  Kiv::SortedMap<Vell::IpGenPrefix, Kiv::Ptr<GenSetKeyGroup>> const& prefixToGenSetGrp() const {
    return prefixToGenSetGrp_;
  }

 protected:
  void doBuildWorkingSet() override;
  void doBuildSetGroup() override;
  void doAllocLabels() override;
  std::uint32_t xformWidth() const override;

 private:
  class DirectSets;
  class UpdatePrefixSetListCallback;
  class DumpWalkCallback;

  DirectSets doInitSetGroup( ContentClasses<PrefixSet> const& content ) const;
  void doBuildTrie( DirectSets const& directSets );
  void walkTrie( Vell::TrieGenWalkCallback& callback ) const;
  void dumpTrie( std::string_view header ) const;

  PrefixXformKey key_;
  Kiv::Ptr<PrefixXformStatus> prefixXformStatus_;
  Kiv::Ptr<Vell::TrieGen> trie_;
  Kiv::SortedMap<Vell::IpGenPrefix, Kiv::Ptr<GenSetKeyGroup>> prefixToGenSetGrp_;
};

}  // namespace Orvex
