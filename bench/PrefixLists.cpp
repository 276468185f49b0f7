#include "PrefixLists.h"

#include <algorithm>
#include <bit>
#include <set>
#include <stdexcept>

#include "RandomPrefix.h"

namespace Orvex::Bench {

namespace {

using Vell::AddressFamily;
using Vell::IpGenPrefix;

constexpr std::uint32_t kSmallestSite = 8;
constexpr std::uint32_t kLargestSite = 64;
constexpr std::uint32_t kNestedPercent = 33;

/// The smallest aligned block with room for the prefixes is 2^bits of them. (What bit_width returns differs between
/// standard libraries.)
std::uint32_t blockBits( std::uint32_t prefixes ) {
  return static_cast<std::uint32_t>( std::bit_width( prefixes - 1 ) );
}

struct Site {
  std::vector<IpGenPrefix> prefixes;
  std::uint32_t nesting = 1;
};

/// Makes sites until the pool has as many prefixes as asked for. An outermost site has a unit of the address space to
/// itself, a nested one a prefix of another site, so all prefixes differ and the nesting is known as it grows.
class SitePool {
 public:
  SitePool( PrefixListParameters const& parameters, Random& random ) : parameters_( parameters ), random_( random ) {
    while ( left() != 0 ) {
      std::uint32_t const prefixes = nextSize();
      if ( !random_.percent( kNestedPercent ) || !addNested( prefixes ) ) addOutermost( prefixes );
    }
  }

  std::vector<Site> const& sites() const { return sites_; }
  std::size_t nestedSites() const { return nestedSites_; }

 private:
  std::uint32_t left() const { return parameters_.distinctPrefixes - made_; }
  std::uint32_t nextSize();
  void addOutermost( std::uint32_t prefixes );
  bool addNested( std::uint32_t prefixes );
  void add( IpGenPrefix const& outer, std::uint32_t length, std::uint32_t prefixes, std::uint32_t nesting );
  IpGenPrefix newUnit();

  PrefixListParameters const& parameters_;
  Random& random_;
  std::vector<Site> sites_;
  std::set<IpGenPrefix> takenUnits_;
  std::set<IpGenPrefix> takenHosts_;
  std::uint32_t made_ = 0;
  std::size_t nestedSites_ = 0;
};

/// Leaves no rest that is too small for a site.
std::uint32_t SitePool::nextSize() {
  if ( parameters_.shape == ListShape::scattered ) return 1;
  if ( left() <= kLargestSite ) return left();
  std::uint32_t const size = random_.between( kSmallestSite, kLargestSite );
  return std::min( size, left() - kSmallestSite );
}

/// A /18 of the unicast addresses or a /42 of 2000::/3, no two alike: room for 64 neighbouring /24 or /48.
IpGenPrefix SitePool::newUnit() {
  while ( true ) {
    IpGenPrefix const unit =
        parameters_.family == AddressFamily::ipv4
            ? part( IpGenPrefix(), 18, random_.between( 1U << 10, ( 224U << 10 ) - 1 ) )
            : randomWithin( IpGenPrefix( Vell::Ip6Addr( std::uint64_t{ 0x2000 } << 48, 0 ), 3 ), 42, random_ );
    if ( takenUnits_.insert( unit ).second ) return unit;
  }
}

void SitePool::addOutermost( std::uint32_t prefixes ) {
  static std::vector<std::uint32_t> const kIpv4Lengths = { 24, 24, 26, 28, 32 };
  static std::vector<std::uint32_t> const kIpv6Lengths = { 48, 48, 56, 64, 128 };
  IpGenPrefix const unit = newUnit();
  add( unit, random_.oneOf( unit.af() == AddressFamily::ipv4 ? kIpv4Lengths : kIpv6Lengths ), prefixes, 1 );
}

/// False when the prefix that was drawn to hold the site cannot.
bool SitePool::addNested( std::uint32_t prefixes ) {
  if ( sites_.empty() ) return false;
  Site const& outer = random_.oneOf( sites_ );
  IpGenPrefix const& host = random_.oneOf( outer.prefixes );
  std::uint32_t const bits = std::max( 1U, blockBits( prefixes ) );
  if ( bits > freeBits( host ) || outer.nesting == PrefixListParameters::kMaxNesting ) return false;
  if ( !takenHosts_.insert( host ).second ) return false;
  ++nestedSites_;
  std::uint32_t const length = host.length() + bits + random_.between( 0, std::min( 4U, freeBits( host ) - bits ) );
  add( host, length, prefixes, outer.nesting + 1 );
  return true;
}

/// Neighbours from the start of an aligned block on.
void SitePool::add( IpGenPrefix const& outer, std::uint32_t length, std::uint32_t prefixes, std::uint32_t nesting ) {
  std::uint32_t const bits = blockBits( prefixes );
  IpGenPrefix const block = randomWithin( outer, length - bits, random_ );
  Site site;
  site.nesting = nesting;
  for ( std::uint32_t number = 0; number != prefixes; ++number )
    site.prefixes.push_back( bits == 0 ? block : part( block, bits, number ) );
  made_ += prefixes;
  sites_.push_back( std::move( site ) );
}

/// The sites of one list, by number.
struct SiteList {
  std::set<std::size_t> sites;
  std::size_t prefixes = 0;
};

/// Every site is dealt to one list, as far as there is room; then each list is filled up with sites drawn at random.
class SiteDealer {
 public:
  SiteDealer( PrefixListParameters const& parameters, std::vector<Site> const& sites, Random& random )
      : wanted_( parameters.prefixesPerList ), sites_( sites ), lists_( parameters.lists ) {
    for ( std::size_t const site : random.dealt( sites.size(), sites.size() ) ) deal( site );
    for ( SiteList& list : lists_ ) fill( list, random );
  }

