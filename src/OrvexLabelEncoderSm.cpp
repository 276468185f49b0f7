#include "Orvex/OrvexLabelEncoderSm.h"

#include <bit>

#include "Kiv/Instantiate.h"
#include "Kiv/Trace.h"
#include "Orvex/OrvexByteHash.h"
#include "Orvex/OrvexEntryMerging.h"
#include "Orvex/OrvexLabelMerger.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexLabelEncoderSm" );

/// What has been made of objects that several sets share, by the object's address. Only looked up.
template <class Made>
using MadeOf = Kiv::HashMap2018<std::uint64_t, Kiv::Ptr<Made>>;

template <class Object>
std::uint64_t addressOf( Kiv::Ptr<Object> const& object ) {
  return reinterpret_cast<std::uintptr_t>( object.get() );
}

void addEntries( EncodedLabelRangeList const& ranges, std::uint32_t bitWidth,
                 Kiv::Ptr<EncodedLabelWithMaskList> const& entries ) {
  auto const merger = rangeMergerFactory( bitWidth, entries );
  for ( EncodedLabelRange const& range : ranges.encLabelRange() ) merger->doMergeRange( range.start, range.end );
}

/// A range of one aligned block is one entry.
bool isOneBlock( EncodedLabelRangeList const& ranges ) {
  if ( ranges.encLabelRange().size() != 1 ) return false;
  EncodedLabelRange const range = *ranges.encLabelRange().begin();
  std::uint32_t const size = std::uint32_t{ range.end } - range.start + 1;
  return std::has_single_bit( size ) && range.start % size == 0;
}

/// Of an allocation whose ranges are blocks: no set takes more than one entry.
bool isOneBlockEach( EncodedLabelAllocStatus const& allocation ) {
  for ( auto ranges = allocation.keyToEncLabelList().begin(); ranges; ++ranges )
    if ( ranges.value()->encLabelRange().size() > 1 ) return false;
  return true;
}

}  // namespace

LabelEncoderSm::LabelEncoderSm( Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config,
                                Kiv::Ptr<EncoderStatus> const& status,
                                Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo,
                                Kiv::Ptr<ChipHwCapability const> const& hwCapability, EncodingAttr encodingAttr,
                                std::uint32_t encodeBitWidth, Kiv::String traceKey )
    : StageSm( chipId, config, status ),
      encoderStatus_( status ),
      genSetUsageInfo_( genSetUsageInfo ),
      hwCapability_( hwCapability ),
      encodingAttr_( encodingAttr ),
      encodeBitWidth_( encodeBitWidth ),
      traceKey_( std::move( traceKey ) ) {
  traceHandle.trace( 8, traceKey_, "handleInitialized" );
}

Kiv::Ptr<EncoderConfig const> LabelEncoderSm::encoderConfig() const {
  return Kiv::ptrCast<EncoderConfig const>( config() );
}

Kiv::Ptr<EncodedLabelWithMaskList> LabelEncoderSm::eLabelMaskIs( GenSetKey key ) {
  return Kiv::instantiate( eLabelMask_, key );
}

void LabelEncoderSm::doStartKick() {
  traceHandle.trace( 8, traceKey_, "doStartKick" );
  if ( encodeBitWidth_ == 0 ) {
    traceHandle.trace( 6, traceKey_, "doStartKick: Not enabled" );
    doSetStatus( StageStatusType::finishedNotEnabled );
    return;
  }
  std::uint64_t const hash = doBuildWorkingSetHash();
  StageStatusType const upstream = encoderConfig()->xformStatus()->status();
  if ( hash == workingSetHash_ &&
       ( upstream == StageStatusType::finishedSkipped || upstream == StageStatusType::finishedNotEnabled ) ) {
    traceHandle.trace( 6, traceKey_, "doStartKick: Unchanged working set, skipping" );
    doSetStatus( StageStatusType::finishedSkipped );
    return;
  }
  workingSetHash_ = hash;
  if ( !doEncode() ) {
    traceHandle.trace( 0, traceKey_, "doStartKick: Generated too many encodedLabels" );
    doSetStatus( StageStatusType::finishedFailed );
    return;
  }
  doMerge();
  doUpdateLoaderInfo();
  doSetStatus( StageStatusType::finishedSuccess );
}

std::uint64_t LabelEncoderSm::doBuildWorkingSetHash() const {
  traceHandle.trace( 8, traceKey_, "doBuildWorkingSetHash" );
  ByteHash a;
  ByteHash b;
  auto const lists = encoderConfig()->xformStatus()->plainLabelListMap()->labelLists();
  for ( auto const& [key, list] : lists->entriesInMapOrder() ) {
    auto const count = genSetUsageInfo_->refCount().find( key );
    std::uint32_t const users = count ? count->value : 0;
    a.feed( key.value() ).feed( users );
    b.feed( users ).feed( key.value() );
  }
  return std::uint64_t{ a.result() } << 32 | b.result();
}

/// The ranges of each set, and the values of the labels.
struct LabelEncoderSm::Allocation {
  Kiv::Ptr<EncodedLabelAllocStatus> status = encodedLabelAllocStatusFactory();
  Kiv::HashMap2018<PlainLabel, EncodedLabel> values;

  bool success() const { return status->status() == StageStatusType::finishedSuccess; }
};

