#include "Orvex/OrvexEncodedLabelAllocator.h"

#include <algorithm>
#include <bit>

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexEncodedLabelAllocator" );

constexpr std::string_view kTracePrefix = "EncodedLabelAllocator::doAllocateLabels";

/// The binary logarithm of the least power of two that is not below `count`.
std::uint32_t ceilingBits( std::uint32_t count ) { return static_cast<std::uint32_t>( std::bit_width( count - 1 ) ); }

EncodedLabelRange encodedRange( std::uint32_t start, std::uint32_t end ) {
  return { static_cast<std::uint16_t>( start ), static_cast<std::uint16_t>( end ) };
}

}  // namespace

// The order

RefCntCostModel::RefCntCostModel( EncoderConfig const& config, GenSetUsageInfo const& usage ) {
  struct Placed {
    std::uint32_t order;
    GenSetKey key;
    auto operator<=>( Placed const& ) const = default;
  };
  std::vector<Placed> sets;
  auto const lists = config.xformStatus()->plainLabelListMap()->labelLists();
  sets.reserve( lists->entries().size() );
  for ( auto const& [key, list] : lists->entries() ) {
    auto const count = usage.refCount().find( key );
    auto const labels = static_cast<std::uint32_t>( lists->labelCount( list ) );
    sets.push_back( { ~( labels * ( count ? count->value : 0 ) ), key } );
  }
  std::sort( sets.begin(), sets.end() );
  for ( auto set = sets.begin(); set != sets.end(); ) {
    std::uint32_t const order = set->order;
    std::vector<GenSetKey> keys;
    for ( ; set != sets.end() && set->order == order; ++set ) keys.push_back( set->key );
    setOrderIs( order, Kiv::make<GenSetKeyGroup>( std::move( keys ) ) );
  }
}

// The allocation

EncodedLabelAllocator::EncodedLabelAllocator( std::uint32_t bitWidth, EncodedLabel reservedLabel,
                                              Kiv::Ptr<EncoderConfig const> const& config,
                                              Kiv::Ptr<GenSetCostModel const> const& costModel,
                                              Kiv::Ptr<EncoderStatus> const& encoderStatus,
                                              Kiv::Ptr<EncodedLabelAllocStatus> const& allocStatus )
    : encLabelBitMap_( bitWidth ),
      lists_( config->xformStatus()->plainLabelListMap()->labelLists() ),
      encoderStatus_( encoderStatus ),
      encLabelAllocStatus_( allocStatus ) {
  traceHandle.trace( 8, "EncodedLabelAllocator::handleInitialized" );
  if ( reservedLabel.value() < encLabelBitMap_.size() )
    encLabelBitMap_.take( reservedLabel.value(), reservedLabel.value() );
  std::vector<Need> const needs = countLabels( *costModel );
  std::uint64_t total = 0;
  for ( Need const& need : needs ) total += need.labels;
  std::uint32_t const capacity = encLabelBitMap_.size() - 1;
  if ( total > capacity ) {
    allocStatus->statusIs( StageStatusType::finishedFailed );
    return;
  }
  extraLabelCntIs( capacity - static_cast<std::uint32_t>( total ) );
  for ( Need const& need : needs ) doAllocateLabels( need.key, need.labels );
  allocStatus->statusIs( StageStatusType::finishedSuccess );
}

LabelLists::ListId EncodedLabelAllocator::listOf( GenSetKey key ) const {
  auto const list = lists_->find( key );
  Kiv::fatalUnless( list.has_value(), "the cost model orders sets that have labels" );
  return *list;
}

/// A label counts for the first set that has it.
std::vector<EncodedLabelAllocator::Need> EncodedLabelAllocator::countLabels( GenSetCostModel const& costModel ) const {
  std::vector<Need> needs;
  Kiv::HashSet2018<PlainLabel> counted;
  std::vector<bool> isCounted( lists_->listCount() );
  for ( auto order = costModel.setOrder().begin(); order; ++order ) {
    for ( GenSetKey const key : order.value()->keyGroup() ) {
      LabelLists::ListId const list = listOf( key );
      std::uint32_t need = 0;
      if ( !isCounted[list] )
        lists_->forEachLabel( list, [&]( PlainLabel label ) { need += counted.insert( label ); } );
      isCounted[list] = true;
      needs.push_back( { key, need } );
    }
  }
  return needs;
}

