#include "pipeline/StageMembers.h"

#include <algorithm>
#include <array>

#include "chip/ChipProfile.h"

namespace Orvex::Host {

namespace {

bool endedWell( StageStatusType status ) {
  return status == StageStatusType::finishedSuccess || status == StageStatusType::finishedSkipped ||
         status == StageStatusType::finishedNotEnabled;
}

std::string named( StageMember const& member ) {
  return std::string( stageText( member.stage ) ) + ( member.table ? " of " + tableText( *member.table ) : "" );
}

}  // namespace

StageMembers::StageMembers( StageSmStatus const& statuses ) {
  using Stage = OrvexActiveStage;
  add( Stage::stageAggregator, std::nullopt, statuses.aggregatorStatus() );
  for ( PrefixXformKey const space : kPrefixSpaces ) {
    add( Stage::stagePrefixXform, space, statuses.prefixXformStatus().find( space ) );
    add( Stage::stagePrefixEncoder, space, statuses.prefixEncoderStatus().find( space ) );
  }
  for ( Field const field : kFields ) {
    RangeSetType const type = rangeTableOf( field );
    add( Stage::stageRangeSplit, type, statuses.rangeSplitStatus().find( type ) );
    add( Stage::stageRangeEncoder, type, statuses.rangeEncoderStatus().find( type ) );
  }
  for ( ComboLabelSetType const type : kCombos ) {
    add( Stage::stageComboLabelResolver, type, statuses.comboLabelResolverStatus().find( type ) );
    add( Stage::stageComboLabelSplit, type, statuses.comboLabelSplitStatus().find( type ) );
    add( Stage::stageComboLabelEncoder, type, statuses.comboLabelEncoderStatus().find( type ) );
  }
  add( Stage::stageRuleExpander, std::nullopt, statuses.ruleExpanderStatus() );
  add( Stage::stageLoader, std::nullopt, statuses.loaderStatus() );
  std::stable_sort( members_.begin(), members_.end(),
                    []( StageMember const& a, StageMember const& b ) { return a.stage < b.stage; } );
}

void StageMembers::add( OrvexActiveStage stage, std::optional<LabelTable> table,
                        Kiv::Ptr<StageStatus const> const& status ) {
  if ( status ) members_.push_back( { stage, table, status } );
}

bool StageMembers::ended( OrvexActiveStage stage, double kickTime ) const {
  return std::all_of( members_.begin(), members_.end(), [&]( StageMember const& member ) {
    if ( member.stage != stage ) return true;
    StageStatusType const status = member.status->status();
    return member.status->kickTime() == kickTime &&
           ( endedWell( status ) || status == StageStatusType::finishedFailed );
  } );
}

StageMember const* StageMembers::failed( double kickTime ) const {
  auto const found = std::find_if( members_.begin(), members_.end(), [&]( StageMember const& member ) {
    return member.status->kickTime() == kickTime && member.status->status() == StageStatusType::finishedFailed;
  } );
  return found == members_.end() ? nullptr : &*found;
}

std::optional<std::string> StageMembers::objection( double kickTime ) const {
  for ( StageMember const& member : members_ ) {
    if ( member.stage == OrvexActiveStage::stageLoader ) continue;
    if ( member.status->kickTime() != kickTime ) return named( member ) + " has not run";
    if ( !endedWell( member.status->status() ) ) return named( member ) + " has not succeeded";
  }
  return std::nullopt;
}

std::string_view stageText( OrvexActiveStage stage ) {
  static constexpr std::array<std::string_view, kOrvexActiveStageNames.size()> kTexts = { "start",
                                                                                          "aggregator",
                                                                                          "prefix transform",
                                                                                          "range split",
                                                                                          "combination resolver",
                                                                                          "combination split",
                                                                                          "prefix encoder",
                                                                                          "range encoder",
                                                                                          "combination encoder",
                                                                                          "rule expander",
                                                                                          "loader" };
  return kTexts[Kiv::enumValue( stage )];
}

std::string tableText( LabelTable const& table ) {
  if ( auto const* const space = std::get_if<PrefixXformKey>( &table ) )
    return std::string( Kiv::stringValue( space->af() ) ) + ( space->src() ? " source" : " destination" );
  if ( auto const* const type = std::get_if<RangeSetType>( &table ) )
    return std::string( Kiv::stringValue( static_cast<Field>( Kiv::enumValue( *type ) ) ) );
  return std::string( Kiv::stringValue( std::get<ComboLabelSetType>( table ) ) );
}

}  // namespace Orvex::Host
