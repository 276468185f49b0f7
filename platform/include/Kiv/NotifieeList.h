#pragma once

/// The reactors bound to one entity, in binding order. Part of Entity.h.

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Kiv {

class NotifieeConst;

namespace Detail {

/// While walks are in progress, a removed member leaves a null behind, so that positions stay; the last walk closes
/// them.
class NotifieeList {
 public:
  void add( NotifieeConst* notifiee ) { members_.push_back( notifiee ); }

  void remove( NotifieeConst* notifiee ) noexcept {
    auto const found = std::find( members_.begin(), members_.end(), notifiee );
    if ( walks_ == 0 ) {
      members_.erase( found );
    } else {
      *found = nullptr;
      holes_ = true;
    }
  }

  std::size_t size() const noexcept { return members_.size(); }
  NotifieeConst* at( std::size_t position ) const noexcept { return members_[position]; }
  std::size_t live() const noexcept {
    return members_.size() - static_cast<std::size_t>( std::count( members_.begin(), members_.end(), nullptr ) );
  }

  void walkBegins() noexcept { ++walks_; }
  /// True when this was the last walk and members were removed meanwhile: the holes can be closed.
  bool walkEnds() noexcept { return --walks_ == 0 && holes_; }
  void closeHoles() noexcept {
    std::erase( members_, nullptr );
    holes_ = false;
  }
  bool dispensable() const noexcept { return walks_ == 0 && members_.empty(); }

 private:
  std::vector<NotifieeConst*> members_;
  unsigned walks_ = 0;
  bool holes_ = false;
};

}  // namespace Detail

}  // namespace Kiv
