#include "pipeline/ExpansionBound.h"

#include <algorithm>
#include <map>
#include <utility>

namespace Orvex::Host {

namespace {

using List = EncodedLabelWithMaskList;

/// Pairs of rules, and members of lists compared.
constexpr std::uint64_t kMostSteps = 5000000;

std::uint64_t lengthOf( List const* list ) { return list == nullptr ? 1 : list->encLabelAndMask().size(); }

/// Counts common members of lists, of each pair of lists once.
class SharedMembers {
 public:
  std::uint64_t of( List const* a, List const* b ) {
    ++steps_;
    if ( a == b ) return lengthOf( a );
    auto const [known, isNew] = counts_.try_emplace( std::minmax( a, b ) );
    if ( isNew ) known->second = a == nullptr ? any( *b ) : b == nullptr ? any( *a ) : counted( *a, *b );
    return known->second;
  }
  bool isTooMuchWork() const { return steps_ > kMostSteps; }

 private:
  /// A missing field is one entry, which looks at no bit; a list can have such a one.
  std::uint64_t any( List const& list ) {
    std::uint64_t count = 0;
    for ( EncodedLabelWithMask const& entry : list.encLabelAndMask() ) {
      count += entry.mask.value() == 0 ? 1 : 0;
      ++steps_;
    }
    return count;
  }

  std::uint64_t counted( List const& a, List const& b ) {
    std::uint64_t count = 0;
    auto x = a.encLabelAndMask().begin();
    auto y = b.encLabelAndMask().begin();
    for ( ; x != a.encLabelAndMask().end() && y != b.encLabelAndMask().end(); ++steps_ ) {
      bool const isBefore = *x < *y;
      bool const isBehind = *y < *x;
      count += isBefore || isBehind ? 0 : 1;
      if ( !isBehind ) ++x;
      if ( !isBefore ) ++y;
    }
    return count;
  }

  std::map<std::pair<List const*, List const*>, std::uint64_t> counts_;
  std::uint64_t steps_ = 0;
};

std::uint64_t mostShared( RuleLists const& a, RuleLists const& b, SharedMembers& members ) {
  auto const others = []( RuleLists const& rule ) {
    return rule.product / std::max<std::uint64_t>( 1, lengthOf( rule.source ) * lengthOf( rule.destination ) );
  };
  // In 128 bits: the three factors have 16, 16 and up to 64.
  __extension__ using Wide = unsigned __int128;
  Wide const shared = Wide{ members.of( a.source, b.source ) } * members.of( a.destination, b.destination ) *
                      std::min( others( a ), others( b ) );
  return static_cast<std::uint64_t>( std::min<Wide>( shared, std::min( a.product, b.product ) ) );
}

/// What is left of the rule's entries when each earlier rule of its ACL has as many of them as it can.
std::uint64_t leastOf( std::vector<RuleLists> const& rules, std::size_t rule, SharedMembers& members ) {
  std::uint64_t left = rules[rule].product;
  for ( std::size_t earlier = rule; earlier != 0 && left != 0 && !members.isTooMuchWork(); --earlier )
    if ( rules[earlier - 1].acl == rules[rule].acl )
      left -= std::min( left, mostShared( rules[earlier - 1], rules[rule], members ) );
  return left;
}

}  // namespace

std::uint64_t leastEntries( std::vector<RuleLists> const& rules, std::uint64_t enough ) {
  std::uint64_t most = 0;
  for ( RuleLists const& rule : rules ) most += std::min( rule.product, ~most );
  if ( most <= enough ) return 0;  // and all the work would not show more than that
  SharedMembers members;
  std::uint64_t entries = 0;
  for ( std::size_t rule = 0; rule != rules.size() && entries <= enough; ++rule ) {
    std::uint64_t const least = leastOf( rules, rule, members );
    if ( members.isTooMuchWork() ) break;
    entries += std::min( least, ~entries );
  }
  return entries;
}

}  // namespace Orvex::Host
