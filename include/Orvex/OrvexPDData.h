#pragma once

/// A snapshot: everything that the chip is loaded with, as the compiler publishes it.
///
/// The ACL rules of a snapshot are the compiler's own collection, shared by pointer. A second kick of the same pipeline
/// rewrites them, also those of a snapshot that is in force, and publishing an earlier snapshot again after a failure brings
/// back its label tables only. So a driver copies what it loads, and a host builds a pipeline for each version of a policy.

#include <array>
#include <cstdint>

#include "Kiv/Entity.h"
#include "Kiv/HashMap2018.h"
#include "Kiv/SortedMap.h"
#include "Kiv/SortedSet.h"
#include "Orvex/OrvexAclValues.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Orvex/OrvexPDFilter.h"
#include "Vell/IpGenPrefix.h"

namespace Orvex {

/// A key and the encoded label that it maps to.
template <class Name, class KeyType>
struct PDLabelEntry {
  using Key = KeyType;
  static constexpr std::string_view kTypeName = Name::kTypeName;
  static constexpr auto fields() {
    return std::tuple( Kiv::Field( "key", &PDLabelEntry::key ), Kiv::Field( "value", &PDLabelEntry::value ) );
  }

  PDLabelEntry() noexcept = default;
  PDLabelEntry( Key const& entryKey, EncodedLabel label ) noexcept : key( entryKey ), value( label ) {}

  friend auto operator<=>( PDLabelEntry const&, PDLabelEntry const& ) = default;

  Key key;
  EncodedLabel value;
};

struct PDPrefixXformEntryName {
  static constexpr std::string_view kTypeName = "Orvex::PDPrefixXformEntry";
};
struct PDRangeXformEntryName {
  static constexpr std::string_view kTypeName = "Orvex::PDRangeXformEntry";
};
struct PDComboEntryName {
  static constexpr std::string_view kTypeName = "Orvex::PDComboEntry";
};
using PDPrefixXformEntry = PDLabelEntry<PDPrefixXformEntryName, Vell::IpGenPrefix>;
using PDRangeXformEntry = PDLabelEntry<PDRangeXformEntryName, RangeSetElem>;
using PDComboEntry = PDLabelEntry<PDComboEntryName, EncodedComboLabel>;

/// One label table of the chip, in ascending order of its keys.
template <class Entry>
class PDEntryColl : public Kiv::Entity {
 public:
  using Key = typename Entry::Key;

  Kiv::SortedMap<Key, Entry> const& entry() const { return entry_; }
  void entryIs( Entry const& entry ) { entry_.set( entry.key, entry ); }
  void entryDel( Key const& key ) { entry_.erase( key ); }
  void entryDelAll() { entry_.clear(); }
  bool entryHas( Key const& key ) const { return entry_.has( key ); }

 private:
  Kiv::SortedMap<Key, Entry> entry_;
};

using PDRangeXformEntryColl = PDEntryColl<PDRangeXformEntry>;
using PDComboEntryColl = PDEntryColl<PDComboEntry>;

class PDPrefixXformEntryColl : public PDEntryColl<PDPrefixXformEntry> {
 public:
  explicit PDPrefixXformEntryColl( PrefixXformKey key ) : key_( key ) {}

  PrefixXformKey key() const { return key_; }

 private:
  PrefixXformKey key_;
};

// ACLs

/// A rule's entries, which all do the rule's action. A rule without entries matches nothing, or nothing that the rules before
/// it have not matched already.
class PDAclRule : public Kiv::Entity {
 public:
  explicit PDAclRule( AceIndex index ) : index_( index ) {}

  AceIndex index() const { return index_; }

  Kiv::SortedSet<PDAclFilter> const& filter() const { return filter_; }
  void filterIs( PDAclFilter const& filter ) { filter_.insert( filter ); }
  /// Replaces all by these, in any order.
  void filterIs( std::vector<PDAclFilter> filters ) { filter_ = Kiv::SortedSet<PDAclFilter>( std::move( filters ) ); }
  void filterDel( PDAclFilter const& filter ) { filter_.erase( filter ); }
  void filterDelAll() { filter_.clear(); }
  bool filterHas( PDAclFilter const& filter ) const { return filter_.has( filter ); }

  OrvexActionValue const& action() const { return action_; }
  void actionIs( OrvexActionValue const& action ) { action_ = action; }

 private:
  AceIndex index_;
  OrvexActionValue action_;
  Kiv::SortedSet<PDAclFilter> filter_;
};

/// The rules of one ACL, in the order in which the chip tries them.
class PDAclRuleColl : public Kiv::Entity {
 public:
  explicit PDAclRuleColl( PDAclKey key ) : key_( std::move( key ) ) {}

