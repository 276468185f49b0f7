#include "ListPolicy.h"

#include <set>

#include "PolicyBuilder.h"

namespace Orvex::Bench {

namespace {

constexpr std::uint32_t kDportPercent = 75;
constexpr std::uint32_t kSportPercent = 10;
constexpr std::uint32_t kDropPercent = 30;

/// TCP, UDP or both.
void addProtocols( RuleFilter& filter, Random& random ) {
  std::uint64_t const drawn = random.below( 100 );
  if ( drawn < 75 ) filter.protoIs( ProtoRange( 6, 6 ) );
  if ( drawn >= 60 ) filter.protoIs( ProtoRange( 17, 17 ) );
}

}  // namespace

std::vector<std::vector<L4PortRange>> makePortLists( std::uint32_t count, Random& random ) {
  constexpr std::uint32_t kBlockSize = 64;
  constexpr std::uint32_t kBlocks = ( L4PortField::kMaximum + 1 ) / kBlockSize;
  std::vector<L4PortRange> blocks;
  for ( std::uint64_t i = 0; i != std::uint64_t{ 4 } * count; ++i ) {
    std::uint32_t const first = kBlockSize * random.between( 0, kBlocks - 1 );
    blocks.emplace_back( first, first + random.between( 0, kBlockSize - 1 ) );
  }
  std::vector<std::vector<L4PortRange>> lists;
  std::set<std::vector<L4PortRange>> known;
  while ( lists.size() != count ) {
    std::vector<L4PortRange> list;
    for ( std::uint32_t left = random.between( 1, 6 ); left != 0; --left ) list.push_back( random.oneOf( blocks ) );
    list = normalised( std::move( list ) );
    if ( known.insert( list ).second ) lists.push_back( std::move( list ) );
  }
  return lists;
}

ListPolicy makeListPolicy( ListPolicyParameters const& parameters ) {
  Random random( parameters.seed );
  ListPolicy policy;
  policy.prefixLists = makePrefixLists( parameters, random );
  policy.portLists = makePortLists( parameters.portLists, random );

  PolicyBuilder builder( parameters.family );
  auto const& lists = policy.prefixLists.lists;
  auto const sources = random.dealt( parameters.rules, lists.size() );
  auto const destinations = random.dealt( parameters.rules, lists.size() );
  for ( std::uint32_t i = 0; i != parameters.rules; ++i ) {
    auto const rule = builder.addRule();
    RuleFilter& filter = *rule->ruleFilterIs();
    filter.sourceIs( lists[sources[i]] );
    filter.destinationIs( lists[destinations[i]] );
    addProtocols( filter, random );
    if ( !policy.portLists.empty() && random.percent( kDportPercent ) )
      for ( L4PortRange const& range : random.oneOf( policy.portLists ) ) filter.dportRangeIs( range );
    if ( !policy.portLists.empty() && random.percent( kSportPercent ) )
      for ( L4PortRange const& range : random.oneOf( policy.portLists ) ) filter.sportRangeIs( range );
    OrvexActionValue action;
    action.dropEnabled = random.percent( kDropPercent );
    rule->actionIs( action );
  }
  policy.config = builder.config();
  return policy;
}

ListPolicyParameters stressParameters() {
  ListPolicyParameters parameters;
  parameters.shape = ListShape::scattered;
  parameters.distinctPrefixes = 10000;
  return parameters;
}

}  // namespace Orvex::Bench
