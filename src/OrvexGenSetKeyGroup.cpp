#include "Orvex/OrvexGenSetKeyGroup.h"

#include <algorithm>
#include <memory>

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

std::span<GenSetKeyClasses::ClassId const> GenSetKeyClasses::keep( std::span<ClassId const> classIds ) const {
  if ( classIds.empty() ) return {};
  auto* const copy = static_cast<ClassId*>( kept_.allocate( classIds.size_bytes(), alignof( ClassId ) ) );
  std::uninitialized_copy( classIds.begin(), classIds.end(), copy );
  return { copy, classIds.size() };
}

// GenSetKeyGroup

GenSetKeyGroup::GenSetKeyGroup( Kiv::Ptr<GenSetKeyClasses const> const& classes, std::span<ClassId const> classIds,
                                std::uint64_t hashSum, std::uint32_t number )
    : form_( Classed{ classes, classes->keep( classIds ).data(), static_cast<std::uint32_t>( classIds.size() ), number,
                      hashSum } ) {}

GenSetKeyGroup::Keys GenSetKeyGroup::keyGroup() const {
  auto const* const form = classed();
  if ( form == nullptr ) return singleKeys().members();
  std::vector<GenSetKey> keys;
  for ( ClassId const classId : classIds() ) {
    auto const ofClass = form->classes->keys( classId );
    keys.insert( keys.end(), ofClass.begin(), ofClass.end() );
  }
  return Keys( std::move( keys ) );
}

GenSetKeyGroup::SingleKeys& GenSetKeyGroup::expand() {
  if ( classed() != nullptr ) form_ = SingleKeys( keyGroup() );
  return *std::get_if<SingleKeys>( &form_ );
}

GenSetKeyGroup::SingleKeys const& GenSetKeyGroup::summedKeys( SingleKeys& copy ) const {
  if ( classed() == nullptr ) return singleKeys();
  return copy = SingleKeys( keyGroup() );
}

void GenSetKeyGroup::keyGroupIs( GenSetKey key ) { expand().insert( key ); }

void GenSetKeyGroup::keyGroupDel( GenSetKey key ) { expand().erase( key ); }

void GenSetKeyGroup::keyGroupDelAll() { form_ = SingleKeys(); }

bool GenSetKeyGroup::keyGroupHas( GenSetKey key ) const {
  auto const* const form = classed();
  if ( form == nullptr ) return singleKeys().members().has( key );
  auto const ids = classIds();
  return std::any_of( ids.begin(), ids.end(), [&]( ClassId classId ) {
    auto const keys = form->classes->keys( classId );
    return std::binary_search( keys.begin(), keys.end(), key );
  } );
}

void GenSetKeyGroup::addToKeyGroup( GenSetKeyGroup const& other ) {
  SingleKeys& keys = expand();
  SingleKeys copy;
  keys.unite( other.summedKeys( copy ) );
}

void GenSetKeyGroup::removeFromKeyGroup( GenSetKeyGroup const& other ) {
  SingleKeys& keys = expand();
  SingleKeys copy;
  keys.subtract( other.summedKeys( copy ) );
}

std::uint32_t GenSetKeyGroup::hash() const { return ByteHash().feed( hashSum() ).result(); }

bool GenSetKeyGroup::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  if ( other.get() == this ) return true;
  auto const* const group = dynamic_cast<GenSetKeyGroup const*>( other.get() );
  if ( group == nullptr || hashSum() != group->hashSum() ) return false;
  if ( classed() == nullptr && group->classed() == nullptr ) return singleKeys() == group->singleKeys();
  if ( classes() != group->classes() ) return keyGroup() == group->keyGroup();
  return std::equal( classIds().begin(), classIds().end(), group->classIds().begin(), group->classIds().end() );
}

// GenSetKeyGroupInterner

void GenSetKeyGroupInterner::reserve( std::size_t groups ) {
  index_.reserve( groups );
  groups_.reserve( groups );
}

Kiv::Ptr<GenSetKeyGroup> GenSetKeyGroupInterner::group( std::span<ClassId const> classIds ) {
  std::uint64_t hashSum = 0;
  for ( ClassId const classId : classIds ) hashSum += classes_->hashSum( classId );
  return group( classIds, hashSum );
}

Kiv::Ptr<GenSetKeyGroup> GenSetKeyGroupInterner::group( std::span<ClassId const> classIds, std::uint64_t hashSum ) {
  auto const number = static_cast<std::uint32_t>( groups_.size() );
  std::uint32_t const known = index_.findOrAdd( hashSum, number, [&]( std::uint32_t at ) {
    auto const ids = groups_[at]->classIds();
    return std::equal( ids.begin(), ids.end(), classIds.begin(), classIds.end() );
  } );
  if ( known == number ) groups_.push_back( Kiv::make<GenSetKeyGroup>( classes_, classIds, hashSum, number ) );
  return groups_[known];
}

}  // namespace Orvex
