#include "Orvex/OrvexNestedAllocator.h"

#include "Orvex/OrvexLabelFamily.h"
#include "Orvex/OrvexSetFields.h"

namespace Orvex {

void allocateNested( std::uint32_t bitWidth, EncodedLabel reservedLabel, ReservedValue kind,
                     EncoderConfig const& config, GenSetUsageInfo const& usage, EncoderStatus& encoderStatus,
                     EncodedLabelAllocStatus& allocStatus ) {
  LabelFamily const family( *config.xformStatus()->plainLabelListMap(), usage );
  std::uint32_t const size = std::uint32_t{ 1 } << bitWidth;
  if ( family.labelCount() > size - 1 ) {
    allocStatus.statusIs( StageStatusType::finishedFailed );
    return;
  }
  // A reserved value that the width cannot show is no value of the table.
  bool const isReserved = kind == ReservedValue::reachable && reservedLabel.value() < size;
  std::uint16_t const reserved = reservedLabel.value() < size ? reservedLabel.value() : std::uint16_t{ 0 };
  PlacedSets placed = placedWithFields( family, bitWidth, reserved,
                                        isReserved ? ReservedValue::reachable : ReservedValue::unreachable );
  encoderStatus.plainToEncodedLabelReserve( family.labelCount() );
  std::vector<PlainLabel> const plainLabels = family.plainLabels();
  for ( std::uint32_t label = 0; label != family.labelCount(); ++label )
    encoderStatus.plainToEncodedLabelIs( plainLabels[label], EncodedLabel( placed.values[label] ) );

  std::vector<Kiv::Ptr<EncodedLabelRangeList>> ranges;
  ranges.reserve( family.setCount() );
  for ( auto& blocks : placed.blocks ) ranges.push_back( Kiv::make<EncodedLabelRangeList>( std::move( blocks ) ) );
  auto const noRanges = Kiv::make<EncodedLabelRangeList>();
  allocStatus.keyToEncLabelListReserve( family.lists().size() );
  for ( LabelFamily::List const& list : family.lists() )
    allocStatus.keyToEncLabelListIs( list.key, list.set == LabelFamily::kNoSet ? noRanges : ranges[list.set] );
  allocStatus.statusIs( StageStatusType::finishedSuccess );
}

}  // namespace Orvex
