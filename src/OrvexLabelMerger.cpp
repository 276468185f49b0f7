#include "Orvex/OrvexLabelMerger.h"

#include "Kiv/Trace.h"
#include "Orvex/OrvexEntryMerging.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexLabelMerger" );

constexpr std::uint32_t allOnes( std::uint32_t bitWidth ) { return ( std::uint32_t{ 1 } << bitWidth ) - 1; }

EncodedLabelWithMask ternaryEntry( std::uint32_t value, std::uint32_t mask ) {
  return { EncodedLabel( static_cast<std::uint16_t>( value ) ), LabelMask( static_cast<std::uint16_t>( mask ) ) };
}

}  // namespace

// RangeMerger

void RangeMerger::doMergeRange( std::uint32_t start, std::uint32_t end ) {
  traceHandle.trace( 8, "RangeMerger::doMergeRange start: ", start, ", end: ", end );
  Kiv::fatalUnless( bitWidth_ != 0, "bitWidth()" );
  Kiv::fatalUnless( end >= start, "end >= start" );
  forBlocksOfRange( start, end,
                    [this]( std::uint32_t first, std::uint32_t sizeBits ) { addBlock( first, sizeBits ); } );
}

void RangeMerger::addBlock( std::uint32_t start, std::uint32_t sizeBits ) {
  std::uint32_t const full = allOnes( bitWidth_ );
  outList_->encLabelAndMaskIs( ternaryEntry( start, full << sizeBits & full ) );
}

Kiv::Ptr<RangeMerger> rangeMergerFactory( std::uint32_t bitWidth, Kiv::Ptr<EncodedLabelWithMaskList> const& outList ) {
  return Kiv::make<RangeMerger>( bitWidth, outList );
}

// LabelMerger

LabelMerger::LabelMerger( std::uint32_t bitWidth, Kiv::Ptr<EncodedLabelWithMaskList const> const& inLabelMask,
                          Kiv::Ptr<EncodedLabelWithMaskList> const& outLabelMask ) {
  traceHandle.trace( 8, "LabelMerger::handleInitialized bitWidth: ", bitWidth );
  EntryMerging merging( bitWidth );
  for ( auto const& entry : inLabelMask->encLabelAndMask() ) merging.entryIs( entry.label.value(), entry.mask.value() );
  traceHandle.trace( 8, "LabelMerger::doMerge" );
  for ( EntryMerging::Entry const entry : merging.merged() )
    outLabelMask->encLabelAndMaskIs( ternaryEntry( entry.value, entry.mask ) );
}

Kiv::Ptr<LabelMerger> labelMergerFactory( std::uint32_t bitWidth,
                                          Kiv::Ptr<EncodedLabelWithMaskList const> const& inLabelMask,
                                          Kiv::Ptr<EncodedLabelWithMaskList> const& outLabelMask ) {
  return Kiv::make<LabelMerger>( bitWidth, inLabelMask, outLabelMask );
}

}  // namespace Orvex
