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
constexpr std::size_t kReach = 4;
constexpr std::size_t kCandidates = 12;
/// Up to so many parts two ways are tried.
constexpr std::uint32_t kBothWays = 4096;

class Pairing {
 public:
  explicit Pairing( CrossingSets const& sets ) : weights_( sets.weights() ), partCount_( sets.partCount() ) {
    blocks_.reserve( 2 * std::size_t{ partCount_ } );
    for ( std::uint32_t part = 0; part != partCount_; ++part )
      blocks_.push_back(
          { sets.sizeOf( part ), Numbers( sets.setsOf( part ).begin(), sets.setsOf( part ).end() ), {}, kNone } );
  }

  /// Pairs with at least so many sets in common first, and then all that a set holds.
  std::vector<Joint> joined( std::size_t leastCommon ) {
    leastCommon_ = leastCommon;
    std::size_t before = 0;
    do {
      before = joints_.size();
      proposeAmongRoots();
      joinBestFirst();
    } while ( joints_.size() != before );
    joinSets();
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

  /// 0 where the blocks have too few sets in common.
  std::uint64_t commonWeight( std::uint32_t a, std::uint32_t b ) const {
    std::uint64_t weight = 0;
    std::size_t common = 0;
    auto const& first = blocks_[a].sets;
    auto const& second = blocks_[b].sets;
    for ( auto x = first.begin(), y = second.begin(); x != first.end() && y != second.end(); ) {
      bool const both = *x == *y;
      if ( both ) weight += weights_[*x];
      if ( both ) ++common;
      bool const stepFirst = both || *x < *y;
      if ( both || !stepFirst ) ++y;
      if ( stepFirst ) ++x;
    }
    return common < leastCommon_ ? 0 : weight;
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
    Numbers const candidates = candidatesOf( pair.a, pair.b );
    std::uint32_t const number = joinedBlock( pair.a, pair.b );
    proposeHeaviest( number, candidates );
  }

  std::uint32_t joinedBlock( std::uint32_t a, std::uint32_t b ) {
    auto const number = static_cast<std::uint32_t>( blocks_.size() );
    Block block{ joinedSize( blocks_[a].size, blocks_[b].size ), {}, {}, kNone };
    std::set_intersection( blocks_[a].sets.begin(), blocks_[a].sets.end(), blocks_[b].sets.begin(),
                           blocks_[b].sets.end(), std::back_inserter( block.sets ) );
    std::uint64_t weight = 0;
    for ( std::uint32_t const set : block.sets ) weight += weights_[set];
    blocks_.push_back( std::move( block ) );
    joints_.push_back( { a, b, weight } );
    for ( std::uint32_t const half : { a, b } ) {
      blocks_[half].joinedTo = number;
      blocks_[half].sets = {};
      blocks_[half].candidates = {};
    }
    return number;
  }

  /// The candidates of both, or what has taken them in meanwhile.
  Numbers candidatesOf( std::uint32_t a, std::uint32_t b ) {
    Numbers candidates;
    for ( std::uint32_t const half : { a, b } )
      for ( std::uint32_t const candidate : blocks_[half].candidates )
        if ( std::uint32_t const root = rootOf( candidate ); root != a && root != b ) candidates.push_back( root );
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

  /// What is left is in few sets together. One set after the other gets all its blocks that no other has got, the one that
  /// saves most first: so each block is in one set's, and as few sets as possible get any.
  void joinSets() {
    std::vector<Numbers> blocksOfSet( weights_.size() );
    for ( std::uint32_t block = 0; block != blocks_.size(); ++block )
      if ( isRoot( block ) )
        for ( std::uint32_t const set : blocks_[block].sets ) blocksOfSet[set].push_back( block );
    std::priority_queue<std::pair<std::uint64_t, std::uint32_t>> sets;
    auto const push = [&]( std::uint32_t set ) {
      std::size_t const count = blocksOfSet[set].size();
      if ( count > 1 && weights_[set] != 0 ) sets.emplace( weights_[set] * ( count - 1 ), set );
    };
    for ( std::uint32_t set = 0; set != weights_.size(); ++set ) push( set );
    while ( !sets.empty() ) {
      std::uint32_t const set = sets.top().second;
      sets.pop();
      std::size_t const before = blocksOfSet[set].size();
      std::erase_if( blocksOfSet[set], [this]( std::uint32_t block ) { return !isRoot( block ); } );
      if ( blocksOfSet[set].size() == before )
        joinAll( blocksOfSet[set] );
      else
        push( set );
    }
  }

  /// The two smallest again and again, which wastes least.
  void joinAll( Numbers const& blocks ) {
    using Sized = std::pair<std::uint64_t, std::uint32_t>;
    std::priority_queue<Sized, std::vector<Sized>, std::greater<>> smallest;
    for ( std::uint32_t const block : blocks ) smallest.emplace( blocks_[block].size, block );
    while ( smallest.size() > 1 ) {
      std::uint32_t const a = smallest.top().second;
      smallest.pop();
      std::uint32_t const b = smallest.top().second;
      smallest.pop();
      std::uint32_t const joined = joinedBlock( a, b );
      smallest.emplace( blocks_[joined].size, joined );
    }
  }

  std::vector<std::uint64_t> const& weights_;
  std::size_t leastCommon_ = 1;
  std::uint32_t partCount_;
  std::vector<Block> blocks_;
  std::priority_queue<Proposal> proposals_;
  std::vector<Joint> joints_;
};

}  // namespace

std::vector<Joint> pairingJoints( CrossingSets const& sets ) {
  auto const saved = []( std::vector<Joint> const& joints ) {
    std::uint64_t sum = 0;
    for ( Joint const& joint : joints ) sum += joint.weight;
    return sum;
  };
  std::vector<Joint> byPairs = Pairing( sets ).joined( 1 );
  if ( sets.partCount() > kBothWays ) return byPairs;
  std::vector<Joint> bySets = Pairing( sets ).joined( 2 );
  return saved( bySets ) > saved( byPairs ) ? bySets : byPairs;
}

std::vector<Joint> neighbourJoints( CrossingSets const& sets ) { return Pairing( sets ).joinedInOrder(); }

}  // namespace Orvex
