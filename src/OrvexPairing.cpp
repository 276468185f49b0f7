#include "Orvex/OrvexPairing.h"

#include <algorithm>
#include <numeric>
#include <queue>

namespace Orvex {

namespace {

using Numbers = std::vector<std::uint32_t>;

constexpr std::uint32_t kNone = ~std::uint32_t{ 0 };
/// Up to so many parts every pair is a candidate.
constexpr std::size_t kAllPairs = 256;
/// Places that a part looks ahead in an order, and candidates that a new block looks at most.
constexpr std::size_t kReach = 8;
constexpr std::size_t kCandidates = 32;

class Pairing {
 public:
  explicit Pairing( CrossingSets const& sets ) : weights_( sets.weights() ), partCount_( sets.partCount() ) {
    blocks_.reserve( 2 * std::size_t{ partCount_ } );
    for ( std::uint32_t part = 0; part != partCount_; ++part )
      blocks_.push_back(
          { sets.sizeOf( part ), Numbers( sets.setsOf( part ).begin(), sets.setsOf( part ).end() ), {}, kNone } );
  }

  std::vector<Joint> joined() {
    std::size_t before = 0;
    do {
      before = joints_.size();
      proposeAmongRoots();
      joinBestFirst();
    } while ( joints_.size() != before );
    return std::move( joints_ );
  }

  std::vector<Joint> joinedInOrder() {
    for ( std::uint32_t part = 0; part + 1 < partCount_; ++part ) propose( part, part + 1 );
    joinBestFirst();
    return std::move( joints_ );
  }

 private:
  struct Block {
    std::uint64_t size;
    Numbers sets;  // which it fills, ascending
    Numbers candidates;
    std::uint32_t joinedTo;  // the block that took it in
  };
  struct Proposal {
    std::uint64_t weight;
    std::uint64_t waste;
    std::uint32_t a;
    std::uint32_t b;

    /// Worse ones are less.
    friend bool operator<( Proposal const& x, Proposal const& y ) {
      if ( x.weight != y.weight ) return x.weight < y.weight;
      if ( x.waste != y.waste ) return x.waste > y.waste;
      return x.a != y.a ? x.a > y.a : x.b > y.b;
    }
  };

  bool isRoot( std::uint32_t block ) const { return blocks_[block].joinedTo == kNone; }

  std::uint32_t rootOf( std::uint32_t block ) {
    while ( !isRoot( block ) ) {
      std::uint32_t& up = blocks_[block].joinedTo;
      if ( !isRoot( up ) ) up = blocks_[up].joinedTo;
      block = up;
    }
    return block;
  }

  std::uint64_t commonWeight( std::uint32_t a, std::uint32_t b ) const {
    std::uint64_t weight = 0;
    auto const& first = blocks_[a].sets;
    auto const& second = blocks_[b].sets;
    for ( auto x = first.begin(), y = second.begin(); x != first.end() && y != second.end(); ) {
      if ( *x == *y ) weight += weights_[*x];
      bool const both = *x == *y;
      bool const stepFirst = both || *x < *y;
      if ( both || !stepFirst ) ++y;
      if ( stepFirst ) ++x;
    }
    return weight;
  }

  void propose( std::uint32_t a, std::uint32_t b ) {
    if ( std::uint64_t const weight = commonWeight( a, b ); weight != 0 ) propose( a, b, weight );
  }

  void propose( std::uint32_t a, std::uint32_t b, std::uint64_t weight ) {
    std::uint64_t const waste = joinedSize( blocks_[a].size, blocks_[b].size ) - blocks_[a].size - blocks_[b].size;
    proposals_.push( { weight, waste, std::min( a, b ), std::max( a, b ) } );
    blocks_[a].candidates.push_back( b );
    blocks_[b].candidates.push_back( a );
  }

