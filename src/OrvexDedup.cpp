#include "Orvex/OrvexDedup.h"

#include <algorithm>

#include "Orvex/OrvexAclTypes.h"
#include "Orvex/OrvexGenSetTypes.h"

namespace Orvex {

namespace {

constexpr std::string_view kNotImplemented = "false && \"Not implemented\"";

}  // namespace

std::uint32_t Dedupable::hash() const { Kiv::fatal( kNotImplemented ); }

bool Dedupable::isEqual( Kiv::Ptr<Dedupable const> const& /*other*/ ) const { Kiv::fatal( kNotImplemented ); }

// DedupableList, Deduper

std::vector<DedupableList::Member> DedupableList::dedupedObj() const {
  std::vector<Member> members;
  if ( first_.object ) members.push_back( first_ );
  members.insert( members.end(), others_.begin(), others_.end() );
  return members;
}

void DedupableList::dedupedObjIs( Kiv::Ptr<Dedupable const> const& object, bool flag ) {
  if ( !first_.object || first_.object == object ) {
    first_ = { object, flag };
    return;
  }
  for ( Member& member : others_ ) {
    if ( member.object == object ) {
      member.flag = flag;
      return;
    }
  }
  others_.push_back( { object, flag } );
}

void DedupableList::dedupedObjDel( Kiv::Ptr<Dedupable const> const& object ) {
  std::erase_if( others_, [&]( Member const& member ) { return member.object == object; } );
  if ( first_.object != object ) return;
  first_ = others_.empty() ? Member{} : others_.front();
  if ( !others_.empty() ) others_.erase( others_.begin() );
}

void DedupableList::dedupedObjDelAll() {
  first_ = {};
  others_.clear();
}

Kiv::Ptr<Dedupable const> DedupableList::find( Kiv::Ptr<Dedupable const> const& object ) const {
  if ( !first_.object ) return nullptr;
  if ( first_.object->isEqual( object ) ) return first_.object;
  for ( Member const& member : others_ )
    if ( member.object->isEqual( object ) ) return member.object;
  return nullptr;
}

Kiv::Ptr<Dedupable const> Deduper::addObj( Kiv::Ptr<Dedupable const> const& object, std::uint32_t hash ) {
  DedupableList alone( hash );
  alone.dedupedObjIs( object, true );
  if ( dedupedHash_.insert( hash, std::move( alone ) ) ) return object;
  Kiv::Ptr<Dedupable const> canonical;
  dedupedHash_.update( hash, [&]( DedupableList& list ) {
    canonical = list.find( object );
    if ( canonical ) return;
    list.dedupedObjIs( object, true );
    canonical = object;
  } );
  return canonical;
}

// DedupMarkAndSweeper

void DedupMarkAndSweeper::dedupedIs( Kiv::Ptr<Dedupable const> const& object, std::uint32_t hash, bool mark ) {
  if ( auto const position = positions_.find( DedupableIdentity{ object.get() } ) ) {
    deduped_[*position].mark = mark;
    return;
  }
  positions_.set( DedupableIdentity{ object.get() }, static_cast<std::uint32_t>( deduped_.size() ) );
  deduped_.push_back( { object, hash, mark } );
}

void DedupMarkAndSweeper::dedupedDel( Kiv::Ptr<Dedupable const> const& object ) {
  auto const position = positions_.find( DedupableIdentity{ object.get() } );
  if ( !position ) return;
  positions_.erase( DedupableIdentity{ object.get() } );
  deduped_.erase( deduped_.begin() + *position );
  for ( std::uint32_t at = *position; at != deduped_.size(); ++at )
    positions_.set( DedupableIdentity{ deduped_[at].object.get() }, at );
}

void DedupMarkAndSweeper::dedupedDelAll() {
  positions_.clear();
  deduped_.clear();
}

GenSetKey DedupMarkAndSweeper::getGenSetKey( Kiv::Ptr<Dedupable const> const& /*object*/ ) const {
  Kiv::fatal( kNotImplemented );
}

GenSetKey DedupMarkAndSweeper::addDeduped( Kiv::Ptr<Dedupable const> const& object ) {
  std::uint32_t const hash = object->hash();
  auto const canonical = addObj( object, hash );
  dedupedIs( canonical, hash, true );
  return getGenSetKey( canonical );
}

void DedupMarkAndSweeper::unmarkAll() {
  for ( Deduped& deduped : deduped_ ) {
    deduped.mark = false;
    addObj( deduped.object, deduped.hash );
  }
}

void DedupMarkAndSweeper::sweepUnmarked() {
  auto const isMarked = []( Deduped const& deduped ) { return deduped.mark; };
  if ( !std::all_of( deduped_.begin(), deduped_.end(), isMarked ) ) {
    std::vector<Deduped> const all = std::exchange( deduped_, {} );
    positions_.clear();
    for ( Deduped const& deduped : all ) {
      if ( deduped.mark )
        dedupedIs( deduped.object, deduped.hash, true );
      else
        doCleanupSweptEntry( getGenSetKey( deduped.object ) );
    }
  }
  clear();
}

// PrefixListDedup

PrefixListDedup::PrefixListDedup( Kiv::Ptr<IpPrefixList const> const& prefixList )
    : prefixList_( prefixList ), edition_( prefixList ? prefixList->edition() : 0 ) {}

PrefixListDedup::~PrefixListDedup() = default;

void PrefixListDedup::prefixSetIs( Kiv::Ptr<PrefixSet> const& set ) { prefixSet_ = set; }

std::uint32_t PrefixListDedup::hash() const {
  return prefixList_ ? Kiv::hashOf( reinterpret_cast<std::uintptr_t>( prefixList_.get() ) ) : 0;
}

bool PrefixListDedup::isEqual( Kiv::Ptr<Dedupable const> const& other ) const {
  auto const* const dedup = dynamic_cast<PrefixListDedup const*>( other.get() );
  if ( dedup == nullptr ) return false;
  if ( prefixList_ == dedup->prefixList_ ) return edition_ == dedup->edition_;
  return prefixList_ && isCurrent() && dedup->isCurrent() && prefixList_->isEqual( dedup->prefixList_ );
}

bool PrefixListDedup::isCurrent() const { return prefixList_ && edition_ == prefixList_->edition(); }

}  // namespace Orvex
