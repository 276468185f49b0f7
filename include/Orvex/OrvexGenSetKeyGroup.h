#pragma once

/// Groups of set keys: the sets of a working set, or the sets that contain one piece.
///
/// A group could be an array of keys. But ten thousand rules that each hold a list of their own with the same prefixes give
/// ten thousand keys that always travel together, and every piece's group would hold all of them. So a transform sorts its
/// sets into classes of equal content, numbers the classes, and writes a group as class numbers; keys appear when they are
/// asked for.
///
///     keys 1, 2, ..., 10000: the prefix ::/0         class 0
///     key 10001: 2001:db8::/32                       class 1
///     group of the piece 2001:db8::/32               classes 0, 1: 8 bytes for 10001 keys
///
/// A group of either form hashes to the same number, from the sum of its keys' hashes, and equals a group of the other form
/// with the same keys.

#include <cstdint>
#include <memory_resource>
#include <span>
#include <variant>
#include <vector>

#include "Kiv/HashMap2018.h"
#include "Kiv/SortedSet.h"
#include "Orvex/OrvexDedup.h"
#include "Orvex/OrvexGenSetValues.h"
#include "Orvex/OrvexHashIndex.h"
#include "Orvex/OrvexSummedSet.h"

namespace Orvex {

/// Which keys belong to which class. Classes are numbered from 0, and are made once.
class GenSetKeyClasses : public Kiv::Entity {
 public:
  using ClassId = std::uint32_t;

  struct Member {
    ClassId classId = 0;
    GenSetKey key;
  };

  /// Every class has a member. The order of members does not matter.
  explicit GenSetKeyClasses( std::vector<Member> members );

  /// Number of classes.
  std::size_t size() const { return first_.size() - 1; }
  std::size_t keyCount() const { return keys_.size(); }
  /// Ascending.
  std::span<GenSetKey const> keys( ClassId classId ) const {
    return std::span( keys_ ).subspan( first_[classId], first_[classId + 1] - first_[classId] );
  }
  /// The sum of the hashes of a class's keys.
  std::uint64_t hashSum( ClassId classId ) const { return hashSums_[classId]; }

  /// A copy that stays as long as the classes do: the ids of a group. One after the other they take a fraction of the
  /// memory and time of an array a group. Like the interner, for one thread at a time.
  std::span<ClassId const> keep( std::span<ClassId const> classIds ) const;

 private:
  std::vector<GenSetKey> keys_;       // class by class
  std::vector<std::uint32_t> first_;  // where each class begins in keys_; one more at the end
  std::vector<std::uint64_t> hashSums_;
  mutable std::pmr::monotonic_buffer_resource kept_;
};

class GenSetKeyGroup final : public Dedupable {
 public:
  using Keys = Kiv::SortedSet<GenSetKey>;
  using ClassId = GenSetKeyClasses::ClassId;
  static constexpr std::uint32_t kNotInterned = ~std::uint32_t{ 0 };

  GenSetKeyGroup() = default;
  /// The keys may come in any order.
  explicit GenSetKeyGroup( std::vector<GenSetKey> keys ) : form_( SingleKeys( std::move( keys ) ) ) {}
  /// The ids ascend. `number` is that of an interned group.
  GenSetKeyGroup( Kiv::Ptr<GenSetKeyClasses const> const& classes, std::span<ClassId const> classIds,
                  std::uint64_t hashSum, std::uint32_t number = kNotInterned );

  /// A copy, put together when the group is made of classes.
  Keys keyGroup() const;
  bool empty() const { return classed() != nullptr ? classed()->size == 0 : singleKeys().members().empty(); }
  void keyGroupIs( GenSetKey key );
  void keyGroupDel( GenSetKey key );
  void keyGroupDelAll();
  bool keyGroupHas( GenSetKey key ) const;
  void addToKeyGroup( GenSetKeyGroup const& other );
  void removeFromKeyGroup( GenSetKeyGroup const& other );

  /// Null for a group that is made of single keys.
  Kiv::Ptr<GenSetKeyClasses const> const& classes() const {
    return classed() != nullptr ? classed()->classes : kNoClasses;
  }
  /// Ascending.
  std::span<ClassId const> classIds() const {
    return classed() != nullptr ? std::span( classed()->ids, classed()->size ) : std::span<ClassId const>();
  }
  /// Its place among the groups of its interner. Groups of the same classes that both have a number are equal only when
  /// they are the same object.
  std::uint32_t number() const { return classed() != nullptr ? classed()->number : kNotInterned; }
  /// The sum of the keys' hashes.
  std::uint64_t hashSum() const { return classed() != nullptr ? classed()->hashSum : singleKeys().hashSum(); }

  std::uint32_t hash() const override;
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override;

 private:
  using SingleKeys = SummedSet<Keys>;
  struct Classed {
    Kiv::Ptr<GenSetKeyClasses const> classes;
    ClassId const* ids;  // kept by the classes
    std::uint32_t size;
    std::uint32_t number;
    std::uint64_t hashSum;
  };
  static inline Kiv::Ptr<GenSetKeyClasses const> const kNoClasses;

  /// Null for a group of single keys.
  Classed const* classed() const { return std::get_if<Classed>( &form_ ); }
  SingleKeys const& singleKeys() const { return *std::get_if<SingleKeys>( &form_ ); }
  /// Makes the group one of single keys.
  SingleKeys& expand();
  /// The keys, as a set that may be `copy`.
  SingleKeys const& summedKeys( SingleKeys& copy ) const;

  std::variant<SingleKeys, Classed> form_;
};

/// Gives equal groups of classes one object, and numbers them from 0. There is one interner for a GenSetKeyClasses. Looking
/// for a group that is there allocates nothing.
class GenSetKeyGroupInterner {
 public:
  using ClassId = GenSetKeyClasses::ClassId;

  explicit GenSetKeyGroupInterner( Kiv::Ptr<GenSetKeyClasses const> const& classes ) : classes_( classes ) {}

  /// Makes room for as many different groups.
  void reserve( std::size_t groups );

  /// What looking for a group of this hash sum will read first, to be fetched ahead. The sum may be a guess.
  void const* searchBegin( std::uint64_t hashSum ) const { return index_.searchBegin( hashSum ); }

  /// The group of these classes, which ascend.
  Kiv::Ptr<GenSetKeyGroup> group( std::span<ClassId const> classIds );
  /// With the sum of the classes' hash sums at hand.
  Kiv::Ptr<GenSetKeyGroup> group( std::span<ClassId const> classIds, std::uint64_t hashSum );

 private:
  Kiv::Ptr<GenSetKeyClasses const> classes_;
  HashIndex index_;
  std::vector<Kiv::Ptr<GenSetKeyGroup>> groups_;
};

}  // namespace Orvex
