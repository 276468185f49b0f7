#pragma once

/// A set that knows the sum of its members' hashes. The sum does not depend on the order in which the members came, so equal
/// sets have equal sums; it is kept with every change, and comparing sets that differ mostly ends at the sums.

#include <cstdint>
#include <utility>

namespace Orvex {

/// A member's own hash().
struct MemberHash {
  template <class T>
  std::uint32_t operator()( T const& member ) const noexcept {
    return member.hash();
  }
};

/// `Set` is Kiv::SortedSet or Kiv::HashSet2018; `Hash` gives a member's 32 bits.
template <class Set, class Hash = MemberHash>
class SummedSet {
 public:
  using Key = typename Set::Key;

  SummedSet() noexcept = default;
  /// Many members at once. `Members` is a `Set`, or what one can be made of.
  template <class Members>
  explicit SummedSet( Members members ) : members_( std::move( members ) ) {
    for ( Key const& member : members_ ) hashSum_ += Hash()( member );
  }

  Set const& members() const noexcept { return members_; }
  std::uint64_t hashSum() const noexcept { return hashSum_; }

  /// True when the member is new.
  bool insert( Key const& member ) {
    if ( !members_.insert( member ) ) return false;
    hashSum_ += Hash()( member );
    return true;
  }

  /// True when there was such a member.
  bool erase( Key const& member ) {
    std::uint32_t const hash = Hash()( member );  // `member` may lie in the set
    if ( !members_.erase( member ) ) return false;
    hashSum_ -= hash;
    return true;
  }

  void unite( SummedSet const& other ) {
    members_.unite( other.members_, [this]( Key const& member ) { hashSum_ += Hash()( member ); } );
  }

  void subtract( SummedSet const& other ) {
    members_.subtract( other.members_, [this]( Key const& member ) { hashSum_ -= Hash()( member ); } );
  }

  bool operator==( SummedSet const& other ) const {
    return hashSum_ == other.hashSum_ && members_.size() == other.members_.size() && members_ == other.members_;
  }

 private:
  Set members_;
  std::uint64_t hashSum_ = 0;
};

}  // namespace Orvex
