#include "policy/PrefixUnion.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Orvex::Host {

namespace {

/// What one list says from a prefix on inwards.
struct Answer {
  Vell::IpGenPrefix prefix;
  std::size_t list = 0;
  bool matches = false;

  /// Outer prefixes before inner ones; of the same prefix as both kinds, the one that counts last.
  friend auto operator<=>( Answer const&, Answer const& ) = default;
};

/// An answer that ends with its prefix.
struct Open {
  Vell::IpGenPrefix prefix;
  std::size_t list = 0;
  bool matchedOutside = false;
};

class Sweep {
 public:
  explicit Sweep( std::span<PrefixList const* const> lists ) : matches_( lists.size(), 0 ) {
    for ( std::size_t at = 0; at != lists.size(); ++at ) {
      for ( Vell::IpGenPrefix const& each : lists[at]->prefixes ) answers_.push_back( { each, at, true } );
      for ( Vell::IpGenPrefix const& each : lists[at]->excepts ) answers_.push_back( { each, at, false } );
    }
    std::sort( answers_.begin(), answers_.end() );
  }

  PrefixList result() {
    PrefixList list;
    for ( auto at = answers_.begin(); at != answers_.end(); ) {
      Vell::IpGenPrefix const prefix = at->prefix;
      closeUpTo( prefix );
      bool const before = matching_ != 0;
      for ( ; at != answers_.end() && at->prefix == prefix; ++at ) open( *at );
      bool const after = matching_ != 0;
      if ( before != after ) ( after ? list.prefixes : list.excepts ).push_back( prefix );
    }
    return list;
  }

 private:
  void closeUpTo( Vell::IpGenPrefix const& prefix ) {
    for ( ; !open_.empty() && !open_.back().prefix.contains( prefix ); open_.pop_back() )
      set( open_.back().list, open_.back().matchedOutside );
  }

  void open( Answer const& answer ) {
    open_.push_back( { answer.prefix, answer.list, matches_[answer.list] != 0 } );
    set( answer.list, answer.matches );
  }

  void set( std::size_t list, bool matches ) {
    matching_ -= matches_[list];
    matches_[list] = matches ? 1 : 0;
    matching_ += matches_[list];
  }

  std::vector<Answer> answers_;
  std::vector<Open> open_;
  std::vector<std::size_t> matches_;  // by list: 0 or 1
  std::size_t matching_ = 0;
};

}  // namespace

PrefixList unionOf( std::span<PrefixList const* const> lists ) { return Sweep( lists ).result(); }

}  // namespace Orvex::Host