void EncodedLabelAllocator::doAllocateLabels( GenSetKey key, std::uint32_t allocLabelCnt ) {
  traceHandle.trace( 8, kTracePrefix, " key: ", key.value(), ", allocLabelCnt: ", allocLabelCnt,
                     ", extraLabelCnt: ", extraLabelCnt_ );
  LabelLists::ListId const list = listOf( key );
  if ( auto const ranges = rangesOfServedList_.find( list ) ) {
    encLabelAllocStatus_->keyToEncLabelListIs( key, ranges );
    return;
  }
  std::vector<EncodedLabelRange> ranges;
  std::vector<PlainLabel> unassigned;
  lists_->forEachLabel( list, [&]( PlainLabel label ) {
    if ( auto const encoded = encoderStatus_->plainToEncodedLabel().find( label ) )
      ranges.push_back( encodedRange( encoded->value(), encoded->value() ) );
    else
      unassigned.push_back( label );
  } );
  Kiv::fatalUnless( unassigned.size() <= allocLabelCnt, "numLabels <= allocLabelCnt" );
  if ( allocLabelCnt == 0 ) {
    auto const served = Kiv::make<EncodedLabelRangeList>( std::move( ranges ) );
    rangesOfServedList_.set( list, served );
    encLabelAllocStatus_->keyToEncLabelListIs( key, served );
    return;
  }
  if ( encLabelBitMap_.freeCount() < allocLabelCnt ) {
    traceHandle.trace( 0, kTracePrefix, " failed to allocate labels at key: ", key.value() );
    Kiv::fatal( "false" );
  }
  auto next = unassigned.begin();
  for ( EncodedLabelRange const& block : allocateBlocks( allocLabelCnt ) ) {
    ranges.push_back( block );
    for ( std::uint32_t value = block.start; value <= block.end && next != unassigned.end(); ++value )
      encoderStatus_->plainToEncodedLabelIs( *next++, EncodedLabel( static_cast<std::uint16_t>( value ) ) );
  }
  encLabelAllocStatus_->keyToEncLabelListIs( key, Kiv::make<EncodedLabelRangeList>( std::move( ranges ) ) );
}

/// Blocks for so many labels, in the order in which they are to be filled.
std::vector<EncodedLabelRange> EncodedLabelAllocator::allocateBlocks( std::uint32_t allocLabelCnt ) {
  std::vector<EncodedLabelRange> blocks;
  std::uint32_t numAllocated = 0;
  for ( std::uint32_t sizes = ceilingBits( allocLabelCnt ) + 1; sizes != 0 && numAllocated < allocLabelCnt; --sizes )
    numAllocated += fillBlocks( sizes - 1, allocLabelCnt - numAllocated, blocks );
  traceHandle.trace( 6, kTracePrefix, " numAllocated: ", numAllocated, ", allocLabelCnt: ", allocLabelCnt,
                     ", bitMapSize: ", encLabelBitMap_.size() );
  Kiv::fatalUnless( numAllocated >= allocLabelCnt, "numAllocated >= allocLabelCnt" );
  return blocks;
}

/// Takes blocks of 2^range labels, lowest first; for the last labels, less than a block, that many or, as far as there are
/// spare ones, the next power of two, at the same alignment. Returns the number taken.
std::uint32_t EncodedLabelAllocator::fillBlocks( std::uint32_t range, std::uint32_t labels,
                                                 std::vector<EncodedLabelRange>& blocks ) {
  std::uint32_t const block = std::uint32_t{ 1 } << range;
  std::uint32_t numAllocated = 0;
  std::uint32_t from = 0;
  while ( numAllocated < labels ) {
    std::uint32_t const remaining = labels - numAllocated;
    std::uint32_t toAllocate = std::min( remaining, block );
    std::uint32_t extra = 0;
    if ( remaining < block && extraLabelCnt_ != 0 && remaining != 1 ) {
      toAllocate = std::uint32_t{ 1 } << ceilingBits( remaining );
      extra = toAllocate - remaining;
      if ( extra > extraLabelCnt_ ) break;
    }
    auto const start = encLabelBitMap_.find( from, range, toAllocate );
    if ( !start ) break;
    std::uint32_t const end = *start + toAllocate - 1;
    traceHandle.trace( 6, kTracePrefix, " start: ", *start, ", end: ", end, ", toAllocate: ", toAllocate,
                       ", range:", range, ", extraLabels: ", extra, ", bitsInSetState: 0" );
    encLabelBitMap_.take( *start, end );
    blocks.push_back( encodedRange( *start, end ) );
    numAllocated += toAllocate;
    extraLabelCntDec( extra );
    traceHandle.trace( 6, kTracePrefix, " alloced ", toAllocate, " labels at start: ", *start );
    from = *start + block;
  }
  return numAllocated;
}

// Factories

Kiv::Ptr<EncodedLabelAllocStatus> encodedLabelAllocStatusFactory() { return Kiv::make<EncodedLabelAllocStatus>(); }

Kiv::Ptr<GenSetCostModel> genSetCostModelFactory() { return Kiv::make<GenSetCostModel>(); }

Kiv::Ptr<GenSetCostModel> refCntCostModelFactory( Kiv::Ptr<EncoderConfig const> const& config,
                                                  Kiv::Ptr<GenSetUsageInfo const> const& usage ) {
  return Kiv::make<RefCntCostModel>( *config, *usage );
}

Kiv::Ptr<EncodedLabelAllocator> encodedLabelAllocatorFactory( std::uint32_t bitWidth, EncodedLabel reservedLabel,
                                                              Kiv::Ptr<EncoderConfig const> const& config,
                                                              Kiv::Ptr<GenSetCostModel const> const& costModel,
                                                              Kiv::Ptr<EncoderStatus> const& encoderStatus,
                                                              Kiv::Ptr<EncodedLabelAllocStatus> const& allocStatus ) {
  return Kiv::make<EncodedLabelAllocator>( bitWidth, reservedLabel, config, costModel, encoderStatus, allocStatus );
}

}  // namespace Orvex
