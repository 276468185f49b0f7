#include "Orvex/OrvexGenSetTypes.h"

#include <utility>

#include "Kiv/Instantiate.h"
#include "Orvex/OrvexByteHash.h"

namespace Orvex {

namespace {

/// How many members the text of a set shows.
constexpr std::size_t kShownMembers = 32;

std::ostream& operator<<( std::ostream& out, RangeSetElem const& range ) {
  return out << range.first() << '-' << range.last();
}

std::ostream& operator<<( std::ostream& out, GenCombo const& combo ) {
  return out << '(' << combo.srcLabel.value() << ", " << combo.dstLabel.value() << ')';
}

template <class Members>
void printMembers( std::ostream& out, Members const& members ) {
  std::size_t shown = 0;
  for ( auto const& member : members ) {
    if ( shown++ == kShownMembers ) {
      out << " more";
      return;
    }
    out << ' ' << member;
  }
}

/// The hash of a set that has a type, from the sum of its members' hashes.
template <class Type>
std::uint32_t typedSetHash( Type type, std::uint64_t hashSum ) {
  return ByteHash().feed( Kiv::enumValue( type ) ).feed( hashSum ).result();
}

}  // namespace

std::uint32_t PrefixSet::hash() const { return prefixListHash( prefix_.hashSum(), exceptPrefix_.hashSum() ); }

bool PrefixSet::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  auto const* const set = dynamic_cast<PrefixSet const*>( other.get() );
  return set != nullptr && prefix_ == set->prefix_ && exceptPrefix_ == set->exceptPrefix_;
}

Kiv::String PrefixSet::stringValue() const {
  Kiv::TextStream out;
  out << "Key: " << key().value();
  printMembers( out, prefix() );
  out << ", Except: ";
  printMembers( out, exceptPrefix() );
  return out.str();
}

std::uint32_t RangeSet::hash() const { return typedSetHash( type_, range_.hashSum() ); }

bool RangeSet::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  auto const* const set = dynamic_cast<RangeSet const*>( other.get() );
  return set != nullptr && type_ == set->type_ && range_ == set->range_;
}

Kiv::String RangeSet::stringValue() const {
  Kiv::TextStream out;
  out << "Key: " << key().value() << ", type: " << type_;
  printMembers( out, range() );
  return out.str();
}

// ComboLabelSet

ComboLabelSet::ComboLabels ComboLabelSet::comboLabel() const {
  if ( !srcLabels_ ) return comboLabel_.members();
  std::vector<GenCombo> combos;
  combos.reserve( size() );
  for ( PlainLabel const src : *srcLabels_ )
    for ( PlainLabel const dst : *dstLabels_ ) combos.emplace_back( src, dst );
  return ComboLabels( std::move( combos ) );
}

std::size_t ComboLabelSet::size() const {
  return srcLabels_ ? srcLabels_->size() * dstLabels_->size() : comboLabel_.members().size();
}

void ComboLabelSet::comboLabelIs( GenCombo const& combo ) {
  expand();
  comboLabel_.insert( combo );
}

void ComboLabelSet::comboLabelDel( GenCombo const& combo ) {
  expand();
  comboLabel_.erase( combo );
}

void ComboLabelSet::rectangleIs( Kiv::Ptr<PlainLabels const> const& srcLabels,
                                 Kiv::Ptr<PlainLabels const> const& dstLabels ) {
  comboLabel_ = {};
  srcLabels_ = srcLabels;
  dstLabels_ = dstLabels;
}

void ComboLabelSet::expand() {
  if ( !srcLabels_ ) return;
  comboLabel_ = SummedSet<ComboLabels>( comboLabel() );
  srcLabels_ = dstLabels_ = nullptr;
}

std::uint32_t ComboLabelSet::hash() const {
  std::uint64_t hashSum = comboLabel_.hashSum();
  if ( srcLabels_ )
    for ( PlainLabel const src : *srcLabels_ )
      for ( PlainLabel const dst : *dstLabels_ ) hashSum += GenCombo( src, dst ).hash();
  return typedSetHash( type_, hashSum );
}

