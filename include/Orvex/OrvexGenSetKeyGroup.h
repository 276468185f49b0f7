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
#include <span>
#include <vector>

#include "Kiv/HashMap2018.h"
#include "Kiv/SortedSet.h"
#include "Orvex/OrvexDedup.h"
#include "Orvex/OrvexGenSetValues.h"
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

 private:
  std::vector<GenSetKey> keys_;       // class by class
  std::vector<std::uint32_t> first_;  // where each class begins in keys_; one more at the end
  std::vector<std::uint64_t> hashSums_;
};

class GenSetKeyGroup final : public Dedupable {
 public:
  using Keys = Kiv::SortedSet<GenSetKey>;
  using ClassId = GenSetKeyClasses::ClassId;
  static constexpr std::uint32_t kNotInterned = ~std::uint32_t{ 0 };

  GenSetKeyGroup() = default;
  /// The keys may come in any order.
  explicit GenSetKeyGroup( std::vector<GenSetKey> keys ) : keys_( std::move( keys ) ) {}
  /// The ids ascend. `number` is that of an interned group.
  GenSetKeyGroup( Kiv::Ptr<GenSetKeyClasses const> const& classes, std::span<ClassId const> classIds,
                  std::uint64_t hashSum, std::uint32_t number = kNotInterned );

  /// A copy, put together when the group is made of classes.
  Keys keyGroup() const;
  bool empty() const { return classes_ ? classIds_.empty() : keys_.members().empty(); }
  void keyGroupIs( GenSetKey key );
  void keyGroupDel( GenSetKey key );
  void keyGroupDelAll();
  bool keyGroupHas( GenSetKey key ) const;
  void addToKeyGroup( GenSetKeyGroup const& other );
  void removeFromKeyGroup( GenSetKeyGroup const& other );

  /// Null for a group that is made of single keys.
  Kiv::Ptr<GenSetKeyClasses const> const& classes() const { return classes_; }
  /// Ascending.
  std::vector<ClassId> const& classIds() const { return classIds_; }
  /// Its place among the groups of its interner. Groups of the same classes that both have a number are equal only when
  /// they are the same object.
  std::uint32_t number() const { return number_; }
  /// The sum of the keys' hashes.
  std::uint64_t hashSum() const { return classes_ ? classHashSum_ : keys_.hashSum(); }

  std::uint32_t hash() const override;
  bool isEqual( Kiv::Ptr<Dedupable const> const& other ) const override;

 private:
  /// Makes the group one of single keys.
  void expand();

  SummedSet<Keys> keys_;
  Kiv::Ptr<GenSetKeyClasses const> classes_;
  std::vector<ClassId> classIds_;
  std::uint64_t classHashSum_ = 0;
  std::uint32_t number_ = kNotInterned;
};

/// Gives equal groups of classes one object, and numbers them from 0. There is one interner for a GenSetKeyClasses. Looking
/// for a group that is there allocates nothing.
class GenSetKeyGroupInterner {
 public:
  using ClassId = GenSetKeyClasses::ClassId;

  explicit GenSetKeyGroupInterner( Kiv::Ptr<GenSetKeyClasses const> const& classes ) : classes_( classes ) {}

  /// The group of these classes, which ascend.
  Kiv::Ptr<GenSetKeyGroup> group( std::span<ClassId const> classIds );
  /// With the sum of the classes' hash sums at hand.
  Kiv::Ptr<GenSetKeyGroup> group( std::span<ClassId const> classIds, std::uint64_t hashSum );

 private:
  struct Entry {
    Kiv::Ptr<GenSetKeyGroup> group;
    std::uint32_t next;  // the next one with the same sum; none: kNone
  };
  static constexpr std::uint32_t kNone = ~std::uint32_t{ 0 };

  Kiv::Ptr<GenSetKeyClasses const> classes_;
  Kiv::HashMap2018<std::uint64_t, std::uint32_t> firstOfSum_;
  std::vector<Entry> entries_;
};

}  // namespace Orvex