  void proposeAmongRoots() {
    Numbers roots;
    for ( std::uint32_t block = 0; block != blocks_.size(); ++block )
      if ( isRoot( block ) && !blocks_[block].sets.empty() ) roots.push_back( block );
    for ( std::uint32_t const root : roots ) blocks_[root].candidates.clear();
    std::size_t const reach = roots.size() <= kAllPairs ? roots.size() : kReach;
    proposeNear( roots, reach );
    if ( roots.size() <= kAllPairs ) return;
    std::sort( roots.begin(), roots.end(), [this]( std::uint32_t a, std::uint32_t b ) {
      return std::pair( std::cref( blocks_[a].sets ).get(), a ) < std::pair( std::cref( blocks_[b].sets ).get(), b );
    } );
    proposeNear( roots, reach );
    std::sort( roots.begin(), roots.end(), [this]( std::uint32_t a, std::uint32_t b ) {
      auto const& x = blocks_[a].sets;
      auto const& y = blocks_[b].sets;
      if ( x == y ) return a < b;
      return std::lexicographical_compare( x.rbegin(), x.rend(), y.rbegin(), y.rend() );
    } );
    proposeNear( roots, reach );
  }

  void proposeNear( Numbers const& roots, std::size_t reach ) {
    for ( std::size_t at = 0; at != roots.size(); ++at )
      for ( std::size_t other = at + 1; other < roots.size() && other - at <= reach; ++other )
        propose( roots[at], roots[other] );
  }

  void joinBestFirst() {
    while ( !proposals_.empty() ) {
      Proposal const best = proposals_.top();
      proposals_.pop();
      if ( isRoot( best.a ) && isRoot( best.b ) ) join( best );
    }
  }

  void join( Proposal const& pair ) {
    auto const number = static_cast<std::uint32_t>( blocks_.size() );
    Block block{ joinedSize( blocks_[pair.a].size, blocks_[pair.b].size ), {}, {}, kNone };
    std::set_intersection( blocks_[pair.a].sets.begin(), blocks_[pair.a].sets.end(), blocks_[pair.b].sets.begin(),
                           blocks_[pair.b].sets.end(), std::back_inserter( block.sets ) );
    blocks_[pair.a].joinedTo = blocks_[pair.b].joinedTo = number;
    blocks_.push_back( std::move( block ) );
    joints_.push_back( { pair.a, pair.b, pair.weight } );
    Numbers const candidates = candidatesOf( pair.a, pair.b );
    for ( std::uint32_t const half : { pair.a, pair.b } ) {
      blocks_[half].sets = {};
      blocks_[half].candidates = {};
    }
    proposeHeaviest( number, candidates );
  }

  /// The candidates of both, or what has taken them in meanwhile.
  Numbers candidatesOf( std::uint32_t a, std::uint32_t b ) {
    std::uint32_t const joined = rootOf( a );
    Numbers candidates;
    for ( std::uint32_t const half : { a, b } )
      for ( std::uint32_t const candidate : blocks_[half].candidates )
        if ( std::uint32_t const root = rootOf( candidate ); root != joined ) candidates.push_back( root );
    std::sort( candidates.begin(), candidates.end() );
    candidates.erase( std::unique( candidates.begin(), candidates.end() ), candidates.end() );
    return candidates;
  }

  void proposeHeaviest( std::uint32_t block, Numbers const& candidates ) {
    std::vector<std::pair<std::uint64_t, std::uint32_t>> weighed;
    for ( std::uint32_t const candidate : candidates )
      if ( std::uint64_t const weight = commonWeight( block, candidate ); weight != 0 )
        weighed.emplace_back( weight, candidate );
    std::sort( weighed.begin(), weighed.end(), std::greater<>() );
    if ( weighed.size() > kCandidates ) weighed.resize( kCandidates );
    for ( auto const& [weight, candidate] : weighed ) propose( block, candidate, weight );
  }

  std::vector<std::uint64_t> const& weights_;
  std::uint32_t partCount_;
  std::vector<Block> blocks_;
  std::priority_queue<Proposal> proposals_;
  std::vector<Joint> joints_;
};

}  // namespace

std::vector<Joint> pairingJoints( CrossingSets const& sets ) { return Pairing( sets ).joined(); }

std::vector<Joint> neighbourJoints( CrossingSets const& sets ) { return Pairing( sets ).joinedInOrder(); }

}  // namespace Orvex
