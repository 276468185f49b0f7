#include "Orvex/OrvexLabelEncoders.h"

#include <algorithm>
#include <array>

#include "Kiv/Instantiate.h"
#include "Kiv/Trace.h"
#include "Orvex/OrvexByteHash.h"
#include "Orvex/OrvexLabelMerger.h"

namespace Orvex {

namespace {

Kiv::TraceHandle traceHandle( "OrvexLabelEncoders" );

template <class... Parts>
Kiv::String composed( Parts const&... parts ) {
  Kiv::TextStream text;
  ( text << ... << parts );
  return text.str();
}

/// A missing attribute is one of width 0.
template <class Attributes>
EncodingAttr attributeOf( Attributes const& attributes, typename Attributes::Key const& key ) {
  return attributes.find( key ).value_or( EncodingAttr() );
}

/// The width of a field's own values, in bits.
std::uint32_t naturalWidth( RangeSetType type ) {
  switch ( type ) {
    case RangeSetType::srcPort:
    case RangeSetType::dstPort:
      return Constants::l4PortBitWidth;
    case RangeSetType::icmp:
      return Constants::icmpTypeBitWidth;
    case RangeSetType::proto:
      return Constants::protoBitWidth;
    case RangeSetType::length:
      return Constants::lengthBitWidth;
    case RangeSetType::fragment:
      return Constants::fragmentBitWidth;
    case RangeSetType::dscp:
      return Constants::dscpBitWidth;
    case RangeSetType::ttl:
      return Constants::ttlBitWidth;
    case RangeSetType::rangeSetMax:
      break;
  }
  Kiv::fatal( "false && \"Unknown rangeSet type\"" );
}

std::uint32_t rangeWidth( ChipHwCapability const& capability, RangeSetType type ) {
  std::uint32_t const width = attributeOf( capability.rangeEncodingAttr(), type ).width();
  return width != 0 ? width : naturalWidth( type );
}

/// Whether each address is in a prefix. Two halves make a prefix that is shorter by one, and in the end the default route.
template <class Pieces>
bool fillTheSpace( Pieces const& pieces ) {
  std::array<std::uint64_t, 129> outermost{};  // by length
  Vell::IpGenPrefix last;
  bool isFirst = true;
  for ( auto const& [prefix, label] : pieces ) {
    if ( !isFirst && last.contains( prefix ) ) continue;
    last = prefix;
    isFirst = false;
    ++outermost[prefix.length()];
  }
  for ( std::size_t length = outermost.size(); length-- > 1; ) {
    if ( outermost[length] % 2 != 0 ) return false;
    outermost[length - 1] += outermost[length] / 2;
  }
  return outermost[0] == 1;
}

}  // namespace

Kiv::Ptr<EncodedLabelWithMaskList> EncoderStatus::encodedLabelListIs( GenSetKey key ) {
  return Kiv::instantiate( encodedLabelList_, key );
}

// Prefixes

PrefixLabelEncoderSm::PrefixLabelEncoderSm( Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config,
                                            Kiv::Ptr<PrefixEncoderStatus> const& status,
                                            Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo,
                                            Kiv::Ptr<ChipHwCapability const> const& hwCapability, PrefixXformKey key,
                                            Kiv::Ptr<PrefixXformStatus const> const& prefixXformStatus )
    : LabelEncoderSm(
          chipId, config, status, genSetUsageInfo, hwCapability, attributeOf( hwCapability->prefixEncodingAttr(), key ),
          attributeOf( hwCapability->prefixEncodingAttr(), key ).width(),
          composed( "PrefixLabelEncoderSm(", chipId, ", ", key.af(), key.src() ? ", src" : ", dst", ")::" ) ),
      key_( key ),
      prefixEncoderStatus_( status ),
      prefixXformStatus_( prefixXformStatus ) {
  Kiv::fatalUnless( encodeBitWidth() != 0, "encodeBitWidth()" );
}

void PrefixLabelEncoderSm::doUpdateLoaderInfo() {
  traceHandle.trace( 8, traceKey(), "doUpdateLoaderInfo" );
  auto const& table = prefixEncoderStatus_->loaderInfo();
  table->prefixToLabelMapDelAll();
  for ( auto const& [prefix, label] : prefixXformStatus_->prefixToLabelMap() )
    table->prefixToLabelMapIs(
        prefix, encoderStatus()->plainToEncodedLabel().find( label ).value_or( encodingAttr().invalidEncValue() ) );
}

/// Every address has a label when the outermost pieces fill the space, and no piece is in no set.
ReservedValue PrefixLabelEncoderSm::reservedValueKind() const {
  auto const& pieces = prefixXformStatus_->prefixToLabelMap();
  if ( !fillTheSpace( pieces ) ) return ReservedValue::reachable;
  Kiv::HashSet2018<PlainLabel> listed;
  auto const lists = encoderConfig()->xformStatus()->plainLabelListMap()->labelLists();
  for ( LabelLists::ListId list = 0; list != lists->listCount(); ++list )
    lists->forEachLabel( list, [&]( PlainLabel label ) { listed.insert( label ); } );
  for ( auto const& [prefix, label] : pieces )
    if ( !listed.has( label ) ) return ReservedValue::reachable;
  return ReservedValue::unreachable;
}

// Ranges

RangeEncoderSm::RangeEncoderSm( Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config,
                                Kiv::Ptr<RangeEncoderStatus> const& status,
                                Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo,
                                Kiv::Ptr<ChipHwCapability const> const& hwCapability, RangeSetType setType,
                                Kiv::Ptr<RangeSplitStatus const> const& rangeSplitStatus,
                                Kiv::Ptr<RangeSplitAggregatorInfo const> const& aggregatorInfo )
    : LabelEncoderSm( chipId, config, status, genSetUsageInfo, hwCapability,
                      attributeOf( hwCapability->rangeEncodingAttr(), setType ), rangeWidth( *hwCapability, setType ),
                      composed( "RangeEncoderSm(", chipId, ", ", setType, ")::" ) ),
      setType_( setType ),
      rangeEncoderStatus_( status ),
      rangeSplitStatus_( rangeSplitStatus ),
      aggregatorInfo_( aggregatorInfo ) {}

std::uint64_t RangeEncoderSm::doBuildWorkingSetHash() const {
  if ( !isRaw() ) return LabelEncoderSm::doBuildWorkingSetHash();
  traceHandle.trace( 8, traceKey(), "doBuildWorkingSetHash" );
  constexpr std::uint32_t kFrame = 0x0A11AB1E;
  ByteHash a;
  ByteHash b;
  a.feed( kFrame );
  b.feed( ~kFrame );
  auto const& sets = aggregatorInfo_->rangeSetColl();
  for ( auto set = sets.begin(); set; ++set ) {
    a.feed( set.key().value() );
    for ( RangeSetElem const& range : set.value()->range() ) {
      a.feed( range.first() ).feed( range.last() );
      b.feed( range.last() ).feed( range.first() );
    }
    b.feed( set.key().value() );
  }
  return std::uint64_t{ a.feed( kFrame ).result() } << 32 | b.feed( ~kFrame ).result();
}

/// Raw encoding: what lies above the field's width can match nothing, and is left out.
bool RangeEncoderSm::doEncode() {
  if ( !isRaw() ) return LabelEncoderSm::doEncode();
  traceHandle.trace( 8, traceKey(), "doEncode" );
  eLabelMaskDelAll();
  std::uint32_t const full = ( std::uint32_t{ 1 } << encodeBitWidth() ) - 1;
  auto const& sets = aggregatorInfo_->rangeSetColl();
  for ( auto set = sets.begin(); set; ++set ) {
    auto const merger = rangeMergerFactory( encodeBitWidth(), eLabelMaskIs( set.key() ) );
    for ( RangeSetElem const& range : set.value()->range() )
      if ( range.first() <= full ) merger->doMergeRange( range.first(), std::min<std::uint32_t>( range.last(), full ) );
  }
  return true;
}

void RangeEncoderSm::doUpdateLoaderInfo() {
  traceHandle.trace( 8, traceKey(), "doUpdateLoaderInfo" );
  if ( encodingAttr().width() == 0 ) return;
  for ( auto const& [range, label] : rangeSplitStatus_->rangeToPlainLabelMap() )
    rangeEncoderStatus_->loaderInfo()->rangeToEncodedLabelMapIs(
        range, encoderStatus()->plainToEncodedLabel().find( label ).value() );
}

/// Every value has a label when the pieces, which ascend, leave no gap.
ReservedValue RangeEncoderSm::reservedValueKind() const {
  std::uint32_t next = 0;
  for ( auto const& [range, label] : rangeSplitStatus_->rangeToPlainLabelMap() ) {
    if ( range.first() != next ) return ReservedValue::reachable;
    next = range.last() + std::uint32_t{ 1 };
  }
  return next > ( std::uint32_t{ 1 } << naturalWidth( setType_ ) ) - 1 ? ReservedValue::unreachable
                                                                       : ReservedValue::reachable;
}

// Combinations

ComboLabelEncoderSm::ComboLabelEncoderSm(
    Brae::ChipId chipId, Kiv::Ptr<EncoderConfig const> const& config, Kiv::Ptr<ComboLabelEncoderStatus> const& status,
    Kiv::Ptr<GenSetUsageInfo const> const& genSetUsageInfo, Kiv::Ptr<ChipHwCapability const> const& hwCapability,
    ComboLabelSetType setType, Kiv::Ptr<ComboLabelSplitStatus const> const& comboLabelSplitStatus,
    Kiv::Ptr<EncoderStatus const> const& srcEncStatus, Kiv::Ptr<EncoderStatus const> const& dstEncStatus )
    : LabelEncoderSm( chipId, config, status, genSetUsageInfo, hwCapability,
                      attributeOf( hwCapability->comboEncodingAttr(), setType ),
                      attributeOf( hwCapability->comboEncodingAttr(), setType ).width(),
                      composed( "ComboLabelEncoderSm(", chipId, ", ", setType, ")::" ) ),
      setType_( setType ),
      comboLabelEncoderStatus_( status ),
      comboLabelSplitStatus_( comboLabelSplitStatus ),
      srcEncStatus_( srcEncStatus ),
      dstEncStatus_( dstEncStatus ) {}

void ComboLabelEncoderSm::doUpdateLoaderInfo() {
  traceHandle.trace( 8, traceKey(), "doUpdateLoaderInfo" );
  for ( auto const& [combo, label] : comboLabelSplitStatus_->comboToPlainLabelMap() ) {
    auto const src = srcEncStatus_->plainToEncodedLabel().find( combo.srcLabel );
    auto const dst = dstEncStatus_->plainToEncodedLabel().find( combo.dstLabel );
    Kiv::fatalUnless( src.has_value(), "srcEncStatus()->plainToEncodedLabelHas( comboLabel.srcLabel() )" );
    Kiv::fatalUnless( dst.has_value(), "dstEncStatus()->plainToEncodedLabelHas( comboLabel.dstLabel() )" );
    comboLabelEncoderStatus_->loaderInfo()->encComboToEncodedLabelMapIs(
        EncodedComboLabel( *src, *dst ), encoderStatus()->plainToEncodedLabel().find( label ).value() );
  }
}

}  // namespace Orvex
