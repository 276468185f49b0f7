#pragma once

/// Generic sets: what the stages after the aggregator work on in place of rules.
///
/// Each field of a rule becomes the key of a set of prefixes, of ranges or of pairs of labels, and rules with equal content
/// share the set. Transforms cut the sets into disjoint pieces and label them; encoders write the labels of a set as
/// ternary entries.
///
///     rules 1 and 7: dport 80, 443     RangeSet 5 = { 80-80, 443-443 }     PlainLabelList 5 = { 2, 9 }
///
/// Tens of thousands of these objects exist at once, each with up to 100,000 members: so members stand in sorted arrays,
/// nobody can watch them, and hashes are sums that are kept with every change. Copies, unions and comparisons are linear;
/// comparing sets that differ costs a few words. Many members should come at once (see Kiv/SortedSet.h).
///
/// Iteration is in ascending order, so that what is numbered while walking a set gets neighbouring numbers.

#include <cstdint>
#include <vector>

#include "Kiv/Entity.h"
#include "Kiv/HashMap2018.h"
#include "Kiv/SortedSet.h"
#include "Kiv/String.h"
#include "Orvex/OrvexAclTypes.h"
#include "Orvex/OrvexDedup.h"
#include "Orvex/OrvexGenSetKeyGroup.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Orvex/OrvexLabelLists.h"
#include "Orvex/OrvexPlainLabels.h"
#include "Orvex/OrvexSummedSet.h"

namespace Orvex {

/// A set under a key. Neither hash nor equality looks at the key: that is how equal sets are found.
class GenSet : public Dedupable {
 public:
  GenSetKey key() const { return key_; }
  /// One line for traces; a long list of members ends with "more".
  virtual Kiv::String stringValue() const = 0;

 protected:
  explicit GenSet( GenSetKey key ) : key_( key ) {}

 private:
  GenSetKey key_;
};

/// What a prefix list holds, by the same hash: prefixes to match, and prefixes to leave out.
class PrefixSet final : public GenSet {
 public:
  using Prefixes = Kiv::SortedSet<Vell::IpGenPrefix>;

  explicit PrefixSet( GenSetKey key ) : GenSet( key ) {}

  Prefixes const& prefix() const { return prefix_.members(); }
  void prefixIs( Vell::IpGenPrefix const& prefix ) { prefix_.insert( prefix ); }
  /// Replaces all by these, in any order.
  void prefixIs( std::vector<Vell::IpGenPrefix> prefixes ) { prefix_ = Summed( std::move( prefixes ) ); }
  void prefixDel( Vell::IpGenPrefix const& prefix ) { prefix_.erase( prefix ); }
  void prefixDelAll() { prefix_ = {}; }
  bool prefixHas( Vell::IpGenPrefix const& prefix ) const { return prefix_.members().has( prefix ); }

  Prefixes const& exceptPrefix() const { return exceptPrefix_.members(); }
  void exceptPrefixIs( Vell::IpGenPrefix const& prefix ) { exceptPrefix_.insert( prefix ); }
  void exceptPrefixIs( std::vector<Vell::IpGenPrefix> prefixes ) { exceptPrefix_ = Summed( std::move( prefixes ) ); }
  void exceptPrefixDel( Vell::IpGenPrefix const& prefix ) { exceptPrefix_.erase( prefix ); }
  void exceptPrefixDelAll() { exceptPrefix_ = {}; }
  bool exceptPrefixHas( Vell::IpGenPrefix const& prefix ) const { return exceptPrefix_.members().has( prefix ); }

  std::uint32_t hash() const override;
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override;
  Kiv::String stringValue() const override;

 private:
  using Summed = SummedSet<Prefixes, PrefixHash>;

  Summed prefix_;
  Summed exceptPrefix_;
};

/// Ranges of one packet field. Equal ranges of another field are another set.
class RangeSet final : public GenSet {
 public:
  using Ranges = Kiv::SortedSet<RangeSetElem>;

