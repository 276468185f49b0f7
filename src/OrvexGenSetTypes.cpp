#include "Orvex/OrvexGenSetTypes.h"

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

std::uint32_t ComboLabelSet::hash() const { return typedSetHash( type_, comboLabel_.hashSum() ); }

bool ComboLabelSet::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  auto const* const set = dynamic_cast<ComboLabelSet const*>( other.get() );
  return set != nullptr && type_ == set->type_ && comboLabel_ == set->comboLabel_;
}

Kiv::String ComboLabelSet::stringValue() const {
  Kiv::TextStream out;
  out << "Key: " << key().value() << ", type: " << type_;
  printMembers( out, comboLabel() );
  return out.str();
}

std::uint32_t GenSetKeyGroup::hash() const { return ByteHash().feed( keyGroup_.hashSum() ).result(); }

bool GenSetKeyGroup::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  auto const* const group = dynamic_cast<GenSetKeyGroup const*>( other.get() );
  return group != nullptr && keyGroup_ == group->keyGroup_;
}

GenSetRefCount GenSetUsageInfo::refCountIs( GenSetKey key ) {
  refCount_.insert( key, GenSetRefCount( key, 0 ) );
  return *refCount_.find( key );
}

void GenSetUsageInfo::valueInc( GenSetKey key, std::uint32_t users ) {
  refCountIs( key );
  refCount_.update( key, [users]( GenSetRefCount& count ) { count.valueInc( users ); } );
}

void GenSetUsageInfo::valueDec( GenSetKey key, std::uint32_t users ) {
  bool const counted = refCount_.update( key, [users]( GenSetRefCount& count ) { count.valueDec( users ); } );
  Kiv::fatalUnless( counted, "only what has been counted is taken back" );
}

Kiv::Ptr<PlainLabelList> PlainLabelListMap::plainLabelListIs( GenSetKey key ) {
  return Kiv::instantiate( plainLabelList_, key );
}

}  // namespace Orvex