bool ComboLabelSet::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  auto const* const set = dynamic_cast<ComboLabelSet const*>( other.get() );
  if ( set == nullptr || type_ != set->type_ || size() != set->size() ) return false;
  if ( size() == 0 ) return true;
  if ( srcLabels_ && set->srcLabels_ ) return *srcLabels_ == *set->srcLabels_ && *dstLabels_ == *set->dstLabels_;
  return comboLabel() == set->comboLabel();
}

Kiv::String ComboLabelSet::stringValue() const {
  Kiv::TextStream out;
  out << "Key: " << key().value() << ", type: " << type_;
  printMembers( out, comboLabel() );
  return out.str();
}

GenSetRefCount GenSetUsageInfo::refCountIs( GenSetKey key ) {
  refCount_.insert( key, GenSetRefCount( key, 0 ) );
  return *refCount_.find( key );
}

void GenSetUsageInfo::valueInc( GenSetKey key, std::uint32_t users ) {
  refCount_.insert( key, GenSetRefCount( key, 0 ) );
  refCount_.update( key, [users]( GenSetRefCount& count ) { count.valueInc( users ); } );
}

void GenSetUsageInfo::valueDec( GenSetKey key, std::uint32_t users ) {
  bool const counted = refCount_.update( key, [users]( GenSetRefCount& count ) { count.valueDec( users ); } );
  Kiv::fatalUnless( counted, "only what has been counted is taken back" );
}

PlainLabels& PlainLabelList::ownLabels() {
  if ( labels_->references() != 1 ) labels_ = Kiv::make<PlainLabels>( labels_->intervals() );
  return *labels_;
}

Kiv::SortedSet<EncodedLabelWithMask>& EncodedLabelWithMaskList::ownEntries() {
  if ( entries_->references() != 1 ) {
    auto const copy = Kiv::make<TernaryEntries>();
    copy->set = entries_->set;
    entries_ = copy;
  }
  return entries_->set;
}

Kiv::Ptr<PlainLabelList> PlainLabelListMap::plainLabelListIs( GenSetKey key ) {
  return Kiv::instantiate( objects(), key );
}

void PlainLabelListMap::labelListsAre( Kiv::Ptr<LabelLists const> const& lists ) {
  lists_ = lists;
  plainLabelList_.clear();
}

/// Makes the objects that the arrays stand for.
Kiv::HashMap2018<GenSetKey, Kiv::Ptr<PlainLabelList>>& PlainLabelListMap::objects() const {
  auto const lists = std::exchange( lists_, nullptr );
  if ( !lists ) return plainLabelList_;
  std::vector<Kiv::Ptr<PlainLabels>> shared( lists->listCount() );
  plainLabelList_.reserve( lists->entries().size() );
  for ( auto const& [key, list] : lists->entriesInMapOrder() ) {
    if ( !shared[list] ) shared[list] = Kiv::make<PlainLabels>( lists->intervals( list ) );
    plainLabelList_.set( key, Kiv::make<PlainLabelList>( key, shared[list] ) );
  }
  return plainLabelList_;
}

Kiv::Ptr<LabelLists const> PlainLabelListMap::labelLists() const {
  if ( lists_ ) return lists_;
  std::vector<LabelLists::Entry> entries;
  std::vector<LabelLists::Interval> intervals;
  std::vector<std::uint32_t> first{ 0 };
  Kiv::HashMap2018<std::uint64_t, LabelLists::ListId> listOfLabels;  // by address; only looked up
  for ( auto list = plainLabelList_.begin(); list; ++list ) {
    PlainLabels const& labels = list.value()->label();
    auto const next = static_cast<LabelLists::ListId>( first.size() - 1 );
    if ( listOfLabels.insert( reinterpret_cast<std::uintptr_t>( &labels ), next ) ) {
      intervals.insert( intervals.end(), labels.intervals().begin(), labels.intervals().end() );
      first.push_back( static_cast<std::uint32_t>( intervals.size() ) );
    }
    entries.push_back( { list.key(), *listOfLabels.find( reinterpret_cast<std::uintptr_t>( &labels ) ) } );
  }
  return Kiv::make<LabelLists>( std::move( entries ), std::move( intervals ), std::move( first ) );
}

}  // namespace Orvex