  RangeSet( GenSetKey key, RangeSetType type ) : GenSet( key ), type_( type ) {}

  RangeSetType type() const { return type_; }

  Ranges const& range() const { return range_.members(); }
  void rangeIs( RangeSetElem const& range ) { range_.insert( range ); }
  /// Replaces all by these, in any order.
  void rangeIs( std::vector<RangeSetElem> ranges ) { range_ = SummedSet<Ranges>( std::move( ranges ) ); }
  void rangeDel( RangeSetElem const& range ) { range_.erase( range ); }
  void rangeDelAll() { range_ = {}; }

  std::uint32_t hash() const override;
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override;
  Kiv::String stringValue() const override;

 private:
  RangeSetType type_;
  SummedSet<Ranges> range_;
};

/// Pairs of labels of one combination of fields: any pairs, or a rectangle, all pairs of source and destination labels of two
/// lists. A rectangle takes no room beside the lists, which it shares.
class ComboLabelSet final : public GenSet {
 public:
  using ComboLabels = Kiv::SortedSet<GenCombo>;

  ComboLabelSet( GenSetKey key, ComboLabelSetType type ) : GenSet( key ), type_( type ) {}

  ComboLabelSetType type() const { return type_; }

  /// A copy, put together when the set is a rectangle.
  ComboLabels comboLabel() const;
  /// Number of pairs.
  std::size_t size() const;
  void comboLabelIs( GenCombo const& combo );
  void comboLabelDel( GenCombo const& combo );
  void comboLabelDelAll() { rectangleIs( nullptr, nullptr ); }

  /// Replaces all by the pairs of these lists.
  void rectangleIs( Kiv::Ptr<PlainLabels const> const& srcLabels, Kiv::Ptr<PlainLabels const> const& dstLabels );
  /// The sides of the rectangle; null when the set is not one.
  Kiv::Ptr<PlainLabels const> const& srcLabels() const { return srcLabels_; }
  Kiv::Ptr<PlainLabels const> const& dstLabels() const { return dstLabels_; }

  /// Costs a look at every pair.
  std::uint32_t hash() const override;
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override;
  Kiv::String stringValue() const override;

 private:
  /// Makes the set one of single pairs.
  void expand();

  ComboLabelSetType type_;
  SummedSet<ComboLabels> comboLabel_;
  Kiv::Ptr<PlainLabels const> srcLabels_;
  Kiv::Ptr<PlainLabels const> dstLabels_;
};

/// Issues the keys of one chip: 1, 2, 3, ...
class GenSetKeyGenerator : public Kiv::Entity {
 public:
  /// The last key value issued; 0 before the first.
  std::uint64_t genKey() const { return genKey_; }
  void genKeyIs( std::uint64_t value ) { genKey_ = value; }
  /// The new value.
  std::uint64_t genKeyInc( std::uint64_t increment ) { return genKey_ += increment; }

 private:
  std::uint64_t genKey_ = 0;
};

/// How many rule fields use each set.
class GenSetUsageInfo : public Kiv::Entity {
 public:
  Kiv::HashMap2018<GenSetKey, GenSetRefCount> const& refCount() const { return refCount_; }
  /// Makes the count, at 0, when there is none.
  GenSetRefCount refCountIs( GenSetKey key );
  void refCountDel( GenSetKey key ) { refCount_.erase( key ); }
  void refCountDelAll() { refCount_.clear(); }

  void valueInc( GenSetKey key, std::uint32_t users );
  /// Requires: the key has been counted as often before.
  void valueDec( GenSetKey key, std::uint32_t users );

 private:
  Kiv::HashMap2018<GenSetKey, GenSetRefCount> refCount_;
};

/// The plain labels of the disjoint pieces that make up one set. Sets of equal content hold the same PlainLabels object.
class PlainLabelList : public Kiv::Entity {
 public:
  explicit PlainLabelList( GenSetKey key, Kiv::Ptr<PlainLabels> labels = Kiv::make<PlainLabels>() )
      : key_( key ), labels_( std::move( labels ) ) {}

