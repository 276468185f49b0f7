#include "Orvex/OrvexGenSetKeyGroup.h"

#include <algorithm>

#include "Orvex/OrvexByteHash.h"

namespace Orvex {

// GenSetKeyClasses

GenSetKeyClasses::GenSetKeyClasses( std::vector<Member> members ) {
  auto const isBefore = []( Member const& a, Member const& b ) {
    return a.classId != b.classId ? a.classId < b.classId : a.key < b.key;
  };
  if ( !std::is_sorted( members.begin(), members.end(), isBefore ) )
    std::sort( members.begin(), members.end(), isBefore );
  keys_.reserve( members.size() );
  for ( Member const& member : members ) {
    if ( member.classId == hashSums_.size() ) {
      first_.push_back( static_cast<std::uint32_t>( keys_.size() ) );
      hashSums_.push_back( 0 );
    }
    Kiv::fatalUnless( member.classId + 1 == hashSums_.size(), "every class has a member" );
    keys_.push_back( member.key );
    hashSums_.back() += member.key.hash();
  }
  first_.push_back( static_cast<std::uint32_t>( keys_.size() ) );
}

// GenSetKeyGroup

GenSetKeyGroup::GenSetKeyGroup( Kiv::Ptr<GenSetKeyClasses const> const& classes, std::span<ClassId const> classIds,
                                std::uint64_t hashSum, std::uint32_t number )
    : classes_( classes ), classIds_( classIds.begin(), classIds.end() ), classHashSum_( hashSum ), number_( number ) {}

GenSetKeyGroup::Keys GenSetKeyGroup::keyGroup() const {
  if ( !classes_ ) return keys_.members();
  std::vector<GenSetKey> keys;
  for ( ClassId const classId : classIds_ ) {
    auto const ofClass = classes_->keys( classId );
    keys.insert( keys.end(), ofClass.begin(), ofClass.end() );
  }
  return Keys( std::move( keys ) );
}

void GenSetKeyGroup::expand() {
  if ( !classes_ ) return;
  auto const keys = keyGroup();
  keys_ = SummedSet<Keys>( std::vector<GenSetKey>( keys.begin(), keys.end() ) );
  classes_ = nullptr;
  classIds_.clear();
  number_ = kNotInterned;
}

void GenSetKeyGroup::keyGroupIs( GenSetKey key ) {
  expand();
  keys_.insert( key );
}

void GenSetKeyGroup::keyGroupDel( GenSetKey key ) {
  expand();
  keys_.erase( key );
}

void GenSetKeyGroup::keyGroupDelAll() {
  classes_ = nullptr;
  classIds_.clear();
  number_ = kNotInterned;
  keys_ = {};
}

bool GenSetKeyGroup::keyGroupHas( GenSetKey key ) const {
  if ( !classes_ ) return keys_.members().has( key );
  return std::any_of( classIds_.begin(), classIds_.end(), [&]( ClassId classId ) {
    auto const keys = classes_->keys( classId );
    return std::binary_search( keys.begin(), keys.end(), key );
  } );
}

void GenSetKeyGroup::addToKeyGroup( GenSetKeyGroup const& other ) {
  expand();
  if ( other.classes_ )
    keys_.unite( SummedSet<Keys>( other.keyGroup() ) );
  else
    keys_.unite( other.keys_ );
}

void GenSetKeyGroup::removeFromKeyGroup( GenSetKeyGroup const& other ) {
  expand();
  if ( other.classes_ )
    keys_.subtract( SummedSet<Keys>( other.keyGroup() ) );
  else
    keys_.subtract( other.keys_ );
}

std::uint32_t GenSetKeyGroup::hash() const { return ByteHash().feed( hashSum() ).result(); }

bool GenSetKeyGroup::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  if ( other.get() == this ) return true;
  auto const* const group = dynamic_cast<GenSetKeyGroup const*>( other.get() );
  if ( group == nullptr || hashSum() != group->hashSum() ) return false;
  if ( classes_ == group->classes_ ) return classes_ ? classIds_ == group->classIds_ : keys_ == group->keys_;
  return keyGroup() == group->keyGroup();
}

// GenSetKeyGroupInterner

Kiv::Ptr<GenSetKeyGroup> GenSetKeyGroupInterner::group( std::span<ClassId const> classIds ) {
  std::uint64_t hashSum = 0;
  for ( ClassId const classId : classIds ) hashSum += classes_->hashSum( classId );
  return group( classIds, hashSum );
}

Kiv::Ptr<GenSetKeyGroup> GenSetKeyGroupInterner::group( std::span<ClassId const> classIds, std::uint64_t hashSum ) {
  auto const first = firstOfSum_.find( hashSum );
  for ( std::uint32_t at = first.value_or( kNone ); at != kNone; at = entries_[at].next ) {
    auto const& known = entries_[at].group->classIds();
    if ( std::equal( known.begin(), known.end(), classIds.begin(), classIds.end() ) ) return entries_[at].group;
  }
  auto const number = static_cast<std::uint32_t>( entries_.size() );
  firstOfSum_.set( hashSum, number );
  entries_.push_back( { Kiv::make<GenSetKeyGroup>( classes_, classIds, hashSum, number ), first.value_or( kNone ) } );
  return entries_.back().group;
}

}  // namespace Orvex