  PDAclKey const& key() const { return key_; }

  Kiv::SortedMap<AceIndex, Kiv::Ptr<PDAclRule>> const& rule() const { return rule_; }
  Kiv::Ptr<PDAclRule> ruleIs( AceIndex index );
  void ruleDel( AceIndex index ) { rule_.erase( index ); }
  void ruleDelAll() { rule_.clear(); }
  bool ruleHas( AceIndex index ) const { return rule_.has( index ); }

  /// Entries of all rules.
  std::uint64_t numFilters() const;

 private:
  PDAclKey key_;
  Kiv::SortedMap<AceIndex, Kiv::Ptr<PDAclRule>> rule_;
};

class PDAclColl : public Kiv::Entity {
 public:
  Kiv::HashMap2018<PDAclKey, Kiv::Ptr<PDAclRuleColl>> const& pdAcl() const { return pdAcl_; }
  Kiv::Ptr<PDAclRuleColl> pdAclIs( PDAclKey const& key );
  void pdAclDel( PDAclKey const& key ) { pdAcl_.erase( key ); }
  void pdAclDelAll() { pdAcl_.clear(); }
  bool pdAclHas( PDAclKey const& key ) const { return pdAcl_.has( key ); }

  /// Entries of all rules of all ACLs.
  std::uint64_t numFilters() const;

 private:
  Kiv::HashMap2018<PDAclKey, Kiv::Ptr<PDAclRuleColl>> pdAcl_;
};

// The snapshot

class PDData : public Kiv::Entity {
 public:
  PDData();

  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PDPrefixXformEntryColl>> const& pdPrefixXformEntryColl() const {
    return pdPrefixXformEntryColl_;
  }
  Kiv::Ptr<PDPrefixXformEntryColl> pdPrefixXformEntryCollIs( PrefixXformKey key );

  using ComboColl = Kiv::Ptr<PDComboEntryColl>;
  ComboColl const& pdV4PrefixComboEntryColl() const { return comboEntryColl( ComboLabelSetType::ipv4SrcDstPrefix ); }
  ComboColl const& pdV6PrefixComboEntryColl() const { return comboEntryColl( ComboLabelSetType::ipv6SrcDstPrefix ); }
  ComboColl const& pdPortComboEntryColl() const { return comboEntryColl( ComboLabelSetType::srcDstL4Port ); }
  /// These three by their type.
  ComboColl const& comboEntryColl( ComboLabelSetType type ) const { return comboEntryColls_[Kiv::enumValue( type )]; }

  using RangeColl = Kiv::Ptr<PDRangeXformEntryColl>;
  RangeColl const& pdSrcPortXformEntryColl() const { return rangeEntryColl( RangeSetType::srcPort ); }
  RangeColl const& pdDstPortXformEntryColl() const { return rangeEntryColl( RangeSetType::dstPort ); }
  RangeColl const& pdIcmpXformEntryColl() const { return rangeEntryColl( RangeSetType::icmp ); }
  RangeColl const& pdProtocolXformEntryColl() const { return rangeEntryColl( RangeSetType::proto ); }
  RangeColl const& pdLengthXformEntryColl() const { return rangeEntryColl( RangeSetType::length ); }
  RangeColl const& pdFragmentXformEntryColl() const { return rangeEntryColl( RangeSetType::fragment ); }
  RangeColl const& pdDscpXformEntryColl() const { return rangeEntryColl( RangeSetType::dscp ); }
  RangeColl const& pdTtlXformEntryColl() const { return rangeEntryColl( RangeSetType::ttl ); }
  /// These eight by their type.
  RangeColl const& rangeEntryColl( RangeSetType type ) const { return rangeEntryColls_[Kiv::enumValue( type )]; }
  /// Always empty: TCP flags are matched as they are.
  RangeColl const& pdTcpFlagsXformEntryColl() const { return pdTcpFlagsXformEntryColl_; }

  /// Null until it is set. Shared, see above.
  Kiv::Ptr<PDAclColl const> const& pdAclColl() const { return pdAclColl_; }
  void pdAclCollIs( Kiv::Ptr<PDAclColl const> const& acls ) { pdAclColl_ = acls; }

 private:
  Kiv::HashMap2018<PrefixXformKey, Kiv::Ptr<PDPrefixXformEntryColl>> pdPrefixXformEntryColl_;
  std::array<ComboColl, Kiv::enumValue( ComboLabelSetType::comboLabelSetMax )> comboEntryColls_;
  std::array<RangeColl, Kiv::enumValue( RangeSetType::rangeSetMax )> rangeEntryColls_;
  RangeColl pdTcpFlagsXformEntryColl_;
  Kiv::Ptr<PDAclColl const> pdAclColl_;
};

}  // namespace Orvex