  GenSetKey key() const { return key_; }

  PlainLabels const& label() const { return *labels_; }
  void labelIs( PlainLabel label ) { ownLabels().insert( label ); }
  void labelDel( PlainLabel label ) { ownLabels().erase( label ); }
  void labelDelAll() { labels_ = Kiv::make<PlainLabels>(); }
  bool labelHas( PlainLabel label ) const { return labels_->has( label ); }

  /// The object that holds the labels, to share it. It must not change from then on.
  Kiv::Ptr<PlainLabels const> labels() const { return labels_; }

 private:
  PlainLabels& ownLabels();

  GenSetKey key_;
  Kiv::Ptr<PlainLabels> labels_;
};

/// The label lists of a transform's sets, by key: arrays as long as nobody asks for one of the objects, which are then all made.
/// The pipeline itself reads the arrays. Like the objects, for one thread at a time.
class PlainLabelListMap : public Kiv::Entity {
 public:
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<PlainLabelList>> const& plainLabelList() const { return objects(); }
  Kiv::Ptr<PlainLabelList> plainLabelListIs( GenSetKey key );
  /// A new list, which shares its labels.
  void plainLabelListIs( GenSetKey key, Kiv::Ptr<PlainLabels> const& labels ) {
    objects().set( key, Kiv::make<PlainLabelList>( key, labels ) );
  }
  void plainLabelListDel( GenSetKey key ) { objects().erase( key ); }
  void plainLabelListDelAll() { labelListsAre( nullptr ); }
  bool plainLabelListHas( GenSetKey key ) const { return objects().has( key ); }

  /// All lists as arrays, as they are now. Made anew by each call once there are objects, as those may change.
  Kiv::Ptr<LabelLists const> labelLists() const;
  /// Replaces all lists; null for none.
  void labelListsAre( Kiv::Ptr<LabelLists const> const& lists );

 private:
  Kiv::HashMap2018<GenSetKey, Kiv::Ptr<PlainLabelList>>& objects() const;

  mutable Kiv::Ptr<LabelLists const> lists_;  // null once the objects are what counts
  mutable Kiv::HashMap2018<GenSetKey, Kiv::Ptr<PlainLabelList>> plainLabelList_;
};

/// Ternary entries in ascending order. Sets of equal content share one such object.
class TernaryEntries : public Kiv::PtrInterface {
 public:
  Kiv::SortedSet<EncodedLabelWithMask> set;
};

/// The ternary entries that together match one set.
class EncodedLabelWithMaskList : public Kiv::Entity {
 public:
  explicit EncodedLabelWithMaskList( GenSetKey key ) : key_( key ), entries_( Kiv::make<TernaryEntries>() ) {}

  GenSetKey key() const { return key_; }

  Kiv::SortedSet<EncodedLabelWithMask> const& encLabelAndMask() const { return entries_->set; }
  void encLabelAndMaskIs( EncodedLabelWithMask const& entry ) { ownEntries().insert( entry ); }
  void encLabelAndMaskDel( EncodedLabelWithMask const& entry ) { ownEntries().erase( entry ); }
  void encLabelAndMaskDelAll() { entries_ = Kiv::make<TernaryEntries>(); }
  bool encLabelAndMaskHas( EncodedLabelWithMask const& entry ) const { return entries_->set.has( entry ); }

  /// The object that holds the entries, to share it. It must not change from then on.
  Kiv::Ptr<TernaryEntries> const& entries() const { return entries_; }
  void entriesAre( Kiv::Ptr<TernaryEntries> const& entries ) { entries_ = entries; }

 private:
  Kiv::SortedSet<EncodedLabelWithMask>& ownEntries();

  GenSetKey key_;
  Kiv::Ptr<TernaryEntries> entries_;
};

}  // namespace Orvex
