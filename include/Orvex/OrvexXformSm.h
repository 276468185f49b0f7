#pragma once

/// The base of the transforms: what prefixes, ranges and combinations have in common once they are cut into pieces.
///
/// A transform cuts overlapping sets into disjoint pieces and asks of each piece only which sets contain it, its set group.
/// Rules cannot tell two pieces of one group apart, so these share a plain label:
///
///     piece 1-49      {A}        label 1        A: 1, 2
///     piece 50-50     {A, B}     label 2        B: 2
///     piece 51-100    {A}        label 1
///
/// A kick compares the keys of the sets with those of the last kick that found a change. Equal: "finishedSkipped". Else the
/// pieces are made and labelled anew, and the kick ends "finishedFailed" when there are more labels than fit the width, label
/// 0 being reserved. What was computed then stays in the status; and as the keys have been seen, a kick over the same keys is
/// skipped. Width 0 is "finishedNotEnabled".
///
/// Invariants, after a computation: (1) pieces are disjoint, and their union is that of the sets and of what is cut out of
/// them; (2) two pieces have one label exactly when their groups are equal; (3) labels run from 1 without gaps, in the order
/// in which the groups appear in ascending order of the pieces; (4) the list of a set has the labels of its pieces and no
/// others; a set without pieces has no list.
/// Cost: a hash of each piece, and the sum of the sizes of the distinct groups, counted in classes (OrvexGenSetKeyGroup.h).

#include <algorithm>
#include <vector>

#include "Kiv/RadixSort.h"
#include "Orvex/OrvexDedup.h"
#include "Orvex/OrvexHwCapability.h"
#include "Orvex/OrvexStageSm.h"
#include "Orvex/OrvexXformTypes.h"

namespace Orvex {

/// Gives set groups their plain labels: 1, 2, 3, ... in the order in which distinct groups come. Groups that an interner has
/// numbered are told apart by their numbers, without a look at their content.
class GenSetKeyGroupDeduper : public Deduper {
 public:
  struct LabelledGroup {
    Kiv::Ptr<Dedupable const> group;
    PlainLabel label;
  };

  /// The label of the group that equals this one.
  PlainLabel addGroup( Kiv::Ptr<GenSetKeyGroup const> const& group );
  void clear() override;
  /// One entry a distinct group, in the order in which they came.
  std::vector<LabelledGroup> const& dedupedGenSetKeyGroup() const { return dedupedGenSetKeyGroup_; }

  /// The last label handed out; 0 at first.
  std::uint32_t plainLabel() const { return plainLabel_; }
  void plainLabelIs( std::uint32_t label ) { plainLabel_ = label; }
  /// The new value.
  std::uint32_t plainLabelInc( std::uint32_t increment ) { return plainLabel_ += increment; }

 private:
  PlainLabel newLabel( Kiv::Ptr<Dedupable const> const& group );

  std::vector<LabelledGroup> dedupedGenSetKeyGroup_;
  Kiv::Ptr<GenSetKeyClasses const> classes_;                      // of the numbered groups
  std::vector<PlainLabel> labelOfNumber_;                         // 0 for a number that has not come
  Kiv::HashMap2018<DedupableIdentity, PlainLabel> labelOfGroup_;  // of the others
  std::uint32_t plainLabel_ = 0;
};

class XformSmBase : public StageSm {
 public:
  Kiv::Ptr<ChipHwCapability const> const& hwCapability() const { return hwCapability_; }
  Kiv::Ptr<XformStatus> const& xformStatus() const { return xformStatus_; }
  Kiv::Ptr<GenSetKeyGroupDeduper> const& xformSetGroupDeduper() const { return xformSetGroupDeduper_; }
  /// The keys of all sets, as of the last kick; null before.
  Kiv::Ptr<GenSetKeyGroup> const& workingSet() const { return workingSet_; }
  /// As of the last kick that found a change.
  Kiv::Ptr<GenSetKeyGroup> const& previousWorkingSet() const { return previousWorkingSet_; }
  /// Kick time, in seconds, of the last successful computation; 0 before.
  double lastComputedKickTime() const { return lastComputedKickTime_; }

 protected:
  /// `traceStr` is the machine's name, in front of each of its traces.
  XformSmBase( Brae::ChipId chipId, Kiv::Ptr<StageConfig const> const& config, Kiv::Ptr<XformStatus> const& status,
               Kiv::Ptr<ChipHwCapability const> const& hwCapability, Kiv::String traceStr );

