#include "Orvex/OrvexLabelMerger.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "Kiv/Trace.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexLabelMerger" );

constexpr std::uint32_t allOnes( std::uint32_t bitWidth ) { return ( std::uint32_t{ 1 } << bitWidth ) - 1; }

EncodedLabelWithMask ternaryEntry( std::uint32_t value, std::uint32_t mask ) {
  return { EncodedLabel( static_cast<std::uint16_t>( value ) ), LabelMask( static_cast<std::uint16_t>( mask ) ) };
}

/// A value and a mask.
struct Entry {
  std::uint16_t value;
  std::uint16_t mask;
  auto operator<=>( Entry const& ) const = default;
};

/// Ascending, without repetition.
using Entries = std::vector<Entry>;

Entry withoutLowestBit( Entry entry ) {
  return { static_cast<std::uint16_t>( entry.value >> 1 ), static_cast<std::uint16_t>( entry.mask >> 1 ) };
}

void appendWithBit( Entries const& entries, std::uint16_t value, std::uint16_t mask, Entries& out ) {
  for ( Entry const entry : entries )
    out.push_back( { static_cast<std::uint16_t>( entry.value << 1 | value ),
                     static_cast<std::uint16_t>( entry.mask << 1 | mask ) } );
}

/// Entries by their lowest bit, which is shifted out.
struct Split {
  Entries any;
  Entries one;
  Entries zero;
};

/// Shifting keeps the order among entries that are fixed in the bit, so equal ones of the two groups meet in one pass.
Split split( Entries const& in, std::uint32_t bitWidth ) {
  Split groups;
  Entries ones;
  Entries zeros;
  for ( Entry const entry : in ) {
    if ( ( entry.mask & allOnes( bitWidth ) & 1U ) == 0 )
      groups.any.push_back( withoutLowestBit( entry ) );
    else
      ( ( entry.value & 1U ) != 0 ? ones : zeros ).push_back( withoutLowestBit( entry ) );
  }
  std::set_intersection( ones.begin(), ones.end(), zeros.begin(), zeros.end(), std::back_inserter( groups.any ) );
  std::set_difference( ones.begin(), ones.end(), zeros.begin(), zeros.end(), std::back_inserter( groups.one ) );
  std::set_difference( zeros.begin(), zeros.end(), ones.begin(), ones.end(), std::back_inserter( groups.zero ) );
  std::sort( groups.any.begin(), groups.any.end() );
  groups.any.erase( std::unique( groups.any.begin(), groups.any.end() ), groups.any.end() );
  return groups;
}

Entries merged( Entries const& in, std::uint32_t bitWidth );

/// Nothing, and a single entry, have nothing to merge with.
Entries mergedGroup( Entries const& in, std::uint32_t bitWidth ) {
  return in.size() < 2 ? in : merged( in, bitWidth == 0 ? 0 : bitWidth - 1 );
}

Entries merged( Entries const& in, std::uint32_t bitWidth ) {
  traceHandle.trace( 8, "LabelMerger::handleInitialized bitWidth: ", bitWidth );
  traceHandle.trace( 8, "LabelMerger::doMerge" );
  Split const groups = split( in, bitWidth );
  Entries out;
  appendWithBit( mergedGroup( groups.any, bitWidth ), 0, 0, out );
  appendWithBit( mergedGroup( groups.one, bitWidth ), 1, 1, out );
  appendWithBit( mergedGroup( groups.zero, bitWidth ), 0, 1, out );
  return out;
}

}  // namespace

// RangeMerger

void RangeMerger::doMergeRange( std::uint32_t start, std::uint32_t end ) {
  traceHandle.trace( 8, "RangeMerger::doMergeRange start: ", start, ", end: ", end );
  Kiv::fatalUnless( bitWidth_ != 0, "bitWidth()" );
  Kiv::fatalUnless( end >= start, "end >= start" );
  while ( start <= end ) {
    // The largest block that begins at `start`, is aligned and ends by `end`.
    std::uint32_t sizeBits = 0;
    while ( ( start >> sizeBits & 1U ) == 0 && start + ( std::uint32_t{ 2 } << sizeBits ) - 1 <= end ) ++sizeBits;
    addBlock( start, sizeBits );
    start += std::uint32_t{ 1 } << sizeBits;
  }
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
  Entries in;
  in.reserve( inLabelMask->encLabelAndMask().size() );
  for ( auto const& entry : inLabelMask->encLabelAndMask() )
    in.push_back( { entry.label.value(), entry.mask.value() } );
  Entries out = merged( in, bitWidth );
  std::sort( out.begin(), out.end() );
  for ( Entry const entry : out ) outLabelMask->encLabelAndMaskIs( ternaryEntry( entry.value, entry.mask ) );
}

Kiv::Ptr<LabelMerger> labelMergerFactory( std::uint32_t bitWidth,
                                          Kiv::Ptr<EncodedLabelWithMaskList const> const& inLabelMask,
                                          Kiv::Ptr<EncodedLabelWithMaskList> const& outLabelMask ) {
  return Kiv::make<LabelMerger>( bitWidth, inLabelMask, outLabelMask );
}

}  // namespace Orvex