/// An allocation of the working set. Values go to the status; when it fails, those of before stay.
Kiv::Ptr<EncodedLabelAllocStatus> LabelEncoderSm::allocation() {
  Allocation chosen = allocationBy( hwCapability_->labelPlacement() );
  if ( hwCapability_->labelPlacement() == LabelPlacement::nested && chosen.success() &&
       !isOneBlockEach( *chosen.status ) ) {
    Allocation other = allocationBy( LabelPlacement::costOrder );
    if ( takesFewerEntries( *other.status, *chosen.status ) ) chosen = std::move( other );
  }
  if ( chosen.success() ) encoderStatus_->plainToEncodedLabelSwap( chosen.values );
  return chosen.status;
}

LabelEncoderSm::Allocation LabelEncoderSm::allocationBy( LabelPlacement placement ) {
  Allocation result;
  encoderStatus_->plainToEncodedLabelSwap( result.values );
  if ( placement == LabelPlacement::nested )
    allocateNested( encodeBitWidth_, encodingAttr_.invalidEncValue(), reservedValueKind(), *encoderConfig(),
                    *genSetUsageInfo_, *encoderStatus_, *result.status );
  else
    encodedLabelAllocatorFactory( encodeBitWidth_, encodingAttr_.invalidEncValue(), encoderConfig(),
                                  refCntCostModelFactory( encoderConfig(), genSetUsageInfo_ ), encoderStatus_,
                                  result.status );
  encoderStatus_->plainToEncodedLabelSwap( result.values );
  return result;
}

/// Whether the cost-ordered allocation takes fewer entries than the nested one, each weighted by its set's users. A nested set
/// takes at most as many entries as it has ranges, which are blocks; mostly that settles it before all has been merged.
bool LabelEncoderSm::takesFewerEntries( EncodedLabelAllocStatus const& costOrdered,
                                        EncodedLabelAllocStatus const& nested ) const {
  constexpr std::uint64_t kNoLimit = ~std::uint64_t{ 0 };
  std::uint64_t atMost = 0;
  for ( auto ranges = nested.keyToEncLabelList().begin(); ranges; ++ranges )
    if ( std::size_t const count = ranges.value()->encLabelRange().size(); count > 1 )
      atMost += usersOf( ranges.key() ) * ( count - 1 );
  std::uint64_t const taken = furtherEntries( costOrdered, atMost );
  return taken < atMost && taken < furtherEntries( nested, kNoLimit );
}

/// Those beyond the first, which every set takes that has labels. The sum over all sets, or, once that is reached, a number
/// that is not below the limit.
std::uint64_t LabelEncoderSm::furtherEntries( EncodedLabelAllocStatus const& allocation, std::uint64_t limit ) const {
  // Counting a short list is cheaper than looking up whether that has been done for another set.
  constexpr std::size_t kShortList = 16;
  std::uint64_t sum = 0;
  Kiv::HashMap2018<std::uint64_t, std::uint64_t> entriesOfRanges;
  EntryMerging merging( encodeBitWidth_ );
  for ( auto ranges = allocation.keyToEncLabelList().begin(); ranges && sum < limit; ++ranges ) {
    auto const& list = ranges.value()->encLabelRange();
    if ( list.empty() || isOneBlock( *ranges.value() ) ) continue;
    std::uint64_t const users = usersOf( ranges.key() );
    if ( users == 0 ) continue;
    bool const isShort = list.size() <= kShortList;
    std::uint64_t const address = addressOf( ranges.value() );
    auto known = isShort ? std::nullopt : entriesOfRanges.find( address );
    if ( !known ) {
      for ( EncodedLabelRange const& range : list ) merging.rangeIs( range.start, range.end );
      known = merging.merged().size();
      if ( !isShort ) entriesOfRanges.set( address, *known );
    }
    sum += users * ( *known - 1 );
  }
  return sum;
}

std::uint64_t LabelEncoderSm::usersOf( GenSetKey key ) const {
  auto const count = genSetUsageInfo_->refCount().find( key );
  return count ? count->value : 0;
}

bool LabelEncoderSm::doEncode() {
  traceHandle.trace( 8, traceKey_, "doEncode" );
  auto const status = allocation();
  if ( status->status() != StageStatusType::finishedSuccess ) return false;
  eLabelMaskDelAll();
  MadeOf<TernaryEntries> entriesOfRanges;
  for ( auto ranges = status->keyToEncLabelList().begin(); ranges; ++ranges ) {
    auto const list = eLabelMaskIs( ranges.key() );
    if ( auto const entries = entriesOfRanges.find( addressOf( ranges.value() ) ) ) {
      list->entriesAre( entries );
      continue;
    }
    addEntries( *ranges.value(), encodeBitWidth_, list );
    entriesOfRanges.set( addressOf( ranges.value() ), list->entries() );
  }
  return true;
}

void LabelEncoderSm::doMerge() {
  traceHandle.trace( 8, traceKey_, "doMerge" );
  encoderStatus_->encodedLabelListDelAll();
  MadeOf<TernaryEntries> mergedOfEntries;
  for ( auto entries = eLabelMask_.begin(); entries; ++entries ) {
    auto const list = encoderStatus_->encodedLabelListIs( entries.key() );
    auto const in = entries.value();
    if ( auto const merged = mergedOfEntries.find( addressOf( in->entries() ) ) ) {
      list->entriesAre( merged );
      continue;
    }
    labelMergerFactory( encodeBitWidth_, in, list );
    mergedOfEntries.set( addressOf( in->entries() ), list->entries() );
  }
}

}  // namespace Orvex
