#include "Orvex/OrvexLabelEncoderSm.h"

#include "Kiv/Instantiate.h"
#include "Kiv/Trace.h"
#include "Orvex/OrvexByteHash.h"
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
  auto const& lists = encoderConfig()->xformStatus()->plainLabelListMap()->plainLabelList();
  for ( auto list = lists.begin(); list; ++list ) {
    auto const count = genSetUsageInfo_->refCount().find( list.key() );
    std::uint32_t const users = count ? count->value : 0;
    a.feed( list.key().value() ).feed( users );
    b.feed( users ).feed( list.key().value() );
  }
  return std::uint64_t{ a.result() } << 32 | b.result();
}

/// An allocation of the working set. Values go to the status, which has none when it begins and, when it fails, has those of
/// before.
Kiv::Ptr<EncodedLabelAllocStatus> LabelEncoderSm::allocation() {
  auto status = encodedLabelAllocStatusFactory();
  Kiv::HashMap2018<PlainLabel, EncodedLabel> earlier;
  encoderStatus_->plainToEncodedLabelSwap( earlier );
  encodedLabelAllocatorFactory( encodeBitWidth_, encodingAttr_.invalidEncValue(), encoderConfig(),
                                refCntCostModelFactory( encoderConfig(), genSetUsageInfo_ ), encoderStatus_, status );
  if ( status->status() != StageStatusType::finishedSuccess ) encoderStatus_->plainToEncodedLabelSwap( earlier );
  return status;
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
    auto const merger = rangeMergerFactory( encodeBitWidth_, list );
    for ( EncodedLabelRange const& range : ranges.value()->encLabelRange() )
      merger->doMergeRange( range.start, range.end );
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