  void doStartKick() override;
  /// Replaces `workingSet` by a new group of the keys of all sets.
  virtual void doBuildWorkingSet() {}
  /// Cuts the sets into pieces and finds each piece's group.
  virtual void doBuildSetGroup() {}
  /// Labels the groups and enters each piece's label in the status, in ascending order of the pieces.
  virtual void doAllocLabels() {}
  /// Bits of the labels' key, 0 to 16.
  virtual std::uint32_t xformWidth() const { return 0; }

  Kiv::String const& traceStr() const { return traceStr_; }
  void workingSetIs( Kiv::Ptr<GenSetKeyGroup> const& workingSet ) { workingSet_ = workingSet; }

  /// Labels each piece's group: `setLabel( piece, label )` enters it in the status.
  template <class PieceGroups, class SetLabel>
  void labelPieces( PieceGroups const& groups, SetLabel const& setLabel ) {
    xformSetGroupDeduper_->clear();
    for ( auto const& [piece, group] : groups ) setLabel( piece, xformSetGroupDeduper_->addGroup( group ) );
  }

 private:
  bool hasWorkingSetChanged();
  void doUpdatePlainLabelMap();

  Kiv::Ptr<ChipHwCapability const> hwCapability_;
  Kiv::Ptr<XformStatus> xformStatus_;
  Kiv::Ptr<GenSetKeyGroupDeduper> xformSetGroupDeduper_;
  Kiv::Ptr<GenSetKeyGroup> workingSet_;
  Kiv::Ptr<GenSetKeyGroup> previousWorkingSet_;
  double lastComputedKickTime_ = 0;
  Kiv::String traceStr_;
};

/// The keys of a collection of sets.
template <class Set>
Kiv::Ptr<GenSetKeyGroup> keysOf( Kiv::HashMap2018<GenSetKey, Kiv::Ptr<Set>> const& sets ) {
  std::vector<GenSetKey> keys;
  keys.reserve( sets.size() );
  for ( auto set = sets.begin(); set; ++set ) keys.push_back( set.key() );
  Kiv::sortByNumber( keys, []( GenSetKey key ) { return key.value(); } );
  return Kiv::make<GenSetKeyGroup>( std::move( keys ) );
}

/// Every key a class of its own, numbered in ascending order: for sets that are known to differ.
Kiv::Ptr<GenSetKeyClasses const> singletonClassesOf( GenSetKeyGroup const& keys );

/// Sets by content. Classes are numbered in ascending order of their least keys. The sets are those of a collection that
/// must not change meanwhile.
template <class Set>
struct ContentClasses {
  Kiv::Ptr<GenSetKeyClasses const> classes;
  /// The set with the least key of each class.
  std::vector<Set const*> sets;
};

/// Which sets have equal content: `result[i]` is the least j for which `sets[j]` equals `sets[i]`.
std::vector<std::uint32_t> firstEqualOf( std::vector<GenSet const*> const& sets );

template <class Set>
ContentClasses<Set> contentClassesOf( Kiv::HashMap2018<GenSetKey, Kiv::Ptr<Set>> const& collection ) {
  std::vector<std::pair<GenSetKey, GenSet const*>> byKey;
  byKey.reserve( collection.size() );
  for ( auto set = collection.begin(); set; ++set ) byKey.emplace_back( set.key(), set.storedValue().get() );
  Kiv::sortByNumber( byKey, []( auto const& set ) { return set.first.value(); } );
  std::vector<GenSet const*> sets;
  sets.reserve( byKey.size() );
  for ( auto const& [key, set] : byKey ) sets.push_back( set );
  auto const firstEqual = firstEqualOf( sets );

  ContentClasses<Set> result;
  std::vector<GenSetKeyClasses::Member> members( sets.size() );
  for ( std::uint32_t at = 0; at != sets.size(); ++at ) {
    bool const first = firstEqual[at] == at;
    members[at] = { first ? static_cast<std::uint32_t>( result.sets.size() ) : members[firstEqual[at]].classId,
                    byKey[at].first };
    if ( first ) result.sets.push_back( static_cast<Set const*>( sets[at] ) );
  }
  result.classes = Kiv::make<GenSetKeyClasses>( std::move( members ) );
  return result;
}

}  // namespace Orvex
