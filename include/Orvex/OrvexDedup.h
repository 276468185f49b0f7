#pragma once

/// Finds equal objects, and forgets those that are no longer used.
///
/// A stage that builds sets rule by rule offers each to a deduper and goes on with the one it gets back: the first of its
/// content. A mark-and-sweep collector also knows which of them the present kick has used. One kick is one pass:
///
///     collector->unmarkAll();                       // objects 1, 2, 3 from the last kick
///     key = collector->addDeduped( set );           // content of 2: key 2.   new content: its own key, 4
///     collector->sweepUnmarked();                   // doCleanupSweptEntry( 1 ), ( 3 )
///
/// Objects are held by counted references, so an address names one object as long as it is known here. Contents must stay
/// as they are from then on. Hashes are computed once, when an object comes.
///
/// Order: everything is walked in the order in which objects came, never by address.
/// Cost: constant for each object, apart from equality among objects of one hash.

#include <cstdint>
#include <vector>

#include "Kiv/Entity.h"
#include "Kiv/HashMap2018.h"
#include "Orvex/OrvexGenSetValues.h"

namespace Orvex {

class IpPrefixList;
class PrefixSet;

/// An object that can be found by its content. Equal objects have equal hashes. Every class overrides both; those here are
/// fatal checks.
class Dedupable : public Kiv::Entity {
 public:
  virtual std::uint32_t hash() const;
  /// False for null and for an object of another class.
  virtual bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const;
};

/// The address of an object that is held, for maps that are only looked up in: their order is that of addresses.
struct DedupableIdentity {
  Dedupable const* object;
  bool operator==( DedupableIdentity const& ) const = default;
  std::uint32_t hash() const noexcept { return Kiv::hashOf( reinterpret_cast<std::uintptr_t>( object ) ); }
};

/// Unequal objects of one hash. A value, as there is one for nearly every object known.
class DedupableList {
 public:
  struct Member {
    Kiv::Ptr<Dedupable const> object;
    bool flag = false;
    friend bool operator==( Member const&, Member const& ) = default;
  };

  explicit DedupableList( std::uint32_t hashValue ) : hashValue_( hashValue ) {}
  friend bool operator==( DedupableList const&, DedupableList const& ) = default;

  std::uint32_t hashValue() const { return hashValue_; }

  /// In the order in which they came. A copy.
  std::vector<Member> dedupedObj() const;
  void dedupedObjIs( Kiv::Ptr<Dedupable const> const& object, bool flag );
  void dedupedObjDel( Kiv::Ptr<Dedupable const> const& object );
  void dedupedObjDelAll();

  /// The first object that equals this one; null when there is none.
  Kiv::Ptr<Dedupable const> find( Kiv::Ptr<Dedupable const> const& object ) const;

 private:
  Member first_;  // nearly always the only one
  std::vector<Member> others_;
  std::uint32_t hashValue_;
};

/// Finds the first object of each content.
class Deduper : public Kiv::Entity {
 public:
  Kiv::HashMap2018<std::uint32_t, DedupableList> const& dedupedHash() const { return dedupedHash_; }
  /// Makes the list, empty, when there is none.
  void dedupedHashIs( std::uint32_t hashValue ) { dedupedHash_.insert( hashValue, DedupableList( hashValue ) ); }
  void dedupedHashDel( std::uint32_t hashValue ) { dedupedHash_.erase( hashValue ); }
  void dedupedHashDelAll() { dedupedHash_.clear(); }

  virtual void clear() { dedupedHashDelAll(); }

  /// The object known that equals this one; this one, from now on known, when there is none.
  Kiv::Ptr<Dedupable const> addObj( Kiv::Ptr<Dedupable const> const& object ) {
    return addObj( object, object->hash() );
  }

 protected:
  Kiv::Ptr<Dedupable const> addObj( Kiv::Ptr<Dedupable const> const& object, std::uint32_t hash );

 private:
  Kiv::HashMap2018<std::uint32_t, DedupableList> dedupedHash_;
};

/// A deduper whose objects stand for generic sets. Between passes `dedupedHash` is empty and `deduped` holds the objects.
class DedupMarkAndSweeper : public Deduper {
 public:
  struct Deduped {
    Kiv::Ptr<Dedupable const> object;
    std::uint32_t hash;
    bool mark;
  };

  /// In the order in which they came.
  std::vector<Deduped> const& deduped() const { return deduped_; }
  void dedupedIs( Kiv::Ptr<Dedupable const> const& object, bool mark ) { dedupedIs( object, object->hash(), mark ); }
  void dedupedDel( Kiv::Ptr<Dedupable const> const& object );
  void dedupedDelAll();

  /// Called for each object swept, with the key of its set.
  virtual void doCleanupSweptEntry( GenSetKey ) {}
  /// The key of the set that an object stands for. Every collector overrides it; this one is a fatal check.
  virtual GenSetKey getGenSetKey( Kiv::Ptr<Dedupable const> const& object ) const;

  /// Marks the object of this content, and returns the key of its set.
  GenSetKey addDeduped( Kiv::Ptr<Dedupable const> const& object );
  /// Begins a pass.
  void unmarkAll();
  /// Ends a pass: what has not been marked goes.
  void sweepUnmarked();

 private:
  void dedupedIs( Kiv::Ptr<Dedupable const> const& object, std::uint32_t hash, bool mark );

  std::vector<Deduped> deduped_;
  Kiv::HashMap2018<DedupableIdentity, std::uint32_t> positions_;  // in deduped_
};

/// Stands for a prefix list by its identity: each list object gets a set of its own, even if another holds the same. A list
/// that has been edited since it was registered is another one, so that it does not get the set of its old content.
class PrefixListDedup final : public Dedupable {
 public:
  explicit PrefixListDedup( Kiv::Ptr<IpPrefixList const> const& prefixList );
  ~PrefixListDedup() override;

  Kiv::Ptr<IpPrefixList const> const& prefixList() const { return prefixList_; }

  /// The set built for the list; null before.
  Kiv::Ptr<PrefixSet> const& prefixSet() const { return prefixSet_; }
  void prefixSetIs( Kiv::Ptr<PrefixSet> const& set );

  /// Of the list's address; 0 without a list.
  std::uint32_t hash() const override;
  /// Whether the lists have equal content, and both still have it.
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override;

 private:
  bool isCurrent() const;

  Kiv::Ptr<IpPrefixList const> prefixList_;
  Kiv::Ptr<PrefixSet> prefixSet_;
  std::uint32_t edition_;
};

}  // namespace Orvex
