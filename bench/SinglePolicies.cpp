#include "SinglePolicies.h"

#include <algorithm>
#include <array>
#include <set>
#include <vector>

#include "PolicyBuilder.h"
#include "RandomPrefix.h"

namespace Orvex::Bench {

namespace {

using Vell::AddressFamily;
using Vell::IpGenPrefix;

/// A prefix that contains another is shorter, so a chain has at most one prefix of each length.
using Ladder = std::array<std::uint32_t, PrefixListParameters::kMaxNesting>;
constexpr Ladder kIpv4Ladder = { 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 29, 32 };
constexpr Ladder kIpv6Ladder = { 24, 32, 36, 40, 44, 48, 52, 56, 60, 64, 96, 128 };

class NestedPrefixes {
 public:
  NestedPrefixes( AddressFamily family, Random& random )
      : unicast_( family == AddressFamily::ipv4 ? IpGenPrefix()
                                                : IpGenPrefix( Vell::Ip6Addr( std::uint64_t{ 0x2000 } << 48, 0 ), 3 ) ),
        ladder_( family == AddressFamily::ipv4 ? kIpv4Ladder : kIpv6Ladder ),
        random_( random ) {}

  IpGenPrefix next() {
    while ( true ) {
      IpGenPrefix const made = candidate();
      if ( !known_.insert( made ).second ) continue;
      prefixes_.push_back( made );
      return made;
    }
  }

 private:
  IpGenPrefix candidate() {
    std::size_t const made = prefixes_.size();
    if ( made == 0 ) return randomWithin( unicast_, ladder_.front(), random_ );
    if ( made < ladder_.size() ) return randomWithin( prefixes_.back(), ladder_[made], random_ );
    if ( random_.below( 3 ) == 0 ) return randomWithin( unicast_, ladder_[random_.between( 4, 8 )], random_ );
    IpGenPrefix const& outer = random_.oneOf( prefixes_ );
    auto const longer = std::upper_bound( ladder_.begin(), ladder_.end(), outer.length() );
    if ( longer == ladder_.end() ) return outer;  // a host, which is known: the next candidate comes
    auto const steps = static_cast<std::uint32_t>( ladder_.end() - longer );
    return randomWithin( outer, *( longer + random_.between( 0, std::min( 1U, steps - 1 ) ) ), random_ );
  }

  IpGenPrefix unicast_;
  Ladder const& ladder_;
  Random& random_;
  std::vector<IpGenPrefix> prefixes_;
  std::set<IpGenPrefix> known_;
};

constexpr std::size_t kGridRules = 1000;
constexpr std::size_t kGridLabels = 500;
constexpr std::size_t kGridLists = 100;
constexpr std::size_t kGridListSize = 50;

/// Numbers of prefixes, a list each; drawn again until each prefix stands in some list and no two stand in the same
/// ones.
std::vector<std::vector<std::size_t>> tellingApart( Random& random ) {
  while ( true ) {
    std::vector<std::vector<std::size_t>> lists;
    std::vector<std::vector<std::size_t>> listsOf( kGridLabels );
    for ( std::size_t list = 0; list != kGridLists; ++list ) {
      lists.push_back( random.dealt( kGridListSize, kGridLabels ) );
      for ( std::size_t const prefix : lists.back() ) listsOf[prefix].push_back( list );
    }
    std::set<std::vector<std::size_t>> const groups( listsOf.begin(), listsOf.end() );
    bool const allListed = !groups.contains( {} );
    if ( allListed && groups.size() == kGridLabels ) return lists;
  }
}

/// The lists of one side, over the first /24s of `block`.
std::vector<Kiv::Ptr<IpPrefixList>> gridLists( IpGenPrefix const& block, Random& random ) {
  std::vector<Kiv::Ptr<IpPrefixList>> lists;
  for ( auto const& members : tellingApart( random ) ) {
    lists.push_back( Kiv::make<IpPrefixList>() );
    for ( std::size_t const number : members ) lists.back()->addrIs( part( block, 24 - block.length(), number ) );
  }
  return lists;
}

}  // namespace

Kiv::Ptr<AclConfigColl> separatePrefixes( std::uint32_t count, AddressFamily family, std::uint64_t seed ) {
  Random random( seed );
  NestedPrefixes prefixes( family, random );
  PolicyBuilder builder( family );
  for ( std::uint32_t i = 0; i != count; ++i ) builder.addRule()->ruleFilterIs()->sourceIs( listOf( prefixes.next() ) );
  return builder.config();
}

SitePrefixes sitePrefixes( AddressFamily family, std::uint64_t seed ) {
  PrefixListParameters parameters;
  parameters.lists = 2000;
  parameters.distinctPrefixes = 100000;
  parameters.family = family;
  Random random( seed );
  SitePrefixes result;
  result.prefixLists = makePrefixLists( parameters, random );
  PolicyBuilder builder( family );
  for ( auto const& list : result.prefixLists.lists ) builder.addRule()->ruleFilterIs()->sourceIs( list );
  result.config = builder.config();
  return result;
}

Kiv::Ptr<AclConfigColl> overlappingPorts( std::uint32_t count, std::uint64_t seed ) {
  constexpr std::uint32_t kWidestBits = 14;
  Random random( seed );
  PolicyBuilder builder( AddressFamily::ipv4 );
  std::set<L4PortRange> known;
  while ( known.size() != count ) {
    std::uint32_t const width = random.between( 1, 1U << random.between( 0, kWidestBits ) );
    std::uint32_t const first = random.between( 0, L4PortField::kMaximum + 1 - width );
    L4PortRange const range( first, first + width - 1 );
    if ( known.insert( range ).second ) builder.addRule()->ruleFilterIs()->dportRangeIs( range );
  }
  return builder.config();
}

Kiv::Ptr<AclConfigColl> anyToAny( AnyLists lists, std::uint32_t rules ) {
  PolicyBuilder builder( AddressFamily::ipv4 );
  auto const shared = listOf( IpGenPrefix() );
  for ( std::uint32_t i = 0; i != rules; ++i ) {
    auto const filter = builder.addRule()->ruleFilterIs();
    filter->sourceIs( lists == AnyLists::shared ? shared : listOf( IpGenPrefix() ) );
    filter->destinationIs( lists == AnyLists::shared ? shared : listOf( IpGenPrefix() ) );
  }
  return builder.config();
}

Kiv::Ptr<AclConfigColl> labelGrid( std::uint64_t seed ) {
  Random random( seed );
  auto const sources = gridLists( IpGenPrefix( 10U << 24, 8 ), random );
  auto const destinations = gridLists( IpGenPrefix( ( 172U << 24 ) + ( 16U << 16 ), 12 ), random );
  PolicyBuilder builder( AddressFamily::ipv4 );
  for ( std::size_t const pair : random.dealt( kGridRules, kGridLists * kGridLists ) ) {
    auto const filter = builder.addRule()->ruleFilterIs();
    filter->sourceIs( sources[pair / kGridLists] );
    filter->destinationIs( destinations[pair % kGridLists] );
  }
  return builder.config();
}

}  // namespace Orvex::Bench