  std::vector<SiteList> const& lists() const { return lists_; }

 private:
  /// A list may end half a site above or below the wanted size, and always has a site.
  bool add( SiteList& list, std::size_t site ) {
    std::size_t const prefixes = sites_[site].prefixes.size();
    if ( !list.sites.empty() && list.prefixes + ( prefixes + 1 ) / 2 > wanted_ ) return false;
    if ( !list.sites.insert( site ).second ) return false;
    list.prefixes += prefixes;
    return true;
  }

  /// To the next list in turn that has room.
  void deal( std::size_t site ) {
    for ( std::size_t tries = lists_.size(); tries != 0; --tries )
      if ( add( lists_[turn_++ % lists_.size()], site ) ) return;
  }

  void fill( SiteList& list, Random& random ) {
    constexpr int kMostMisses = 10;
    for ( int misses = 0; list.prefixes < wanted_ && misses != kMostMisses; )
      if ( !add( list, random.below( sites_.size() ) ) ) ++misses;
  }

  std::size_t wanted_;
  std::vector<Site> const& sites_;
  std::vector<SiteList> lists_;
  std::size_t turn_ = 0;
};

void addExcepts( IpPrefixList& list, std::vector<IpGenPrefix> const& prefixes, std::size_t count, Random& random ) {
  constexpr std::uint32_t kLongestStep = 8;
  constexpr std::size_t kTriesPerExcept = 50;  // most prefixes of a list can be hosts, which nothing can be taken from
  for ( std::size_t tries = count * kTriesPerExcept; tries != 0 && list.exceptAddr().size() != count; --tries ) {
    IpGenPrefix const& outer = random.oneOf( prefixes );
    if ( freeBits( outer ) == 0 ) continue;
    std::uint32_t const step = random.between( 1, std::min( kLongestStep, freeBits( outer ) ) );
    IpGenPrefix const except = randomWithin( outer, outer.length() + step, random );
    if ( !list.addrHas( except ) ) list.exceptAddrIs( except );
  }
}

Kiv::Ptr<IpPrefixList> makeList( SiteList const& chosen, std::vector<Site> const& sites, std::uint32_t exceptPercent,
                                 Random& random ) {
  auto list = Kiv::make<IpPrefixList>();
  std::vector<IpGenPrefix> prefixes;
  for ( std::size_t const site : chosen.sites )
    prefixes.insert( prefixes.end(), sites[site].prefixes.begin(), sites[site].prefixes.end() );
  for ( IpGenPrefix const& prefix : prefixes ) list->addrIs( prefix );
  addExcepts( *list, prefixes, prefixes.size() * exceptPercent / 100, random );
  return list;
}

void count( std::vector<SiteList> const& lists, SitePool const& pool, PrefixLists& result ) {
  std::vector<std::vector<std::size_t>> listsOfSite( pool.sites().size() );
  for ( std::size_t list = 0; list != lists.size(); ++list ) {
    for ( std::size_t const site : lists[list].sites ) listsOfSite[site].push_back( list );
    result.listedPrefixes += lists[list].prefixes;
    result.excepts += result.lists[list]->exceptAddr().size();
  }
  std::set<std::vector<std::size_t>> groups;
  for ( std::size_t site = 0; site != listsOfSite.size(); ++site ) {
    result.deepestNesting = std::max( result.deepestNesting, pool.sites()[site].nesting );
    if ( listsOfSite[site].empty() ) continue;
    result.distinctPrefixes += pool.sites()[site].prefixes.size();
    groups.insert( listsOfSite[site] );
  }
  result.sites = pool.sites().size();
  result.nestedSites = pool.nestedSites();
  result.distinctGroups = groups.size();
}

}  // namespace

PrefixLists makePrefixLists( PrefixListParameters const& parameters, Random& random ) {
  if ( parameters.lists == 0 || parameters.prefixesPerList == 0 || parameters.distinctPrefixes == 0 ||
       parameters.distinctPrefixes > PrefixListParameters::kMaxDistinctPrefixes )
    throw std::invalid_argument(
        "makePrefixLists: lists, prefixesPerList and distinctPrefixes must be 1 or more, and " +
        std::to_string( parameters.distinctPrefixes ) + " distinct prefixes at most " +
        std::to_string( PrefixListParameters::kMaxDistinctPrefixes ) );
  SitePool const pool( parameters, random );
  SiteDealer const dealer( parameters, pool.sites(), random );
  PrefixLists result;
  for ( SiteList const& list : dealer.lists() )
    result.lists.push_back( makeList( list, pool.sites(), parameters.exceptPercent, random ) );
  count( dealer.lists(), pool, result );
  return result;
}

}  // namespace Orvex::Bench
