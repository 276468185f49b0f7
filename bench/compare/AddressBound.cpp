#include "compare/AddressBound.h"

#include <array>
#include <map>
#include <vector>

#include "BlockOptimum.h"

namespace Orvex::Bench {

namespace {

using Vell::IpGenPrefix;

/// With the number of rules, in pre-order.
using Uses = std::map<IpGenPrefix, std::uint64_t>;

/// Nothing where a list is no single prefix.
std::optional<Uses> usesOf( Host::Policy const& policy, PrefixXformKey space ) {
  Uses uses;
  for ( Host::Acl const& acl : policy.acls ) {
    if ( acl.family != space.af() ) continue;
    for ( Host::Rule const& rule : acl.rules ) {
      Host::SharedPrefixList const& list = space.src() ? rule.source : rule.destination;
      if ( !list ) continue;
      if ( list->prefixes.size() != 1 || !list->excepts.empty() ) return std::nullopt;
      ++uses[list->prefixes.front()];
    }
  }
  return uses;
}

/// The outermost prefixes: two halves make a prefix that is shorter by one, and in the end all addresses.
class Outermost {
 public:
  void add( IpGenPrefix const& prefix ) { ++ofLength_[prefix.length()]; }

  bool fillTheSpace() const {
    auto left = ofLength_;
    for ( std::size_t length = left.size(); length-- > 1; ) {
      if ( left[length] % 2 != 0 ) return false;
      left[length - 1] += left[length] / 2;
    }
    return left[0] == 1;
  }

 private:
  std::array<std::uint64_t, 129> ofLength_{};
};

std::uint64_t leastEntries( Uses const& uses, std::uint32_t widthBits ) {
  BlockTree tree( static_cast<std::uint32_t>( uses.size() ) );
  Outermost outermost;
  std::vector<std::pair<IpGenPrefix, std::uint32_t>> open;  // from the outside in, with their nodes
  for ( auto const& [prefix, users] : uses ) {
    while ( !open.empty() && !open.back().first.contains( prefix ) ) open.pop_back();
    if ( open.empty() ) outermost.add( prefix );
    std::uint32_t const node = tree.nodeIs( open.empty() ? BlockTree::kRoot : open.back().second, users );
    tree.parentOfLabelIs( node - 1, node );
    open.emplace_back( prefix, node );
  }
  return leastWeightedBlocks( tree, widthBits, outermost.fillTheSpace() ? 0 : 1 );
}

}  // namespace

std::optional<double> leastAddressListLength( Host::Policy const& policy, Host::ChipProfile const& profile ) {
  std::uint64_t entries = 0;
  std::uint64_t lists = 0;
  for ( PrefixXformKey const space : Host::kPrefixSpaces ) {
    auto const uses = usesOf( policy, space );
    if ( !uses ) return std::nullopt;
    if ( uses->empty() ) continue;
    auto const width = static_cast<std::uint32_t>( profile.prefix( space ).widthBits );
    if ( uses->size() >= std::uint32_t{ 1 } << width ) return std::nullopt;
    entries += leastEntries( *uses, width );
    for ( auto const& [prefix, users] : *uses ) lists += users;
  }
  if ( lists == 0 ) return std::nullopt;
  return static_cast<double>( entries ) / static_cast<double>( lists );
}

}  // namespace Orvex::Bench
