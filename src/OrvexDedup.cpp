#include "Orvex/OrvexDedup.h"

#include <algorithm>

#include "Kiv/Instantiate.h"
#include "Orvex/OrvexAclTypes.h"
#include "Orvex/OrvexGenSetTypes.h"

namespace Orvex {

namespace {

constexpr std::string_view kNotImplemented = "false && \"Not implemented\"";

}  // namespace

std::uint32_t Dedupable::hash() const { Kiv::fatal( kNotImplemented ); }

bool Dedupable::isEqual( Kiv::Ptr<Dedupable const> const& /*other*/ ) const { Kiv::fatal( kNotImplemented ); }

// DedupableList, Deduper

void DedupableList::dedupedObjIs( Kiv::Ptr<Dedupable const> const& object, bool flag ) {
  for ( Member& member : dedupedObj_ ) {
    if ( member.object == object ) {
      member.flag = flag;
      return;
    }
  }
  dedupedObj_.push_back( { object, flag } );
}

void DedupableList::dedupedObjDel( Kiv::Ptr<Dedupable const> const& object ) {
  std::erase_if( dedupedObj_, [&]( Member const& member ) { return member.object == object; } );
}

Kiv::Ptr<DedupableList> Deduper::dedupedHashIs( std::uint32_t hashValue ) {
  return Kiv::instantiate( dedupedHash_, hashValue );
}

Kiv::Ptr<Dedupable const> Deduper::addObj( Kiv::Ptr<Dedupable const> const& object, std::uint32_t hash ) {
  auto const list = dedupedHashIs( hash );
  for ( DedupableList::Member const& member : list->dedupedObj() )
    if ( member.object->isEqual( object ) ) return member.object;
  list->dedupedObjIs( object, true );
  return object;
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
  std::vector<Deduped> const all = std::exchange( deduped_, {} );
  positions_.clear();
  for ( Deduped const& deduped : all ) {
    if ( deduped.mark )
      dedupedIs( deduped.object, deduped.hash, true );
    else
      doCleanupSweptEntry( getGenSetKey( deduped.object ) );
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
